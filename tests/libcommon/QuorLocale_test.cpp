#include "libcommon/QuorLocale.h"
#include "tests/support/message-capture.h"

#include <QtTest>

namespace {

// The language that the next call finds on this system: what the desktop is set to is read by
// QLocale::name(), which is replaced below so that every name can be tried, also those that this
// release of Qt never yields ("pt", "no_no").
QString localeName = "C";

} // namespace

QString QLocale::name() const {
    return localeName;
}

class QuorLocaleTest : public QObject {
    Q_OBJECT

private slots:
    void localeDecidesTheLanguage_data() {
        QTest::addColumn<QString>("locale");
        QTest::addColumn<QString>("language");

        const auto row = [](const char* locale, const char* language) {
            QTest::newRow(locale) << locale << language;
        };
        // Whole names.
        row("zh_TW", "cht");
        row("zh_HK", "cht");
        row("zh_MO", "cht");
        row("pt", "ptg");
        row("pt_PT", "ptg");
        // The language part, one row for each that has a file.
        row("en_US", "enu");
        row("zh_CN", "chs");
        row("ja_JP", "jpn");
        row("ko_KR", "krn");
        row("it_IT", "ita");
        row("pt_BR", "ptb");
        row("ru_RU", "rus");
        row("da_DK", "dan");
        row("no_NO", "nor");
        row("nb_NO", "nor");
        row("nn_NO", "nor");
        row("sv_SE", "sve");
        row("nl_NL", "nld");
        row("pl_PL", "plk");
        row("hu_HU", "hun");
        row("tr_TR", "trk");
        row("cs_CZ", "csy");
        // Their codes have no file.
        row("de_DE", "enu");
        row("fr_FR", "enu");
        row("es_ES", "enu");
        // Another territory, none, capitals, or a name that only begins alike.
        row("en_GB", "enu");
        row("zh_SG", "chs");
        row("pt_AO", "ptb");
        row("ja", "jpn");
        row("zh", "chs");
        row("JA_JP", "jpn");
        row("ZH_TW", "cht");
        row("zh_TW_x", "chs");
        row("zh_T", "chs");
        row("pt_PT_x", "ptb");
        // Unknown.
        row("C", "enu");
        row("el_GR", "enu");
        row("jap_JP", "enu");
        row("j_JP", "enu");
        row("_JP", "enu");
        row("ja-JP", "enu");
        row("", "enu");
    }
    void localeDecidesTheLanguage() {
        QFETCH(QString, locale);
        QFETCH(QString, language);

        localeName = locale;
        const MessageCapture silence;
        QCOMPARE(QuorLocale::getDefaultLanguage(), language);
    }

    void choiceOfAnInstalledLanguageIsTraced() {
        localeName = "zh_HK";
        const MessageCapture trace;
        QuorLocale::getDefaultLanguage();
        QCOMPARE(trace.unnumbered(),
                 (QStringList{"QuorLocale.cpp:# qPrintable(qstrLocaleLower)=[zh_hk\n] ",
                              "QuorLocale.cpp:# qPrintable(qstrLocaleLower)=[zh_hk] ",
                              "QuorLocale.cpp:# qPrintable(qstrLangFileName)=[:/cht.qm] ",
                              "QuorLocale.cpp:# qPrintable(qstrDef)=[cht\n] "}));
    }

    void fallBackFromAMissingLanguageIsTracedWithoutAFile() {
        localeName = "de_DE";
        const MessageCapture trace;
        QuorLocale::getDefaultLanguage();
        QCOMPARE(trace.unnumbered(),
                 (QStringList{"QuorLocale.cpp:# qPrintable(qstrLocaleLower)=[de_de\n] ",
                              "QuorLocale.cpp:# qPrintable(qstrLocaleLower)=[de_de] ",
                              "QuorLocale.cpp:# qPrintable(qstrDef)=[enu\n] "}));
    }

    void installedLanguageIsToldAndTraced() {
        const MessageCapture trace;
        QVERIFY(QuorLocale::isLanguageInstalled("spn"));
        QCOMPARE(trace.unnumbered(),
                 QStringList{"QuorLocale.cpp:# qPrintable(qstrLangFileName)=[:/spn.qm] "});
    }

    void missingLanguageIsToldInSilence() {
        const MessageCapture trace;
        for (const char* code : {"esn", "fra", "deu", "xyz", "", "ENU", "enu.qm"}) {
            QVERIFY2(!QuorLocale::isLanguageInstalled(code), code);
        }
        QCOMPARE(trace.unnumbered(), QStringList());
    }

    void withoutAnyFileTheLanguageIsEnglish() {
        localeName = "ja_JP";
        const MessageCapture silence;
        Q_CLEANUP_RESOURCE(texts);
        const bool installed = QuorLocale::isLanguageInstalled("enu");
        const QString language = QuorLocale::getDefaultLanguage();
        Q_INIT_RESOURCE(texts);

        QVERIFY(!installed);
        QCOMPARE(language, QString("enu"));
        QCOMPARE(QuorLocale::getDefaultLanguage(), QString("jpn"));
    }

    void languageOfLastResortIsEnglish() {
        QString copy = QuorLocale::getStrLanguageFallSafe();
        QCOMPARE(copy, QString("enu"));
        copy += "x";
        QCOMPARE(QuorLocale::getStrLanguageFallSafe(), QString("enu"));
    }

    void supportedLanguagesStandInTheirOrder() {
        QCOMPARE(
            QuorLocale::getSupportedLanguages(),
            (QStringList{"enu", "cht", "chs", "jpn", "deu", "krn", "fra", "ita", "esn", "ptb",
                         "rus", "dan", "nor", "sve", "nld", "plk", "hun", "ptg", "trk", "csy"}));
    }

    void numberNamesTheSupportedLanguageAtThatPlace() {
        const QStringList codes = QuorLocale::getSupportedLanguages();
        for (int id = 0; id < codes.size(); ++id) {
            QCOMPARE(QuorLocale::getLanguageAbbrByID(id), codes.at(id));
        }
        QCOMPARE(QuorLocale::getLanguageAbbrByID(17), QString("ptg"));
    }

    void numberOfTheEndMarkNamesTheNullLanguage() {
        QVERIFY(QuorLocale::getLanguageAbbrByID(20).isNull());
    }

    void otherNumbersNameNoLanguage() {
        for (const int id : {21, 22, 1000, INT_MAX, -1, -20, -21, INT_MIN}) {
            QVERIFY2(QuorLocale::getLanguageAbbrByID(id).isEmpty(),
                     qPrintable(QString::number(id)));
        }
    }
};

QTEST_GUILESS_MAIN(QuorLocaleTest)
#include "QuorLocale_test.moc"
