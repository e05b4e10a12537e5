#include "lib/ustring/ustring.h"
#include "tests/lib/ustring/sides.h"

#include <QtTest>

#include <functional>
#include <random>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace {

using Edit = std::function<ustring&(ustring&)>;

const std::string long_text(300, 'x');

} // namespace

Q_DECLARE_METATYPE(Edit)

/// The UTF-8 side as its callers see it; the other programs of this folder look at one theme each.
class UstringTest : public QObject {
    Q_OBJECT

private slots:
    void constantsAreWhatCallersStore() {
        QCOMPARE(ustring::npos, ~size_t(0));
        QCOMPARE(int(ustring::NFC), 0);
        QCOMPARE(int(ustring::NFD), 1);
        QCOMPARE(sizeof(uchar16_t), size_t(2));
    }

    void newStringIsEmptyOnBothSides() {
        const ustring text;
        QVERIFY(text.empty());
        QCOMPARE(text.length(), size_t(0));
        QCOMPARE(text.size(), size_t(0));
        QCOMPARE(text.c_str(), "");
        QCOMPARE(text.c_str_utf8(), "");
        QCOMPARE(text.c_str_utf16()[0], u'\0');
    }

    void constructsFromEveryKindOfText() {
        QCOMPARE(ustring("abc").c_str(), "abc");
        QCOMPARE(ustring("").c_str(), "");
        QCOMPARE(ustring(long_text.c_str()).c_str(), long_text.c_str());
        QCOMPARE(ustring(std::string("abc")).c_str(), "abc");
        QCOMPARE(ustring(long_text).c_str(), long_text.c_str());
        QCOMPARE(ustring('a').c_str(), "a");
        QCOMPARE(ustring(u"a\u00e9").c_str(), "a\xc3\xa9");
        QCOMPARE(ustring(u"").c_str(), "");
        QCOMPARE(ustring(ustring(long_text)).c_str_utf8(), long_text.c_str());
    }

    void constructionStopsAtTheNulOfAStdString() {
        QCOMPARE(bytes(ustring(std::string("ab\0cd", 5))), literal("ab"));
    }

    void stringOfOneNulByteHasLengthOne() {
        const ustring text('\0');
        QCOMPARE(bytes(text), literal("\0"));
        QVERIFY(!text.empty());
    }

    void copyStopsAtTheFirstNul() {
        ustring text("abcd");
        text[2] = '\0';
        QCOMPARE(bytes(ustring(text)), literal("ab"));
        QCOMPARE(text.length(), size_t(4));
    }

    void copyIsIndependentOfItsSource() {
        ustring source("abc");
        ustring copy(source);
        source += "d";
        copy += "e";
        QCOMPARE(source.c_str(), "abcd");
        QCOMPARE(copy.c_str(), "abce");
    }

    void lengthCountsBytesNotCharacters() {
        const ustring text("\xc3\xa9\xe6\x97\xa5");
        QCOMPARE(text.length(), size_t(5));
        QCOMPARE(text.size(), size_t(5));
        QVERIFY(!text.empty());
    }

    void invalidUtf8IsKeptAsItIs() {
        QCOMPARE(bytes(ustring("a\xff\xc3") + "\x80"), literal("a\xff\xc3\x80"));
    }

    void bothNamesOfTheTextAreTheSamePointer() {
        const ustring text("abc");
        QVERIFY(text.c_str() == text.c_str_utf8());
    }

    void subscriptReadsAndWritesBytes() {
        ustring text("abc");
        text[1] = 'x';
        const ustring& constant = text;
        QCOMPARE(constant[0], 'a');
        QCOMPARE(constant[1], 'x');
        QCOMPARE(constant[3], '\0');
        QVERIFY(&constant[2] == text.c_str() + 2);
    }

    void writeThroughSubscriptLeavesTheUtf16SideAsItWas() {
        ustring text("abc");
        QCOMPARE(units(text), QString("abc"));
        text[0] = 'x';
        QCOMPARE(text.c_str(), "xbc");
        QCOMPARE(units(text), QString("abc"));
    }

    void replaceLeavesTheUtf16SideAsItWas() {
        ustring text("a-b");
        QCOMPARE(units(text), QString("a-b"));
        text.replace('-', '+');
        QCOMPARE(text.c_str(), "a+b");
        QCOMPARE(units(text), QString("a-b"));
    }

    void replaceChangesEveryEqualByte_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<char>("from");
        QTest::addColumn<char>("to");
        QTest::addColumn<QByteArray>("expected");
        QTest::newRow("everywhere") << literal("/a//b/") << '/' << '_' << literal("_a__b_");
        QTest::newRow("nowhere") << literal("abc") << '/' << '_' << literal("abc");
        QTest::newRow("empty") << literal("") << 'a' << 'b' << literal("");
        QTest::newRow("by itself") << literal("aba") << 'a' << 'a' << literal("aba");
        QTest::newRow("by NUL") << literal("a/b/") << '/' << '\0' << literal("a\0b\0");
        QTest::newRow("NUL is never met") << literal("ab") << '\0' << 'x' << literal("ab");
        QTest::newRow("one byte of a longer character")
            << literal("\xc3\xa9") << '\xa9' << '\xa8' << literal("\xc3\xa8");
    }
    void replaceChangesEveryEqualByte() {
        QFETCH(QByteArray, text);
        QFETCH(char, from);
        QFETCH(char, to);
        ustring changed(text.constData());
        QVERIFY(&changed.replace(from, to) == &changed);
        QTEST(bytes(changed), "expected");
    }

    void replaceStopsAtTheFirstNul() {
        ustring text("a-b-c");
        text[2] = '\0';
        QCOMPARE(bytes(text.replace('-', '+')), literal("a+\0-c"));
    }

    // One row per overload: what it makes of "abc", and that it answers the string itself.
    void editsOfTheUtf8Side_data() {
        QTest::addColumn<Edit>("edit");
        QTest::addColumn<QByteArray>("expected");
        const auto row = [](const char* name, const Edit& edit, const QByteArray& expected) {
            QTest::newRow(name) << edit << expected;
        };
        static const std::string text = "defgh";
        static const std::string holed("de\0gh", 5);
        static const ustring other("defgh");
        static const char unended[] = {'d', 'e', 'f'};
        using S = ustring;

        row(
            "append", [](S& s) -> S& { return s.append("de"); }, "abcde");
        row(
            "append nothing", [](S& s) -> S& { return s.append(""); }, "abc");
        row(
            "append a part", [](S& s) -> S& { return s.append("defgh", 2); }, "abcde");
        row(
            "append none of it", [](S& s) -> S& { return s.append("defgh", 0); }, "abc");
        row(
            "append up to its NUL", [](S& s) -> S& { return s.append("de\0fg", 5); }, "abcde");
        row(
            "append more than there is", [](S& s) -> S& { return s.append("de", S::npos); },
            "abcde");
        row(
            "append without NUL", [](S& s) -> S& { return s.append(unended, 3); }, "abcdef");
        row(
            "append std::string", [](S& s) -> S& { return s.append(text); }, "abcdefgh");
        row(
            "append std::string from", [](S& s) -> S& { return s.append(text, 2); }, "abcfgh");
        row(
            "append std::string part", [](S& s) -> S& { return s.append(text, 1, 2); }, "abcef");
        row(
            "append std::string start", [](S& s) -> S& { return s.append(text, 0, 2); }, "abcde");
        row(
            "append std::string end", [](S& s) -> S& { return s.append(text, 5, S::npos); }, "abc");
        row(
            "append std::string NUL", [](S& s) -> S& { return s.append(holed); }, "abcde");
        row(
            "append std::string NUL part", [](S& s) -> S& { return s.append(holed, 1, 3); },
            "abce");
        row(
            "append ustring", [](S& s) -> S& { return s.append(other); }, "abcdefgh");
        row(
            "append ustring from", [](S& s) -> S& { return s.append(other, 2); }, "abcfgh");
        row(
            "append ustring part", [](S& s) -> S& { return s.append(other, 1, 2); }, "abcef");
        row(
            "append ustring end", [](S& s) -> S& { return s.append(other, 5, 1); }, "abc");
        row(
            "append ustring over the end", [](S& s) -> S& { return s.append(other, 3, 99); },
            "abcgh");
        row(
            "append bytes", [](S& s) -> S& { return s.append('d', 3); }, "abcddd");
        row(
            "append one byte", [](S& s) -> S& { return s.append('d'); }, "abcd");
        row(
            "append no byte", [](S& s) -> S& { return s.append('d', 0); }, "abc");
        row(
            "append NULs", [](S& s) -> S& { return s.append('\0', 2); }, literal("abc\0\0"));
        row(
            "+= text", [](S& s) -> S& { return s += "de"; }, "abcde");
        row(
            "+= std::string", [](S& s) -> S& { return s += text; }, "abcdefgh");
        row(
            "+= ustring", [](S& s) -> S& { return s += other; }, "abcdefgh");
        row(
            "+= byte", [](S& s) -> S& { return s += 'd'; }, "abcd");

        row(
            "append itself", [](S& s) -> S& { return s.append(s.c_str()); }, "abcabc");
        row(
            "append two of itself", [](S& s) -> S& { return s.append(s.c_str(), 2); }, "abcab");
        row(
            "append all of itself", [](S& s) -> S& { return s.append(s.c_str(), 99); }, "abcabc");
        row(
            "append its middle", [](S& s) -> S& { return s.append(s.c_str() + 1); }, "abcbc");
        row(
            "append of its middle", [](S& s) -> S& { return s.append(s.c_str() + 1, 1); }, "abcb");
        row(
            "append its end", [](S& s) -> S& { return s.append(s.c_str() + 3); }, "abc");
        row(
            "append itself as ustring", [](S& s) -> S& { return s.append(s); }, "abcabc");
        row(
            "append part of itself", [](S& s) -> S& { return s.append(s, 1, 1); }, "abcb");
        row(
            "+= itself", [](S& s) -> S& { return s += s; }, "abcabc");
        row(
            "+= own text", [](S& s) -> S& { return s += s.c_str(); }, "abcabc");
        row(
            "+= own byte", [](S& s) -> S& { return s += s[1]; }, "abcb");

        row(
            "assign", [](S& s) -> S& { return s.assign("de"); }, "de");
        row(
            "assign nothing", [](S& s) -> S& { return s.assign(""); }, "");
        row(
            "assign a part", [](S& s) -> S& { return s.assign("defgh", 2); }, "de");
        row(
            "assign none of it", [](S& s) -> S& { return s.assign("defgh", 0); }, "");
        row(
            "assign up to its NUL", [](S& s) -> S& { return s.assign("de\0fg", 5); }, "de");
        row(
            "assign without NUL", [](S& s) -> S& { return s.assign(unended, 3); }, "def");
        row(
            "assign std::string", [](S& s) -> S& { return s.assign(text); }, "defgh");
        row(
            "assign std::string part", [](S& s) -> S& { return s.assign(text, 1, 2); }, "ef");
        row(
            "assign std::string NUL", [](S& s) -> S& { return s.assign(holed); }, "de");
        row(
            "assign ustring", [](S& s) -> S& { return s.assign(other); }, "defgh");
        row(
            "assign ustring part", [](S& s) -> S& { return s.assign(other, 3, S::npos); }, "gh");
        row(
            "assign ustring end", [](S& s) -> S& { return s.assign(other, 5, 1); }, "");
        row(
            "assign bytes", [](S& s) -> S& { return s.assign('d', 2); }, "dd");
        row(
            "assign one byte", [](S& s) -> S& { return s.assign('d'); }, "d");
        row(
            "assign no byte", [](S& s) -> S& { return s.assign('d', 0); }, "");
        row(
            "= text", [](S& s) -> S& { return s = "de"; }, "de");
        row(
            "= std::string", [](S& s) -> S& { return s = text; }, "defgh");
        row(
            "= ustring", [](S& s) -> S& { return s = other; }, "defgh");
        row(
            "= temporary", [](S& s) -> S& { return s = S("de"); }, "de");
        row(
            "= byte", [](S& s) -> S& { return s = 'd'; }, "d");

        row(
            "assign own text", [](S& s) -> S& { return s.assign(s.c_str()); }, "abc");
        row(
            "assign two of itself", [](S& s) -> S& { return s.assign(s.c_str(), 2); }, "ab");
        row(
            "assign none of itself", [](S& s) -> S& { return s.assign(s.c_str(), 0); }, "");
        row(
            "assign all of itself", [](S& s) -> S& { return s.assign(s.c_str(), 3); }, "abc");
        row(
            "assign more than itself", [](S& s) -> S& { return s.assign(s.c_str(), 99); }, "abc");
        row(
            "assign its middle", [](S& s) -> S& { return s.assign(s.c_str() + 1); }, "bc");
        row(
            "assign of its middle", [](S& s) -> S& { return s.assign(s.c_str() + 1, 1); }, "b");
        row(
            "assign its end", [](S& s) -> S& { return s.assign(s.c_str() + 3); }, "");
        row(
            "assign itself", [](S& s) -> S& { return s.assign(s); }, "abc");
        row(
            "assign part of itself", [](S& s) -> S& { return s.assign(s, 1, 1); }, "b");
        row(
            "= itself", [](S& s) -> S& { return s = *&s; }, "abc");
        row(
            "= own text", [](S& s) -> S& { return s = s.c_str(); }, "abc");
        row(
            "= own byte", [](S& s) -> S& { return s = s[1]; }, "b");
    }
    void editsOfTheUtf8Side() {
        QFETCH(Edit, edit);
        QFETCH(QByteArray, expected);
        ustring text("abc");
        QCOMPARE(units(text), QString("abc"));
        QVERIFY(&edit(text) == &text);
        QCOMPARE(bytes(text), expected);
        QCOMPARE(text.c_str()[text.length()], '\0');
        // Built before the edit, the UTF-16 side must not show the old text.
        QCOMPARE(units(text), QString(expected.constData()));
    }

    void ownTextCountsByItsLengthAndItsPartsEndWithANul() {
        ustring text("abcd");
        text[1] = '\0';
        QCOMPARE(bytes(ustring(text).append(text.c_str())), literal("aa"));
        QCOMPARE(bytes(text.substr(0, 4)), literal("a"));
        text.append(text, 0, 4);
        QCOMPARE(bytes(text), literal("a\0cda"));
        text.append(text.c_str(), 3);
        QCOMPARE(bytes(text), literal("a\0cdaa\0c"));
        text.append(text.c_str());
        QCOMPARE(bytes(text), literal("a\0cdaa\0ca\0cdaa\0c"));
    }

    void startBehindAStdStringThrowsItsException() {
        const std::string source("abc");
        ustring text("kept");
        try {
            text.append(source, 4, 1);
            QFAIL("a start behind the end was taken");
        } catch (const std::out_of_range& error) {
            QVERIFY(QByteArray(error.what()).startsWith("basic_string::substr"));
        }
        QCOMPARE(text.c_str(), "kept");
        QVERIFY_EXCEPTION_THROWN(text.assign(source, 4, 1), std::out_of_range);
        QCOMPARE(text.c_str(), "");
    }

    void startBehindAUstringThrowsSubstr() {
        const ustring source("abc");
        ustring text("kept");
        try {
            text.append(source, 4, 1);
            QFAIL("a start behind the end was taken");
        } catch (const std::out_of_range& error) {
            QCOMPARE(error.what(), "substr");
        }
        QCOMPARE(text.c_str(), "kept");
        QVERIFY_EXCEPTION_THROWN(text.assign(text, 5, 1), std::out_of_range);
        QCOMPARE(text.c_str(), "kept");
        QVERIFY_EXCEPTION_THROWN(text.assign(source, 4, 1), std::out_of_range);
        QCOMPARE(text.c_str(), "");
    }

    void clearEmptiesBothSides() {
        ustring text("abc");
        QCOMPARE(units(text), QString("abc"));
        text.clear();
        QVERIFY(text.empty());
        QCOMPARE(text.c_str(), "");
        QCOMPARE(units(text), QString());
    }

    void substrTakesBytes_data() {
        QTest::addColumn<qulonglong>("pos");
        QTest::addColumn<qulonglong>("n");
        QTest::addColumn<QByteArray>("expected");
        const qulonglong npos = ustring::npos;
        QTest::newRow("all") << 0ull << npos << literal("abcd");
        QTest::newRow("start") << 0ull << 2ull << literal("ab");
        QTest::newRow("middle") << 1ull << 2ull << literal("bc");
        QTest::newRow("rest") << 2ull << npos << literal("cd");
        QTest::newRow("more than the rest") << 2ull << 4ull << literal("cd");
        QTest::newRow("more than the whole") << 1ull << 5ull << literal("bcd");
        QTest::newRow("none") << 2ull << 0ull << literal("");
        QTest::newRow("from the end") << 4ull << npos << literal("");
    }
    void substrTakesBytes() {
        QFETCH(qulonglong, pos);
        QFETCH(qulonglong, n);
        const ustring text("abcd");
        QTEST(bytes(text.substr(pos, n)), "expected");
        QCOMPARE(text.c_str(), "abcd");
    }

    void substrFromBehindTheEndThrows() {
        try {
            ustring("abcd").substr(5, ustring::npos);
            QFAIL("a start behind the end was taken");
        } catch (const std::out_of_range& error) {
            QCOMPARE(error.what(), "substr");
        }
        QVERIFY_EXCEPTION_THROWN(ustring().substr(1, 0), std::out_of_range);
        QVERIFY(ustring().substr(0, 1).empty());
    }

    void concatenationCopiesTheLeftOperand() {
        const ustring left("a\xc3\xa9");
        QCOMPARE(bytes(left + ustring("b")), literal("a\xc3\xa9"
                                                     "b"));
        QCOMPARE(bytes(left + "bc"), literal("a\xc3\xa9"
                                             "bc"));
        QCOMPARE(bytes(left + 'b'), literal("a\xc3\xa9"
                                            "b"));
        QCOMPARE(bytes(left + u"\u65e5"), literal("a\xc3\xa9\xe6\x97\xa5"));
        QCOMPARE(bytes(left + u'\u00e8'), literal("a\xc3\xa9\xc3\xa8"));
        QCOMPARE(bytes(left + left.c_str()), literal("a\xc3\xa9"
                                                     "a\xc3\xa9"));
        QCOMPARE(bytes("/" + left + std::string("/") + "x"), literal("/a\xc3\xa9/x"));
        QCOMPARE(bytes(left), literal("a\xc3\xa9"));
    }

    void streamWritesTheBytes() {
        std::ostringstream out;
        out << ustring("a\xc3\xa9") << '|' << ustring() << '|';
        QCOMPARE(out.str().c_str(), "a\xc3\xa9||");
        QVERIFY(out.good());
    }

    void streamReadsOneWord() {
        std::istringstream in("  one\ttwo\n");
        ustring word("old");
        QVERIFY(in >> word);
        QCOMPARE(word.c_str(), "one");
        QVERIFY(in >> word);
        QCOMPARE(word.c_str(), "two");
        QVERIFY(!(in >> word));
        QCOMPARE(word.c_str(), "");
    }

    void swapExchangesTexts() {
        ustring a("first");
        ustring b(u"\u00e9");
        a.swap(b);
        QCOMPARE(a.c_str(), "\xc3\xa9");
        QCOMPARE(b.c_str(), "first");
        swap(a, b);
        QCOMPARE(a.c_str(), "first");
        a.swap(a);
        QCOMPARE(a.c_str(), "first");
    }

    // NOLINTBEGIN(bugprone-use-after-move,clang-analyzer-cplusplus.Move): that a moved-from string
    // may be used is the point
    void movedFromStringIsAsGoodAsNew() {
        ustring source("some text");
        const ustring target(std::move(source));
        QCOMPARE(target.c_str(), "some text");
        QVERIFY(source.empty());
        QCOMPARE(source.c_str_utf16()[0], u'\0');
        source += "new";
        QCOMPARE(source.c_str(), "new");
    }

    void moveAssignmentSwaps() {
        ustring source("some text");
        ustring target("old");
        target = std::move(source);
        QCOMPARE(target.c_str(), "some text");
        QCOMPARE(source.c_str(), "old");
        ustring& same = target;
        target = std::move(same);
        QCOMPARE(target.c_str(), "some text");
    }
    // NOLINTEND(bugprone-use-after-move,clang-analyzer-cplusplus.Move)

    void thousandsOfEditsAgreeWithStdString() {
        std::mt19937 random = seeded(20210607);
        const auto below = [&random](size_t n) { return random() % n; };
        ustring text;
        std::string model;
        for (int step = 0; step < 20000; ++step) {
            const std::string word(below(40), static_cast<char>('a' + below(26)));
            const size_t pos = below(model.size() + 1);
            const size_t n = below(50);
            switch (below(9)) {
            case 0:
                text.append(word.c_str(), n), model.append(word, 0, n);
                break;
            case 1:
                text += word, model += word;
                break;
            case 2:
                text.append('-', n), model.append(n, '-');
                break;
            case 3:
                text.append(text, pos, n), model.append(model, pos, n);
                break;
            case 4:
                text.append(text.c_str() + pos), model.append(model, pos);
                break;
            case 5:
                text.assign(text.c_str() + pos), model.erase(0, pos);
                break;
            case 6:
                text.assign(text.c_str(), n), model = model.substr(0, n);
                break;
            case 7:
                text.assign(text, pos, n), model = model.substr(pos, n);
                break;
            default:
                text = word, model = word;
                break;
            }
            if (model.size() > 4000) {
                text.clear(), model.clear();
            }
            QCOMPARE(text.length(), model.size());
            QVERIFY(model == text.c_str());
        }
    }
};

QTEST_APPLESS_MAIN(UstringTest)
#include "ustring_test.moc"
