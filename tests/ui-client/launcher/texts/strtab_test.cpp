#include "ui-client/launcher/texts/strtab.h"

#include <QRegularExpression>
#include <QTranslator>
#include <QtTest>

#include <algorithm>
#include <type_traits>
#include <vector>

namespace {

/// Answers one text for everything and keeps what it was asked for.
class OneTextTranslator : public QTranslator {
public:
    explicit OneTextTranslator(const QString& text) : m_text(text) {
        QCoreApplication::installTranslator(this);
    }
    ~OneTextTranslator() override { QCoreApplication::removeTranslator(this); }

    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* source, const char* disambiguation,
                      int n) const override {
        m_context = context;
        m_source = source;
        m_disambiguation = disambiguation;
        m_number = n;
        return m_text;
    }

    mutable QByteArray m_context;
    mutable QByteArray m_source;
    mutable const char* m_disambiguation = "not asked";
    mutable int m_number = 0;

private:
    const QString m_text;
};

using Column = std::vector<QByteArray>;

Column column(const char* const* table) {
    return {table, table + StrTable::NUM_STRING_IDS};
}

/// How often `value` stands in `values`.
int count(const Column& values, const QByteArray& value) {
    return static_cast<int>(std::count(values.begin(), values.end(), value));
}

bool isNull(const char* entry) {
    return entry == nullptr;
}

} // namespace

class StrTableTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() {
        QVERIFY2(std::all_of(StrTable::stab, std::end(StrTable::stab), isNull), "filled too early");
        QVERIFY2(std::all_of(StrTable::ktab, std::end(StrTable::ktab), isNull), "filled too early");
        StrTable::InitStrTable();
        QVERIFY(std::none_of(StrTable::stab, std::end(StrTable::stab), isNull));
        QVERIFY(std::none_of(StrTable::ktab, std::end(StrTable::ktab), isNull));
    }

    void tableHasItsSizeAndCannotBeInstantiated() {
        QCOMPARE(StrTable::NUM_STRING_IDS, 715);
        QCOMPARE(sizeof StrTable::stab / sizeof *StrTable::stab, std::size_t(715));
        QCOMPARE(sizeof StrTable::ktab / sizeof *StrTable::ktab, std::size_t(715));
        QVERIFY(!std::is_default_constructible_v<StrTable>);
    }

    void knownRowStandsAtItsNumber_data() {
        QTest::addColumn<int>("id");
        QTest::addColumn<int>("number");
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QByteArray>("text");

        const auto row = [](StrTable::StringID id, int number, const char* key, const char* text) {
            QTest::newRow(key) << int(id) << number << QByteArray(key) << QByteArray(text);
        };
        row(StrTable::open_folder, 0, "open_folder", "Open Folder");
        row(StrTable::app_name_tessel, 5, "app_name_tessel", "Tessel");
        row(StrTable::history_type, 7, "history_type", "Type");
        row(StrTable::thursday, 9, "thursday", "Thursday");
        row(StrTable::msg_progress, 13, "msg_progress", "Processing...");
        row(StrTable::tray_exit, 14, "tray_exit", "Exit");
        row(StrTable::month_dec, 24, "month_dec", "December");
        row(StrTable::desc_sklk_env_preparing_tessel, 165, "desc_sklk_env_preparing_tessel",
            "%1 is initializing...");
        row(StrTable::desc_sklk_env_preparation_done_tessel, 650,
            "desc_sklk_env_preparation_done_tessel", "%1 is ready.");
        row(StrTable::saturday, 689, "saturday", "Saturday");
        row(StrTable::history_items, 690, "history_items", "item(s)");
        row(StrTable::msi_button_exit, 691, "msi_button_exit", "&Exit");
        row(StrTable::msg_disabled, 713, "msg_disabled", "Disabled");
        row(StrTable::btn_setup, 714, "btn_setup", "Yes");
    }
    void knownRowStandsAtItsNumber() {
        QFETCH(int, id);
        QFETCH(int, number);
        QFETCH(QByteArray, key);
        QFETCH(QByteArray, text);

        QCOMPARE(id, number);
        QCOMPARE(QByteArray(StrTable::ktab[number]), key);
        QCOMPARE(QByteArray(StrTable::stab[number]), text);
    }

    void everyKeyIsItsEnumeratorAndUnique() {
        const QRegularExpression shape("^[a-z][a-z0-9]*(_[a-z0-9]+)*$");
        const Column keys = column(StrTable::ktab);
        for (const QByteArray& key : keys) {
            QVERIFY2(shape.match(key).hasMatch(), key);
            QVERIFY2(count(keys, key) == 1, key);
        }
        int number = 0;
#define TESSEL_TEXT(key, text)                                                                     \
    QCOMPARE(int(StrTable::key), number);                                                          \
    QCOMPARE(StrTable::ktab[number++], #key);
#include "ui-client/launcher/texts/strtab-list.inc"
#undef TESSEL_TEXT
        QCOMPARE(number, 715);
    }

    void everyTextIsFitToPrint() {
        const QRegularExpression badEscape(R"(\\(?![nt]))");
        const QRegularExpression badArgument("%(?![1-3])");
        for (const QByteArray& text : column(StrTable::stab)) {
            QVERIFY2(!text.isEmpty() && text == text.trimmed(), text);
            QVERIFY2(
                std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; }),
                text);
            QVERIFY2(!badEscape.match(text).hasMatch(), text);
            QVERIFY2(!badArgument.match(text).hasMatch(), text);
        }
    }

    void orderIsNeitherAlphabeticalNorGrouped() {
        int descents = 0;
        int sameGroup = 0;
        const Column keys = column(StrTable::ktab);
        for (std::size_t i = 1; i < keys.size(); ++i) {
            descents += keys[i] < keys[i - 1] ? 1 : 0;
            sameGroup += keys[i].split('_').first() == keys[i - 1].split('_').first() ? 1 : 0;
        }
        QVERIFY(descents > 250 && descents < 465);
        QVERIFY(sameGroup < 100);
    }

    void fillingAgainStoresTheSameValues() {
        const std::vector<const char*> texts(StrTable::stab, std::end(StrTable::stab));
        const std::vector<const char*> keys(StrTable::ktab, std::end(StrTable::ktab));
        StrTable::stab[3] = nullptr;
        StrTable::ktab[714] = nullptr;
        StrTable::InitStrTable();
        QVERIFY(std::equal(texts.begin(), texts.end(), StrTable::stab));
        QVERIFY(std::equal(keys.begin(), keys.end(), StrTable::ktab));
    }

    void everyKeyIsFoundUnderItsOwnNumber() {
        for (int id = 0; id < StrTable::NUM_STRING_IDS; ++id) {
            QCOMPARE(StrTable::LookupStrID(StrTable::ktab[id]), id);
            QCOMPARE(StrTable::LookupStrID(QString(StrTable::ktab[id]).toUpper()), id);
        }
    }

    void keyIsFoundInEitherCase() {
        QCOMPARE(StrTable::LookupStrID("msg_progress"), 13);
        QCOMPARE(StrTable::LookupStrID("MSG_PROGRESS"), 13);
        QCOMPARE(StrTable::LookupStrID("Msg_progresS"), 13);
    }

    void sharedTextDoesNotConfuseTheKeys() {
        const Column texts = column(StrTable::stab);
        for (const char* shared : {"Cancel", "OK", "Yes", "Exit"}) {
            QVERIFY2(count(texts, shared) > 1, shared);
        }
        QCOMPARE(StrTable::LookupStrID("btn_setup"), 714);
        QVERIFY(StrTable::LookupStrID("btn_yes") != 714);
        QCOMPARE(QByteArray(StrTable::stab[StrTable::LookupStrID("btn_yes")]), QByteArray("Yes"));
    }

    void unknownKeyAnswersMinusOne_data() {
        QTest::addColumn<QString>("key");
        QTest::newRow("empty") << "";
        QTest::newRow("null") << QString();
        QTest::newRow("unknown") << "no_such_key";
        QTest::newRow("beginning of a key") << "msg_progres";
        QTest::newRow("more than a key") << "msg_progress_";
        QTest::newRow("blank before") << " msg_progress";
        QTest::newRow("an English text") << "Processing...";
        QTest::newRow("not ASCII") << QString::fromUtf8("msg_progreß");
    }
    void unknownKeyAnswersMinusOne() {
        QFETCH(QString, key);
        QCOMPARE(StrTable::LookupStrID(key), -1);
    }

    void withoutTranslatorTheTextIsEnglish() {
        QCOMPARE(StrTable::LoadStr(5), QString("Tessel"));
        QCOMPARE(StrTable::LoadStr(165), QString("%1 is initializing..."));
        QCOMPARE(StrTable::LoadStr(650).arg(StrTable::LoadStr(5)), QString("Tessel is ready."));
        QCOMPARE(StrTable::LoadStr(714), QString("Yes"));
    }

    void everyTextLoadsAsItStandsButForBreaksAndTabs() {
        for (int id = 0; id < StrTable::NUM_STRING_IDS; ++id) {
            const QString text = StrTable::LoadStr(id);
            QVERIFY(!text.contains('\\'));
            QCOMPARE(QString(text).replace('\n', "\\n").replace('\t', "\\t"),
                     QString(StrTable::stab[id]));
        }
    }

    void catalogueHasTextsWithBreaksAndTabs() {
        QVERIFY(StrTable::LoadStr(StrTable::msg_confirm_exit).contains("?\nYour files"));
        QVERIFY(StrTable::LoadStr(StrTable::history_time_column) == "Date\tTime");
    }

    void translatorIsAskedForTheEnglishTextInTheGlobalContext() {
        const OneTextTranslator translator("x");
        QCOMPARE(StrTable::LoadStr(650), QString("x"));
        QCOMPARE(translator.m_context, QByteArray("global"));
        QCOMPARE(translator.m_source, QByteArray("%1 is ready."));
        QVERIFY(translator.m_disambiguation == nullptr);
        QCOMPARE(translator.m_number, -1);
    }

    void textUnknownToTheTranslatorIsEnglish() {
        const OneTextTranslator translator{QString()};
        QCOMPARE(StrTable::LoadStr(13), QString("Processing..."));
        QCOMPARE(translator.m_source, QByteArray("Processing..."));
    }

    void writtenBreaksAndTabsOfATranslationBecomeReal_data() {
        QTest::addColumn<QString>("translation");
        QTest::addColumn<QString>("shown");
        QTest::newRow("break") << R"(a\nb)"
                               << "a\nb";
        QTest::newRow("tab") << R"(a\tb)"
                             << "a\tb";
        QTest::newRow("several") << R"(\na\t\tb\n\nc\t)"
                                 << "\na\t\tb\n\nc\t";
        QTest::newRow("real ones are left alone") << "a\nb\tc"
                                                  << "a\nb\tc";
        QTest::newRow("capitals are left alone") << R"(a\Nb\Tc)"
                                                 << R"(a\Nb\Tc)";
        QTest::newRow("other letters are left alone") << R"(a\rb\\c\)"
                                                      << R"(a\rb\\c\)";
        QTest::newRow("of two backslashes one stays") << R"(a\\nb)"
                                                      << "a\\\nb";
        QTest::newRow("argument is left alone") << R"(%1\n%2 %n)"
                                                << "%1\n%2 %n";
    }
    void writtenBreaksAndTabsOfATranslationBecomeReal() {
        QFETCH(QString, translation);
        QFETCH(QString, shown);
        const OneTextTranslator translator(translation);
        QCOMPARE(StrTable::LoadStr(13), shown);
    }
};

QTEST_GUILESS_MAIN(StrTableTest)
#include "strtab_test.moc"
