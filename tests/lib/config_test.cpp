#include "lib/config.h"
#include "tests/support/child.h"
#include "tests/support/files.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

struct Parsed {
    int outcome;
    std::string key;
    std::string value;
};

Parsed parse(Config& config, QByteArray line, int length = 0) {
    Parsed parsed = {-7, "key before", "value before"};
    parsed.outcome = config.parse(line.data(), length, parsed.key, parsed.value);
    return parsed;
}

// "key=value;key=value" in the order of iteration.
QByteArray entries(const Config& config) {
    QByteArrayList list;
    for (const auto& [key, value] : config) {
        list << QByteArray::fromStdString(key + '=' + value);
    }
    return list.join(';');
}

void addLine(const char* name, const QByteArray& line, const QByteArray& key,
             const QByteArray& value) {
    QTest::newRow(name) << line << key << value;
}

} // namespace

class ConfigTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    std::string file(const QByteArray& content) const {
        const QString path = m_folder.filePath("file");
        writeFile(path, content);
        return path.toStdString();
    }

private slots:
    // Character classes

    void keyCharactersAreLettersDigitsDashUnderscoreAndDot() {
        const QByteArray members =
            "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz-_.";
        for (int byte = 0; byte < 256; ++byte) {
            QCOMPARE(Config().is_key_char(static_cast<unsigned char>(byte)),
                     members.contains(static_cast<char>(byte)));
        }
    }
    void valueCharactersAreAllBytesFromBlankUpwardsButDelete() {
        for (int byte = 0; byte < 256; ++byte) {
            QCOMPARE(Config().is_value_char(static_cast<unsigned char>(byte)),
                     byte >= 32 && byte != 127);
        }
    }
    void spacesAreBlankAndTheFiveControlBytesFromTab() {
        const QByteArray members = "\t\n\v\f\r ";
        for (int byte = 0; byte < 256; ++byte) {
            QCOMPARE(Config().is_space(static_cast<unsigned char>(byte)),
                     members.contains(static_cast<char>(byte)));
        }
    }

    // One line

    void lineHoldsAnEntry_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QByteArray>("value");
        addLine("plain", "pid=4711\n", "pid", "4711");
        addLine("last line without line feed", "pid=4711", "pid", "4711");
        addLine("blanks around all, carriage return", " pid = 4711 \r\n", "pid", "4711");
        addLine("carriage return right behind the value", "pid=4711\r\n", "pid", "4711");
        addLine("single quotes and a comment", "  pid='4711' # note\n", "pid", "4711");
        addLine("every kind of space", "\t\v\f\r pid\t\v\f\r =\t\v\f\r 1\t\v\f\r \n", "pid", "1");
        addLine("line feed before the value", "pid=\n4711\n", "pid", "4711");
        addLine("all kinds of key characters", "a.b-c_d=1\n", "a.b-c_d", "1");
        addLine("key that starts with a digit", "0Z=1\n", "0Z", "1");
        addLine("empty key", "=x\n", "", "x");
        addLine("empty key after blanks", "  = x\n", "", "x");
        addLine("value with an equals sign", "k=a=b\n", "k", "a=b");
        addLine("value with a hash inside", "k=a#b\n", "k", "a#b");
        addLine("value that starts with a hash", "k=#b\n", "k", "#b");
        addLine("value with quotes inside", "k=a'b\"c\n", "k", "a'b\"c");
        addLine("UTF-8 value", "k=\xC3\xA4\xE2\x82\xAC\n", "k", "\xC3\xA4\xE2\x82\xAC");
        addLine("highest byte", "k=\xFF\n", "k", "\xFF");
        addLine("comment behind an unquoted value", "k=v # c=1\n", "k", "v");
        addLine("comment at the tab behind a value", "k=v\t#c\n", "k", "v");
        addLine("double quotes", "k=\"v w\"\n", "k", "v w");
        addLine("quoted value with a hash", "k='v # w'\n", "k", "v # w");
        addLine("quoted value with the other quote", "k='v \" w'\n", "k", "v \" w");
        addLine("double-quoted value with single quotes", "k=\"it's\"\n", "k", "it's");
        addLine("quoted blanks stay", "k=' v '\n", "k", " v ");
        addLine("empty in single quotes", "k=''\n", "k", "");
        addLine("empty in double quotes", "k=\"\"\n", "k", "");
        addLine("comment right behind the quote", "k='v'#c\n", "k", "v");
        addLine("backslash means nothing", "k='a\\'\n", "k", "a\\");
    }
    void lineHoldsAnEntry() {
        QFETCH(QByteArray, line);
        Config config;
        const Parsed parsed = parse(config, line);
        QCOMPARE(parsed.outcome, 0);
        QTEST(QByteArray::fromStdString(parsed.key), "key");
        QTEST(QByteArray::fromStdString(parsed.value), "value");
        QCOMPARE(entries(config), QByteArray());
    }

    void lineHoldsNothing_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("empty") << QByteArray("");
        QTest::newRow("line feed") << QByteArray("\n");
        QTest::newRow("spaces") << QByteArray(" \t\v\f\r\n");
        QTest::newRow("comment") << QByteArray("# k=v\n");
        QTest::newRow("comment after blanks") << QByteArray("   #\n");
        QTest::newRow("key with a hash right behind it") << QByteArray("abc#x=1\n");
        QTest::newRow("key at the end of a file without line feed") << QByteArray("abc");
    }
    void lineHoldsNothing() {
        QFETCH(QByteArray, line);
        Config config;
        const Parsed parsed = parse(config, line);
        QCOMPARE(parsed.outcome, 1);
        QCOMPARE(parsed.key, std::string("key before"));
        QCOMPARE(parsed.value, std::string("value before"));
    }

    void lineIsMalformed_data() {
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("key alone") << QByteArray("abc\n");
        QTest::newRow("key and a blank") << QByteArray("abc ");
        QTest::newRow("key, blank and comment") << QByteArray("abc #x=1\n");
        QTest::newRow("blank in the key") << QByteArray("a b=1\n");
        QTest::newRow("slash in the key") << QByteArray("a/b=1\n");
        QTest::newRow("byte above 127 in the key") << QByteArray("\xC3\xA4=1\n");
        QTest::newRow("section header") << QByteArray("[Version]\n");
        QTest::newRow("nothing behind the sign") << QByteArray("pid=\n");
        QTest::newRow("nothing, not even a line feed") << QByteArray("pid=");
        QTest::newRow("blanks behind the sign") << QByteArray("pid=  \t \r\n");
        QTest::newRow("unquoted value of two words") << QByteArray("pid=47 11\n");
        QTest::newRow("control byte in the value") << QByteArray("pid=47\x01\n");
        QTest::newRow("control byte for a value") << QByteArray("pid=\x01\n");
        QTest::newRow("delete byte in the value") << QByteArray("pid=47\x7F\n");
        QTest::newRow("unterminated single quote") << QByteArray("pid='4711\n");
        QTest::newRow("unterminated double quote") << QByteArray("pid=\"4711\n");
        QTest::newRow("unterminated without line feed") << QByteArray("pid='4711");
        QTest::newRow("quote closed by the other one") << QByteArray("pid='4711\"\n");
        QTest::newRow("tab inside quotes") << QByteArray("pid='47\t11'\n");
        QTest::newRow("delete byte inside quotes") << QByteArray("pid='47\x7F'\n");
        QTest::newRow("text behind the quote") << QByteArray("pid='47'11\n");
        QTest::newRow("text and blank behind the quote") << QByteArray("pid='47' 11\n");
    }
    void lineIsMalformed() {
        QFETCH(QByteArray, line);
        Config config;
        const Parsed parsed = parse(config, line);
        QCOMPARE(parsed.outcome, 2);
        QCOMPARE(parsed.key, std::string("key before"));
        QCOMPARE(parsed.value, std::string("value before"));

        config["earlier"] = "1";
        QCOMPARE(config.read(file("first=1\n" + line)), -1);
        QCOMPARE(entries(config), QByteArray());
    }

    void lengthOfALineIsIgnored() {
        Config config;
        for (const int length : {0, 1, -1, 8192}) {
            const Parsed parsed = parse(config, "pid=4711\n", length);
            QCOMPARE(parsed.outcome, 0);
            QCOMPARE(parsed.key, std::string("pid"));
            QCOMPARE(parsed.value, std::string("4711"));
        }
    }

    void quotesStayOnlyWherePreserveIsSet() {
        Config config;
        QCOMPARE(parse(config, "k='v w'\n").value, std::string("v w"));
        config.set_preserve(true);
        QCOMPARE(parse(config, "k='v w'\n").value, std::string("'v w'"));
        QCOMPARE(parse(config, "k=\"v\"\n").value, std::string("\"v\""));
        QCOMPARE(parse(config, "k=''\n").value, std::string("''"));
        QCOMPARE(parse(config, "k=v\n").value, std::string("v"));
        config.set_preserve(false);
        QCOMPARE(parse(config, "k='v w'\n").value, std::string("v w"));
    }
    void preservedQuotesReachTheMap() {
        Config config;
        config.set_preserve(true);
        QCOMPARE(config.read(file("k='v w'\nl=x\n")), 0);
        QCOMPARE(entries(config), QByteArray("k='v w';l=x"));
    }

    // A file

    void entriesAreStoredInByteOrderOfTheirKeys() {
        Config config;
        QCOMPARE(config.read(file("b=1\n# none\n\na=2\n_=3\nB=4\n=5\n")), 0);
        QCOMPARE(entries(config), QByteArray("=5;B=4;_=3;a=2;b=1"));
    }
    void laterLineOverwritesAnEarlierOne() {
        Config config;
        QCOMPARE(config.read(file("k=1\nl=2\nk=3\n")), 0);
        QCOMPARE(entries(config), QByteArray("k=3;l=2"));
    }
    void threeSpellingsOfAPidReadAlike_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("plain") << QByteArray("pid=4711\n");
        QTest::newRow("blanks and carriage return") << QByteArray("pid = 4711 \r\n");
        QTest::newRow("quotes and comment") << QByteArray("  pid='4711' # note\n");
    }
    void threeSpellingsOfAPidReadAlike() {
        QFETCH(QByteArray, content);
        Config config;
        QCOMPARE(config.read(file(content)), 0);
        QCOMPARE(entries(config), QByteArray("pid=4711"));
    }
    void earlierEntriesStayUnlessTheFileSetsThemAgain() {
        Config config;
        QCOMPARE(config.read(file("a=1\nb=2\n")), 0);
        QCOMPARE(config.read(file("b=3\nc=4\n")), 0);
        QCOMPARE(entries(config), QByteArray("a=1;b=3;c=4"));
    }
    void malformedLineStopsTheReading() {
        Config config;
        QCOMPARE(config.read(file("a=1\nbad line\nb=2\n")), -1);
        QCOMPARE(entries(config), QByteArray());
        QCOMPARE(config.read(file("b=2\n")), 0);
        QCOMPARE(entries(config), QByteArray("b=2"));
    }
    void emptyPathAnswersMinusOneAndLeavesTheMap() {
        Config config;
        config["k"] = "v";
        QCOMPARE(config.read(""), -1);
        QCOMPARE(entries(config), QByteArray("k=v"));
    }
    void missingFileAnswersMinusOneAndLeavesTheMap() {
        Config config;
        config["k"] = "v";
        QCOMPARE(config.read(m_folder.filePath("missing").toStdString()), -1);
        QCOMPARE(entries(config), QByteArray("k=v"));
    }
    void unreadableFileAnswersMinusOne() {
        const std::string path = file("k=v\n");
        QVERIFY(chmod(m_folder.path().toLocal8Bit().constData(), 0755) == 0);
        QCOMPARE(asOrdinaryUser([&path] { return Config().read(path) == 0 ? 0 : 1; }), 0);
        QVERIFY(chmod(path.c_str(), 0) == 0);
        QCOMPARE(asOrdinaryUser([&path] { return Config().read(path) == -1 ? 0 : 1; }), 0);
    }
    void emptyFileReadsAsNothing() {
        Config config;
        QCOMPARE(config.read(file("")), 0);
        QCOMPARE(entries(config), QByteArray());
    }
    void folderOpensAndReadsAsNothing() {
        Config config;
        config["k"] = "v";
        QCOMPARE(config.read(m_folder.path().toStdString()), 0);
        QCOMPARE(entries(config), QByteArray("k=v"));
    }
    void fifoOrDeviceDoesNotOpenAndDoesNotBlock() {
        const std::string path = m_folder.filePath("fifo").toStdString();
        QVERIFY(mkfifo(path.c_str(), 0600) == 0);
        Config config;
        config["k"] = "v";
        QCOMPARE(config.read(path), -1);
        QCOMPARE(config.read("/dev/zero"), -1); // it would never end
        QCOMPARE(entries(config), QByteArray("k=v"));
    }
    void nullDeviceReadsAsEmpty() {
        Config config;
        config["k"] = "v";
        QCOMPARE(config.read("/dev/null"), 0);
        QCOMPARE(entries(config), QByteArray("k=v"));
    }
    void valuesCanBeChangedOnAWalk() {
        Config config;
        QCOMPARE(config.read(file("a=1\nb=2\n")), 0);
        for (auto& entry : config) {
            entry.second += '0';
        }
        QCOMPARE(entries(config), QByteArray("a=10;b=20"));
    }
    void descriptorOfTheFileIsClosedWhateverTheOutcome() {
        const std::string good = file("k=v\n");
        const int before = dup(0);
        close(before);
        QCOMPARE(Config().read(good), 0);
        QCOMPARE(Config().read(file("bad line\n")), -1);
        const int after = dup(0);
        close(after);
        QCOMPARE(after, before);
    }

    // A read takes at most 8191 bytes: what is longer goes on as a line of its own.

    void lineOf8190BytesAndItsFeedIsReadWhole() {
        const QByteArray value(8190 - 2, 'v');
        Config config;
        QCOMPARE(config.read(file("k=" + value + "\nl=1\n")), 0);
        QCOMPARE(entries(config), "k=" + value + ";l=1");
    }
    void restOfALongerLineIsALineOfItsOwn() {
        const QByteArray value(8191 - 2, 'v');
        Config config;
        QCOMPARE(config.read(file("k=" + value + "l=1\n")), 0);
        QCOMPARE(entries(config), "k=" + value + ";l=1");
    }
    void restThatIsNoEntryMakesALongLineMalformed() {
        Config config;
        QCOMPARE(config.read(file("k=" + QByteArray(8191, 'v') + "\n")), -1);
        QCOMPARE(entries(config), QByteArray());
    }
    void longCommentIsReadAsSeveralLines() {
        Config config;
        QCOMPARE(config.read(file("#" + QByteArray(8190, 'c') + "k=v\n")), 0);
        QCOMPARE(entries(config), QByteArray("k=v"));
    }
    void restOfALineBehindANulByteIsNotSeen() {
        Config config;
        QCOMPARE(config.read(file(QByteArray("k=v\0 junk junk\nl=1\n", 19))), 0);
        QCOMPARE(entries(config), QByteArray("k=v;l=1"));
    }

    // The map

    void absentKeyIsInsertedEmpty() {
        Config config;
        QCOMPARE(config["pid"], std::string());
        QCOMPARE(entries(config), QByteArray("pid="));
    }
    void valueBehindAKeyCanBeChanged() {
        Config config;
        config["k"] = "v";
        config["k"] += "w";
        QCOMPARE(config["k"], std::string("vw"));
    }
    void newConfigIsEmpty() {
        const Config config;
        QVERIFY(config.begin() == config.end());
    }
};

QTEST_GUILESS_MAIN(ConfigTest)
#include "config_test.moc"
