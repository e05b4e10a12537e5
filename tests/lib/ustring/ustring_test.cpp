#include "lib/ustring/ustring.h"

#include <QtTest>

#include <sstream>
#include <stdexcept>
#include <utility>

namespace {

std::string bytes(const ustring& text) {
    return std::string(text.c_str(), text.length());
}

} // namespace

/// What a caller sees of the text itself; the other programs of this folder look at one theme each.
class UstringTest : public QObject {
    Q_OBJECT

private slots:
    void newStringIsEmptyOnBothSides() {
        const ustring text;
        QVERIFY(text.empty());
        QCOMPARE(text.length(), size_t(0));
        QCOMPARE(text.size(), size_t(0));
        QCOMPARE(text.c_str(), "");
        QVERIFY(std::u16string(text.c_str_utf16()).empty());
    }

    void constructsFromEveryKindOfText() {
        QCOMPARE(ustring("abc").c_str(), "abc");
        QCOMPARE(ustring(std::string("abc")).c_str(), "abc");
        QCOMPARE(ustring('a').c_str(), "a");
        QCOMPARE(ustring(u"a\u00e9").c_str(), "a\xc3\xa9");
        QCOMPARE(ustring(ustring("abc")).c_str_utf8(), "abc");
    }

    void appendingItselfDoublesTheText() {
        ustring text("ab");
        text += text.c_str();
        text += text;
        QCOMPARE(text.c_str(), "abababab");
    }

    void appendingTwoBytesOfItselfAddsTheFirstTwo() {
        ustring text("abcd");
        QCOMPARE(text.append(text.c_str(), 2).c_str(), "abcdab");
    }

    void appendingUtf16KeepsTheOldText() {
        ustring text("ab");
        text += u"\u00e9";
        QCOMPARE(bytes(text), std::string("ab\xc3\xa9"));
        QCOMPARE(std::u16string(text.c_str_utf16()), std::u16string(u"ab\u00e9"));
    }

    void replaceLeavesTheUtf16SideAsItWas() {
        ustring text("a-b");
        text.c_str_utf16();
        text.replace('-', '+');
        QCOMPARE(text.c_str(), "a+b");
        QCOMPARE(std::u16string(text.c_str_utf16()), std::u16string(u"a-b"));
    }

    void substrFromTheEndIsEmptyAndFromBehindItThrows() {
        const ustring text("abcd");
        QVERIFY(text.substr(4, ustring::npos).empty());
        try {
            text.substr(5, ustring::npos);
            QFAIL("a start behind the end was taken");
        } catch (const std::out_of_range& error) {
            QCOMPARE(error.what(), "substr");
        }
    }

    void equalPairIsNeitherLessNorGreaterOrEqual() {
        const ustring a("abc");
        const ustring b("abc");
        QVERIFY(a == b);
        QVERIFY(!(a <= b));
        QVERIFY(!(a >= b));
    }

    void streamsWriteTheBytesAndReadOneWord() {
        std::istringstream in("  one two");
        ustring word;
        in >> word;
        std::ostringstream out;
        out << word;
        QCOMPARE(out.str(), std::string("one"));
    }

    void movedFromStringIsAsGoodAsNew() {
        ustring source("some text");
        const ustring target(std::move(source));
        source += "new"; // NOLINT(bugprone-use-after-move): that it may be used is the point
        QCOMPARE(target.c_str(), "some text");
        QCOMPARE(source.c_str(), "new");
    }
};

QTEST_APPLESS_MAIN(UstringTest)
#include "ustring_test.moc"
