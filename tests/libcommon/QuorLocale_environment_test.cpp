#include "libcommon/QuorLocale.h"

#include <QProcess>
#include <QtTest>

#include <cstdio>
#include <cstring>

namespace {

const char* const askedForLanguage = "--print-language";

void discard(QtMsgType, const QMessageLogContext&, const QString&) {}

int printLanguage() {
    qInstallMessageHandler(discard);
    printf("%s", qPrintable(QuorLocale::getDefaultLanguage()));
    return 0;
}

} // namespace

/// The real way from the environment to the language. The system's locale is read once in a
/// process, so each row runs this program anew.
class QuorLocaleEnvironmentTest : public QObject {
    Q_OBJECT

private slots:
    void environmentDecidesTheLanguage_data() {
        QTest::addColumn<QStringList>("environment");
        QTest::addColumn<QByteArray>("language");

        const auto lang = [](const char* locale, const char* language) {
            QTest::newRow(locale) << QStringList{QString("LANG=") + locale} << QByteArray(language);
        };
        lang("en_US.UTF-8", "enu");
        lang("zh_TW.UTF-8", "cht");
        lang("zh_HK.UTF-8", "cht");
        lang("zh_MO.UTF-8", "cht");
        lang("zh_CN.UTF-8", "chs");
        lang("zh_SG", "chs");
        lang("ja_JP.UTF-8", "jpn");
        lang("ko_KR.UTF-8", "krn");
        lang("it_IT.UTF-8", "ita");
        lang("pt_BR.UTF-8", "ptb");
        lang("pt_PT.UTF-8", "ptg");
        lang("ru_RU.KOI8-R", "rus");
        lang("da_DK.UTF-8", "dan");
        lang("no_NO", "nor");
        lang("nb_NO.UTF-8", "nor");
        lang("nn_NO.UTF-8", "nor");
        lang("sv_SE.UTF-8", "sve");
        lang("nl_NL@euro", "nld");
        lang("pl_PL.UTF-8", "plk");
        lang("hu_HU.UTF-8", "hun");
        lang("tr_TR.UTF-8", "trk");
        lang("cs_CZ.UTF-8", "csy");
        lang("de_DE.UTF-8", "enu");
        lang("fr_FR.UTF-8", "enu");
        lang("es_ES.UTF-8", "enu");
        lang("el_GR.UTF-8", "enu");
        lang("xx_YY", "enu");
        lang("C", "enu");
        lang("C.UTF-8", "enu");
        lang("POSIX", "enu");

        const auto row = [](const char* name, const QStringList& environment,
                            const char* language) {
            QTest::newRow(name) << environment << QByteArray(language);
        };
        row("nothing set", {}, "enu");
        row("messages before LANG", {"LANG=ja_JP", "LC_MESSAGES=ru_RU"}, "rus");
        row("LC_ALL before messages", {"LC_MESSAGES=ru_RU", "LC_ALL=hu_HU"}, "hun");
        row("first of LANGUAGE before LC_ALL", {"LC_ALL=hu_HU", "LANGUAGE=sv:da"}, "sve");
        row("C stays C whatever LANGUAGE", {"LANG=C", "LANGUAGE=sv"}, "enu");
    }
    void environmentDecidesTheLanguage() {
        QFETCH(QStringList, environment);
        QFETCH(QByteArray, language);

        QStringList bare;
        for (const QString& setting : QProcess::systemEnvironment()) {
            if (!setting.startsWith("LANG") && !setting.startsWith("LC_")) {
                bare << setting;
            }
        }
        QProcess child;
        child.setEnvironment(bare + environment);
        child.start(QCoreApplication::applicationFilePath(), {askedForLanguage});
        QVERIFY(child.waitForFinished());
        QCOMPARE(child.exitCode(), 0);
        QCOMPARE(child.readAllStandardOutput(), language);
    }
};

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    if (argc == 2 && strcmp(argv[1], askedForLanguage) == 0) {
        return printLanguage();
    }
    QuorLocaleEnvironmentTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "QuorLocale_environment_test.moc"
