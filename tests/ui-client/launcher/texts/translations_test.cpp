#include "ui-client/launcher/texts/strtab.h"

#include <QDir>
#include <QFile>
#include <QLocale>
#include <QResource>
#include <QSet>
#include <QTranslator>
#include <QXmlStreamReader>
#include <QtTest>

#include <atomic>
#include <thread>
#include <vector>

namespace {

// One language per line: the name of its file, and the locale whose tongue it speaks.
const QVector<QPair<QString, QString>> languages = {
    {"chs", "zh_CN"}, {"cht", "zh_TW"}, {"csy", "cs_CZ"}, {"dan", "da_DK"}, {"enu", "en_US"},
    {"fre", "fr_FR"}, {"ger", "de_DE"}, {"hun", "hu_HU"}, {"ita", "it_IT"}, {"jpn", "ja_JP"},
    {"krn", "ko_KR"}, {"nld", "nl_NL"}, {"nor", "nb_NO"}, {"plk", "pl_PL"}, {"ptb", "pt_BR"},
    {"ptg", "pt_PT"}, {"rus", "ru_RU"}, {"spn", "es_ES"}, {"sve", "sv_SE"}, {"trk", "tr_TR"}};

const QStringList storedUncompressed = {"chs", "cht", "jpn", "krn"};

const QStringList weekdays = {"Monday", "Tuesday",  "Wednesday", "Thursday",
                              "Friday", "Saturday", "Sunday"};
const QStringList months = {"January", "February", "March",     "April",   "May",      "June",
                            "July",    "August",   "September", "October", "November", "December"};
const QStringList buttons = {"Yes", "No", "OK", "Cancel", "Exit"};
const QStringList shown = {"Tessel", "%1 is initializing...", "%1 is ready."};

/// A translation source as its author wrote it.
struct Source {
    struct Message {
        QString source;
        QString translation;
        QString type; // "unfinished", "obsolete" or, for a finished one, nothing
    };
    QString language;
    QStringList contexts;
    QVector<Message> messages;
};

Source readSource(const QString& code) {
    QFile file(QStringLiteral(TRANSLATION_SOURCES) + "/" + code + ".ts");
    if (!file.open(QIODevice::ReadOnly)) {
        qFatal("cannot read %s", qPrintable(file.fileName()));
    }
    Source source;
    QXmlStreamReader xml(&file);
    while (!xml.atEnd()) {
        xml.readNext();
        if (!xml.isStartElement()) {
            continue;
        }
        if (xml.name() == "TS") {
            source.language = xml.attributes().value("language").toString();
        } else if (xml.name() == "name") {
            source.contexts << xml.readElementText();
        } else if (xml.name() == "source") {
            source.messages.append({xml.readElementText(), QString(), QString()});
        } else if (xml.name() == "translation") {
            source.messages.last().type = xml.attributes().value("type").toString();
            source.messages.last().translation = xml.readElementText();
        }
    }
    if (xml.hasError()) {
        qFatal("%s: %s", qPrintable(file.fileName()), qPrintable(xml.errorString()));
    }
    return source;
}

/// The language of `code` as start-up installs it, for its lifetime.
class InstalledLanguage {
public:
    explicit InstalledLanguage(const QString& code) {
        if (!m_translator.load(":/" + code + ".qm", "", "", "") || m_translator.isEmpty()) {
            qFatal("%s does not load", qPrintable(code));
        }
        QCoreApplication::installTranslator(&m_translator);
    }
    ~InstalledLanguage() { QCoreApplication::removeTranslator(&m_translator); }
    InstalledLanguage(const InstalledLanguage&) = delete;
    InstalledLanguage& operator=(const InstalledLanguage&) = delete;

    /// Null where the file has no entry for `source`.
    QString entry(const QString& source) const {
        return m_translator.translate("global", qPrintable(source));
    }

private:
    QTranslator m_translator;
};

QString fileOf(const QString& code) {
    return ":/" + code + ".qm";
}

} // namespace

class TranslationsTest : public QObject {
    Q_OBJECT

    static void everyLanguage() {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("locale");
        for (const auto& [code, locale] : languages) {
            QTest::newRow(qPrintable(code)) << code << locale;
        }
    }

private slots:
    void initTestCase() { StrTable::InitStrTable(); }

    void resourceHoldsExactlyTheTwentyFiles() {
        QStringList expected;
        for (const auto& language : languages) {
            expected << language.first + ".qm";
        }
        QCOMPARE(QDir(":/").entryList(QDir::Files, QDir::Name), expected);
        QCOMPARE(expected.size(), 20);
    }

    void registeringByNameOnceMoreChangesNothing() {
        Q_INIT_RESOURCE(texts);
        QCOMPARE(QDir(":/").entryList(QDir::Files).size(), 20);
    }

    void chineseJapaneseAndKoreanAreStoredUncompressed_data() { everyLanguage(); }
    void chineseJapaneseAndKoreanAreStoredUncompressed() {
        QFETCH(QString, code);
        const QResource file(fileOf(code));
        QVERIFY(file.isValid());
        const bool compressed = !storedUncompressed.contains(code);
        QCOMPARE(file.compressionAlgorithm(),
                 compressed ? QResource::ZlibCompression : QResource::NoCompression);
        QCOMPARE(file.size() < file.uncompressedSize(), compressed);
    }

    void resourceFormatIsVersionOne_data() { everyLanguage(); }
    void resourceFormatIsVersionOne() {
        QFETCH(QString, code);
        // The format keeps the time of a file from version 2 on.
        QVERIFY(!QResource(fileOf(code)).lastModified().isValid());
    }

    void textsOfTheLauncherAreTranslated_data() {
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("preparing");
        QTest::addColumn<QString>("ready");

        const auto row = [](const char* code, const char* preparing, const char* ready) {
            QTest::newRow(code) << code << QString::fromUtf8(preparing) << QString::fromUtf8(ready);
        };
        row("chs", "正在初始化 Tessel...", "Tessel 已准备就绪。");
        row("cht", "正在初始化 Tessel...", "Tessel 已準備就緒。");
        row("csy", "Probíhá příprava aplikace Tessel...", "Aplikace Tessel je připravena.");
        row("dan", "Tessel klargøres...", "Tessel er klar.");
        row("enu", "Tessel is initializing...", "Tessel is ready.");
        row("fre", "Initialisation de Tessel en cours...", "Tessel est prêt.");
        row("ger", "Tessel wird initialisiert...", "Tessel ist bereit.");
        row("hun", "A Tessel előkészítése folyamatban...", "A Tessel készen áll.");
        row("ita", "Inizializzazione di Tessel in corso...", "Tessel è pronto.");
        row("jpn", "Tessel を初期化しています...", "Tessel の準備ができました。");
        row("krn", "Tessel 초기화 중...", "Tessel 준비가 완료되었습니다.");
        row("nld", "Tessel wordt voorbereid...", "Tessel is gereed.");
        row("nor", "Tessel klargjøres...", "Tessel er klar.");
        row("plk", "Trwa przygotowywanie aplikacji Tessel...", "Aplikacja Tessel jest gotowa.");
        row("ptb", "Inicializando o Tessel...", "O Tessel está pronto.");
        row("ptg", "A inicializar o Tessel...", "O Tessel está pronto.");
        row("rus", "Выполняется подготовка Tessel...", "Приложение Tessel готово к работе.");
        row("spn", "Inicializando Tessel...", "Tessel está listo.");
        row("sve", "Tessel förbereds...", "Tessel är redo.");
        row("trk", "Tessel hazırlanıyor...", "Tessel hazır.");
    }
    void textsOfTheLauncherAreTranslated() {
        QFETCH(QString, code);
        QFETCH(QString, preparing);
        QFETCH(QString, ready);

        const InstalledLanguage language(code);
        const QString name = StrTable::LoadStr(StrTable::app_name_tessel);
        QCOMPARE(name, QString("Tessel"));
        QCOMPARE(StrTable::LoadStr(StrTable::desc_sklk_env_preparing_tessel).arg(name), preparing);
        QCOMPARE(StrTable::LoadStr(StrTable::desc_sklk_env_preparation_done_tessel).arg(name),
                 ready);
    }

    void argumentsSurviveTranslation_data() { everyLanguage(); }
    void argumentsSurviveTranslation() {
        QFETCH(QString, code);
        const InstalledLanguage language(code);
        for (const Source::Message& message : readSource(code).messages) {
            const QString translation = language.entry(message.source);
            QCOMPARE(translation.count("%1"), message.source.count("%1"));
            QCOMPARE(translation.count('%'), message.source.count('%'));
        }
    }

    void everyEntryBelongsToTheCatalogueAndIsFinished_data() { everyLanguage(); }
    void everyEntryBelongsToTheCatalogueAndIsFinished() {
        QFETCH(QString, code);
        QFETCH(QString, locale);
        const QSet<QString> catalogue(StrTable::stab, std::end(StrTable::stab));
        const InstalledLanguage language(code);
        const Source source = readSource(code);
        QCOMPARE(source.language, locale);
        QCOMPARE(source.contexts, QStringList{"global"});
        for (const Source::Message& message : source.messages) {
            QVERIFY2(catalogue.contains(message.source), qPrintable(message.source));
            QVERIFY2(message.type.isEmpty(), qPrintable(message.source));
            QVERIFY2(message.translation == message.translation.trimmed() &&
                         !message.translation.isEmpty(),
                     qPrintable(message.source));
            QCOMPARE(language.entry(message.source), message.translation);
        }
    }

    void everyFileTranslatesTheSameTexts_data() { everyLanguage(); }
    void everyFileTranslatesTheSameTexts() {
        QFETCH(QString, code);
        QStringList sources;
        for (const Source::Message& message : readSource(code).messages) {
            sources << message.source;
        }
        QStringList expected = shown + buttons + weekdays + months;
        sources.sort();
        expected.sort();
        QCOMPARE(sources, expected);
    }

    void weekdaysAndMonthsBearTheNamesOfTheLocale_data() { everyLanguage(); }
    void weekdaysAndMonthsBearTheNamesOfTheLocale() {
        QFETCH(QString, code);
        QFETCH(QString, locale);
        const InstalledLanguage language(code);
        const QLocale oracle(locale);
        for (int day = 1; day <= weekdays.size(); ++day) {
            QCOMPARE(language.entry(weekdays.at(day - 1)), oracle.standaloneDayName(day));
        }
        for (int month = 1; month <= months.size(); ++month) {
            QCOMPARE(language.entry(months.at(month - 1)), oracle.standaloneMonthName(month));
        }
    }

    void buttonsOfALanguageDiffer_data() { everyLanguage(); }
    void buttonsOfALanguageDiffer() {
        QFETCH(QString, code);
        const InstalledLanguage language(code);
        QSet<QString> texts;
        for (const QString& button : buttons) {
            texts << language.entry(button);
        }
        QCOMPARE(texts.size(), buttons.size());
    }

    void textWithoutAnEntryStaysEnglish() {
        const InstalledLanguage language("jpn");
        QVERIFY(language.entry("Processing...").isNull());
        QCOMPARE(StrTable::LoadStr(StrTable::msg_progress), QString("Processing..."));
    }

    void keysThatShareATextShareItsTranslation() {
        const InstalledLanguage language("ger");
        QCOMPARE(StrTable::LoadStr(StrTable::btn_setup), QString("Ja"));
        QCOMPARE(StrTable::LoadStr(StrTable::btn_yes), QString("Ja"));
        QCOMPARE(StrTable::LoadStr(StrTable::tray_exit), QString("Beenden"));
        QCOMPARE(StrTable::LoadStr(StrTable::btn_quit), QString("Beenden"));
    }

    void textsLoadFromSeveralThreadsAtOnce() {
        const InstalledLanguage language("jpn");
        const QString expected = StrTable::LoadStr(StrTable::desc_sklk_env_preparing_tessel);
        std::atomic<int> wrong = 0;
        const auto load = [&] {
            for (int i = 0; i < 200; ++i) {
                wrong += StrTable::LoadStr(165) == expected ? 0 : 1;
                wrong += StrTable::LookupStrID("btn_setup") == 714 ? 0 : 1;
            }
        };
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back(load);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        QCOMPARE(wrong.load(), 0);
    }

    void englishComesBackWithTheTranslator() {
        {
            const InstalledLanguage language("rus");
            QCOMPARE(StrTable::LoadStr(StrTable::month_dec), QString::fromUtf8("декабрь"));
        }
        QCOMPARE(StrTable::LoadStr(StrTable::month_dec), QString("December"));
    }
};

QTEST_GUILESS_MAIN(TranslationsTest)
#include "translations_test.moc"
