#include "lib/ustring/ustring.h"
#include "tests/lib/ustring/sides.h"

#include <QtTest>

#include <random>
#include <string>

namespace {

constexpr size_t npos = ustring::npos;

using Member = size_t (ustring::*)(const char*, size_t) const;

// The rules of the searches, each written out byte by byte.
namespace naive {

bool startsWith(const std::string& text, size_t at, const std::string& s) {
    for (size_t i = 0; i < s.size(); ++i) {
        if (at + i >= text.size() || text[at + i] != s[i]) {
            return false;
        }
    }
    return true;
}

bool isIn(const std::string& set, char byte) {
    for (const char candidate : set) {
        if (candidate == byte) {
            return true;
        }
    }
    return false;
}

template <class Matches>
size_t forward(const std::string& text, size_t pos, const Matches& matches) {
    for (size_t at = pos; at < text.size(); ++at) {
        if (matches(at)) {
            return at;
        }
    }
    return npos;
}

template <class Matches>
size_t backward(const std::string& text, size_t pos, const Matches& matches) {
    const size_t start = pos < text.size() ? pos : text.size() - 1;
    for (size_t left = text.empty() ? 0 : start + 1; left > 0; --left) {
        if (matches(left - 1)) {
            return left - 1;
        }
    }
    return npos;
}

} // namespace naive

std::string randomText(std::mt19937& random, size_t longest) {
    std::string text(random() % (longest + 1), 'a');
    for (char& byte : text) {
        byte = "ab\xc3"[random() % 3];
    }
    return text;
}

} // namespace

Q_DECLARE_METATYPE(Member)

class UstringSearchTest : public QObject {
    Q_OBJECT

private slots:
    void searchesByTheirRules_data() {
        QTest::addColumn<Member>("member");
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("s");
        QTest::addColumn<qulonglong>("pos");
        QTest::addColumn<qulonglong>("expected");
        const auto search = [](size_t (ustring::*member)(const char*, size_t) const,
                               const char* name) {
            return [member, name](const char* text, const char* s, size_t pos, size_t expected) {
                QTest::addRow("%s of '%s' in '%s' from %zd", name, s, text, ssize_t(pos))
                    << Member(member) << QByteArray(text) << QByteArray(s) << qulonglong(pos)
                    << qulonglong(expected);
            };
        };

        const auto find = search(&ustring::find, "find");
        find("abcabc", "abc", 0, 0);
        find("abcabc", "abc", 1, 3);
        find("abcabc", "bc", 5, npos);
        find("abcabc", "abcabca", 0, npos);
        find("aab", "ab", 0, 1);
        find("abcdef", "", 3, 3);
        find("abcdef", "", 5, 5);
        find("abcdef", "", 6, npos);
        find("abcdef", "f", 5, 5);
        find("abcdef", "f", 6, npos);
        find("abcdef", "f", npos, npos);
        find("", "", 0, npos);
        find("", "a", 0, npos);

        const auto rfind = search(&ustring::rfind, "rfind");
        rfind("abcabc", "abc", npos, 3);
        rfind("abcabc", "abc", 3, 3);
        rfind("abcabc", "abc", 2, 0);
        rfind("abcabc", "c", 6, 5);
        rfind("abcabc", "ca", 2, 2); // runs past the start
        rfind("abcabc", "x", npos, npos);
        rfind("abcabc", "abcabca", npos, npos);
        rfind("abc", "", npos, 2);
        rfind("abc", "", 3, 2);
        rfind("abc", "", 1, 1);
        rfind("", "", npos, npos);
        rfind("", "a", 0, npos);

        const auto find_first_of = search(&ustring::find_first_of, "find_first_of");
        find_first_of("a/b\\c", "/\\", 0, 1);
        find_first_of("a/b\\c", "\\/", 2, 3);
        find_first_of("a/b\\c", "/\\", 4, npos);
        find_first_of("abcdef", "", 3, npos);
        find_first_of("abc", "a", 3, npos);
        find_first_of("", "a", 0, npos);
        find_first_of("", "", 0, npos);

        const auto find_first_not_of = search(&ustring::find_first_not_of, "find_first_not_of");
        find_first_not_of("//a/b", "/", 0, 2);
        find_first_not_of("//a/b", "/ab", 0, npos);
        find_first_not_of("//a/b", "/", 3, 4);
        find_first_not_of("abcdef", "", 3, 3);
        find_first_not_of("abcdef", "", 6, npos);
        find_first_not_of("", "", 0, npos);
        find_first_not_of("", "a", 0, npos);

        const auto find_last_of = search(&ustring::find_last_of, "find_last_of");
        find_last_of("a/b/c", "/\\", npos, 3);
        find_last_of("a/b/c", "/", 3, 3);
        find_last_of("a/b/c", "/", 2, 1);
        find_last_of("a/b/c", "/", 0, npos);
        find_last_of("abc", "", npos, npos);
        find_last_of("", "a", npos, npos);
        find_last_of("", "", npos, npos);

        const auto find_last_not_of = search(&ustring::find_last_not_of, "find_last_not_of");
        find_last_not_of("a/b//", "/", npos, 2);
        find_last_not_of("a/b//", "/", 1, 0);
        find_last_not_of("a/b//", "/ab", npos, npos);
        find_last_not_of("abc", "", npos, 2);
        find_last_not_of("abc", "", 3, 2);
        find_last_not_of("abc", "", 0, 0);
        find_last_not_of("", "", npos, npos);
        find_last_not_of("", "a", 0, npos);
    }
    void searchesByTheirRules() {
        QFETCH(Member, member);
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, s);
        QFETCH(qulonglong, pos);
        const ustring searched(text.constData());
        QTEST(qulonglong((searched.*member)(s.constData(), pos)), "expected");
    }

    void defaultStartsAreThoseOfStdString() {
        const ustring text("/a/b/");
        QCOMPARE(text.find("/"), size_t(0));
        QCOMPARE(text.find('a'), size_t(1));
        QCOMPARE(text.rfind("/"), size_t(4));
        QCOMPARE(text.rfind('/'), size_t(4));
        QCOMPARE(text.find_first_of("ba"), size_t(1));
        QCOMPARE(text.find_first_not_of("/"), size_t(1));
        QCOMPARE(text.find_last_of("ba"), size_t(3));
        QCOMPARE(text.find_last_not_of("/"), size_t(3));
        QCOMPARE(ustring("  a\t\n").trim().c_str(), "a");
    }

    void nulCharacterIsAnEmptyPattern() {
        const ustring text("abcdef");
        QCOMPARE(text.find('\0', 3), size_t(3));
        QCOMPARE(text.find('\0', 6), npos);
        QCOMPARE(text.rfind('\0', npos), size_t(5));
        QCOMPARE(text.find_first_of('\0', 0), npos);
        QCOMPARE(text.find_first_not_of('\0', 3), size_t(3));
        QCOMPARE(text.find_last_of('\0', npos), npos);
        QCOMPARE(text.find_last_not_of('\0', npos), size_t(5));
        const ustring empty;
        QCOMPARE(empty.find('\0', 0), npos);
        QCOMPARE(empty.rfind('\0', npos), npos);
        QCOMPARE(empty.find_first_not_of('\0', 0), npos);
        QCOMPARE(empty.find_last_not_of('\0', npos), npos);
    }

    void patternEndsWithItsFirstNul() {
        const ustring text("abcabc");
        ustring pattern("c-a");
        pattern[1] = '\0';
        QCOMPARE(text.find(std::string("c\0x", 3), 0), size_t(2));
        QCOMPARE(text.find(pattern, 0), size_t(2));
        QCOMPARE(text.find_first_of(std::string("\0c", 2), 0), npos);
        QCOMPARE(text.find_last_not_of(std::string("c\0b", 3), npos), size_t(4));
    }

    void searchGoesOnBehindANulOfTheText() {
        ustring text("a-bcb");
        text[1] = '\0';
        QCOMPARE(text.find("b", 0), size_t(2));
        QCOMPARE(text.rfind('a', npos), size_t(0));
        QCOMPARE(text.find_first_of("c", 0), size_t(3));
        QCOMPARE(text.find_first_not_of("a", 0), size_t(1));
    }

    void patternMayBeTheTextItself() {
        const ustring text("abab");
        QCOMPARE(text.find(text, 0), size_t(0));
        QCOMPARE(text.rfind(text.c_str() + 2, npos), size_t(2));
        QCOMPARE(text.find_first_not_of(text, 0), npos);
    }

    void thousandsOfSearchesFollowTheRules() {
        std::mt19937 random = seeded(20210609);
        for (int step = 0; step < 20000; ++step) {
            const std::string text = randomText(random, 24);
            const std::string s = randomText(random, 3);
            const size_t pos = random() % 8 == 0 ? npos : random() % 28;
            const auto starts = [&](size_t at) { return naive::startsWith(text, at, s); };
            const auto in = [&](size_t at) { return naive::isIn(s, text[at]); };
            const auto out = [&](size_t at) { return !naive::isIn(s, text[at]); };
            const ustring u(text);
            QCOMPARE(u.find(s.c_str(), pos), naive::forward(text, pos, starts));
            QCOMPARE(u.rfind(s.c_str(), pos), naive::backward(text, pos, starts));
            QCOMPARE(u.find_first_of(s.c_str(), pos), naive::forward(text, pos, in));
            QCOMPARE(u.find_first_not_of(s.c_str(), pos), naive::forward(text, pos, out));
            QCOMPARE(u.find_last_of(s.c_str(), pos), naive::backward(text, pos, in));
            QCOMPARE(u.find_last_not_of(s.c_str(), pos), naive::backward(text, pos, out));
            allOverloadsAgree(u, s, pos);
            if (s.size() == 1) {
                byteOverloadsAgree(u, s[0], pos);
            }
        }
    }

    void longTextsAreSearchedToTheirEnds() {
        const std::string filler(100000, 'a');
        const ustring text("x" + filler + "b");
        QCOMPARE(text.find("ab", 0), filler.size());
        QCOMPARE(text.find('b', 0), filler.size() + 1);
        QCOMPARE(text.rfind("xa", npos), size_t(0));
        QCOMPARE(text.rfind('x', npos), size_t(0));
        QCOMPARE(text.find_first_not_of("xa", 0), filler.size() + 1);
        QCOMPARE(text.find_last_not_of("ab", npos), size_t(0));
    }

    void trimsDropWhatTheSetNames_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("set");
        QTest::addColumn<QByteArray>("left");
        QTest::addColumn<QByteArray>("right");
        QTest::addColumn<QByteArray>("both");
        const auto row = [](const char* name, const char* text, const char* set, const char* left,
                            const char* right, const char* both) {
            QTest::newRow(name) << QByteArray(text) << QByteArray(set) << QByteArray(left)
                                << QByteArray(right) << QByteArray(both);
        };
        row("slashes", "//a/b", "/", "a/b", "//a/b", "a/b");
        row("both ends", " a b ", " ", "a b ", " a b", "a b");
        row("several bytes", "\t a \t", " \t", "a \t", "\t a", "a");
        row("blanks alone", "   ", " ", "", "", "");
        row("nothing to drop", "abc", " ", "abc", "abc", "abc");
        row("empty set", " a ", "", " a ", " a ", " a ");
        row("empty text", "", " ", "", "", "");
        row("one byte of a longer character", "\xc3\xa9\xc3", "\xc3", "\xa9\xc3", "\xc3\xa9",
            "\xa9");
    }
    void trimsDropWhatTheSetNames() {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, set);
        const char* const drop = set.constData();
        ustring left(text.constData());
        ustring right(left);
        ustring both(left);
        QVERIFY(&left.ltrim(drop) == &left);
        QVERIFY(&right.rtrim(drop) == &right);
        QVERIFY(&both.trim(drop) == &both);
        QTEST(bytes(left), "left");
        QTEST(bytes(right), "right");
        QTEST(bytes(both), "both");
        QTEST(bytes(ustring(text.constData()).ltrim(ustring(drop))), "left");
        QTEST(bytes(ustring(text.constData()).rtrim(ustring(drop))), "right");
        QTEST(bytes(ustring(text.constData()).trim(ustring(drop))), "both");
    }

    void trimEmptiesTheUtf16Side() {
        ustring text(" \xc3\xa9 ");
        QCOMPARE(units(text), QString(" é "));
        text.rtrim(" ");
        QCOMPARE(units(text), QString(" é"));
        text.ltrim(" ");
        QCOMPARE(units(text), QString("é"));
        text += " ";
        QCOMPARE(units(text), QString("é "));
        text.trim(" ");
        QCOMPARE(units(text), QString("é"));
    }

    void trimSetMayLieInTheTextItself() {
        ustring text("xxabcxx");
        QCOMPARE(bytes(ustring(text).trim(text)), QByteArray());
        QCOMPARE(bytes(text.trim(text.c_str() + 5)), literal("abc"));
        QCOMPARE(bytes(text.rtrim(text.c_str() + 2)), literal("ab"));
        QCOMPARE(bytes(text.ltrim(text)), QByteArray());
    }

    void trimKeepsANulInside() {
        ustring text("  a-b  ");
        text[3] = '\0';
        QCOMPARE(bytes(text.trim(" ")), literal("a\0b"));
    }

    void thousandsOfTrimsFollowTheRules() {
        std::mt19937 random = seeded(20210610);
        for (int step = 0; step < 5000; ++step) {
            const std::string text = randomText(random, 12);
            const std::string set = randomText(random, 2);
            const size_t first = std::min(text.find_first_not_of(set), text.size());
            const size_t last = text.find_last_not_of(set) + 1; // 0 where there is none
            QCOMPARE(ustring(text).ltrim(set.c_str()).c_str(), text.substr(first).c_str());
            QCOMPARE(ustring(text).rtrim(set.c_str()).c_str(), text.substr(0, last).c_str());
            const std::string both = first < last ? text.substr(first, last - first) : "";
            QCOMPARE(ustring(text).trim(set.c_str()).c_str(), both.c_str());
        }
    }

private:
    static void allOverloadsAgree(const ustring& u, const std::string& s, size_t pos) {
        const char* const c = s.c_str();
        const ustring t(s);
        QCOMPARE(u.find(s, pos), u.find(c, pos));
        QCOMPARE(u.find(t, pos), u.find(c, pos));
        QCOMPARE(u.rfind(s, pos), u.rfind(c, pos));
        QCOMPARE(u.rfind(t, pos), u.rfind(c, pos));
        QCOMPARE(u.find_first_of(s, pos), u.find_first_of(c, pos));
        QCOMPARE(u.find_first_of(t, pos), u.find_first_of(c, pos));
        QCOMPARE(u.find_first_not_of(s, pos), u.find_first_not_of(c, pos));
        QCOMPARE(u.find_first_not_of(t, pos), u.find_first_not_of(c, pos));
        QCOMPARE(u.find_last_of(s, pos), u.find_last_of(c, pos));
        QCOMPARE(u.find_last_of(t, pos), u.find_last_of(c, pos));
        QCOMPARE(u.find_last_not_of(s, pos), u.find_last_not_of(c, pos));
        QCOMPARE(u.find_last_not_of(t, pos), u.find_last_not_of(c, pos));
    }

    static void byteOverloadsAgree(const ustring& u, char byte, size_t pos) {
        const char text[] = {byte, '\0'};
        QCOMPARE(u.find(byte, pos), u.find(text, pos));
        QCOMPARE(u.rfind(byte, pos), u.rfind(text, pos));
        QCOMPARE(u.find_first_of(byte, pos), u.find_first_of(text, pos));
        QCOMPARE(u.find_first_not_of(byte, pos), u.find_first_not_of(text, pos));
        QCOMPARE(u.find_last_of(byte, pos), u.find_last_of(text, pos));
        QCOMPARE(u.find_last_not_of(byte, pos), u.find_last_not_of(text, pos));
    }
};

QTEST_APPLESS_MAIN(UstringSearchTest)
#include "ustring_search_test.moc"
