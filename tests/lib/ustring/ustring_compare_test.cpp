#include "lib/ustring/ustring.h"
#include "tests/lib/ustring/sides.h"

#include <QtTest>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {

// The rule, byte by byte: the first difference, unless both end before it.
int naiveDifference(const ustring& a, const ustring& b, size_t n, bool ignoreCase) {
    const auto mapped = [ignoreCase](const char* byte) {
        const int value = static_cast<unsigned char>(*byte);
        return ignoreCase && value >= 65 && value <= 90 ? value + 32 : value;
    };
    for (size_t at = 0; at < n; ++at) {
        const int left = mapped(a.c_str() + at);
        const int right = mapped(b.c_str() + at);
        if (left != right || left == 0) {
            return left - right;
        }
    }
    return 0;
}

} // namespace

class UstringCompareTest : public QObject {
    Q_OBJECT

private slots:
    void comparesByTheFirstDifference_data() {
        QTest::addColumn<QByteArray>("a");
        QTest::addColumn<QByteArray>("b");
        QTest::addColumn<int>("exact");
        QTest::addColumn<int>("ignoringCase");
        QTest::newRow("equal") << literal("abc") << literal("abc") << 0 << 0;
        QTest::newRow("empty") << literal("") << literal("") << 0 << 0;
        QTest::newRow("less by three") << literal("abc") << literal("abf") << -3 << -3;
        QTest::newRow("greater by two") << literal("cbc") << literal("abc") << 2 << 2;
        QTest::newRow("shorter") << literal("ab") << literal("abc") << -'c' << -'c';
        QTest::newRow("longer") << literal("abc") << literal("ab") << int('c') << int('c');
        QTest::newRow("nothing and something") << literal("") << literal("a") << -'a' << -'a';
        QTest::newRow("unsigned") << literal("\xff") << literal("a") << 255 - 'a' << 255 - 'a';
        QTest::newRow("case") << literal("ABC") << literal("abc") << -32 << 0;
        QTest::newRow("case, then less") << literal("ABC") << literal("abd") << -32 << -1;
        QTest::newRow("below the capitals") << literal("@") << literal("`") << -32 << -32;
        QTest::newRow("above the capitals") << literal("[") << literal("{") << -32 << -32;
        QTest::newRow("capital and sign") << literal("Z") << literal("[") << -1 << 'z' - '[';
        QTest::newRow("diaeresis") << literal("\xc3\x84") << literal("\xc3\xa4") << -32 << -32;
    }
    void comparesByTheFirstDifference() {
        QFETCH(QByteArray, a);
        QFETCH(QByteArray, b);
        QFETCH(int, exact);
        QFETCH(int, ignoringCase);
        const ustring left(a.constData());
        const ustring right(b.constData());
        QCOMPARE(ustring::compare(left, right, false), exact);
        QCOMPARE(ustring::compare(right, left, false), -exact);
        QCOMPARE(left.compare(right), exact);
        QCOMPARE(left.compare(right, ustring::npos), exact);
        QCOMPARE(ustring::compare(left, right, true), ignoringCase);
        QCOMPARE(ustring::compare(right, left, true), -ignoringCase);
    }

    void comparesTheFirstBytes_data() {
        QTest::addColumn<QByteArray>("a");
        QTest::addColumn<QByteArray>("b");
        QTest::addColumn<int>("n");
        QTest::addColumn<int>("expected");
        QTest::newRow("none") << literal("a") << literal("b") << 0 << 0;
        QTest::newRow("before the difference") << literal("abc") << literal("abd") << 2 << 0;
        QTest::newRow("with the difference") << literal("abc") << literal("abd") << 3 << -1;
        QTest::newRow("both end together") << literal("abc") << literal("abc") << 9 << 0;
        QTest::newRow("one ends first") << literal("ab") << literal("abc") << 3 << -'c';
        QTest::newRow("just before one ends") << literal("ab") << literal("abc") << 2 << 0;
        QTest::newRow("unsigned") << literal("\x80") << literal("\x01") << 1 << 127;
        QTest::newRow("case counts") << literal("A") << literal("a") << 1 << -32;
    }
    void comparesTheFirstBytes() {
        QFETCH(QByteArray, a);
        QFETCH(QByteArray, b);
        QFETCH(int, n);
        QFETCH(int, expected);
        const ustring left(a.constData());
        const ustring right(b.constData());
        QCOMPARE(left.compare(right, size_t(n)), expected);
        QCOMPARE(right.compare(left, size_t(n)), -expected);
    }

    void everyByteIsToldFromEveryOther() {
        for (int left = 0; left < 256; ++left) {
            for (int right = 0; right < 256; ++right) {
                const ustring a(static_cast<char>(left));
                const ustring b(static_cast<char>(right));
                QCOMPARE(ustring::compare(a, b, false), left - right);
                QCOMPARE(a.compare(b, 1), left - right);
                QCOMPARE(ustring::compare(a, b, true), naiveDifference(a, b, 1, true));
            }
        }
    }

    void differenceIsFoundAtEveryPlaceOfEveryLength() {
        for (size_t length = 1; length < 600; length += length < 40 ? 1 : 37) {
            const ustring text(std::string(length, 'm'));
            for (size_t at = 0; at < length; ++at) {
                ustring other(text);
                other[at] = '\x8d';
                QCOMPARE(text.compare(other), 'm' - 0x8d);
                QCOMPARE(other.compare(text), 0x8d - 'm');
                QCOMPARE(text.compare(other, at), 0);
                QCOMPARE(text.compare(other, at + 1), 'm' - 0x8d);
                QCOMPARE(text.compare(text.substr(0, at)), int('m'));
                QCOMPARE(ustring::compare(text, other, true), 'm' - 0x8d);
            }
        }
    }

    void nothingBehindANulOfBothCounts() {
        ustring a("ab-cd");
        ustring b("ab-ef");
        a[2] = b[2] = '\0';
        QCOMPARE(a.compare(b), 0);
        QCOMPARE(a.compare(b, 5), 0);
        QCOMPARE(ustring::compare(a, b, true), 0);
        QVERIFY(a == b);
        QVERIFY(a == ustring("ab"));
        QCOMPARE(a.compare(ustring("ab-")), -'-');
    }

    void operatorsOrderByCompare() {
        const std::vector<ustring> rising = {"", "A", "Z", "a", "aa", "ab", "b", "\xc3\x84"};
        for (size_t i = 0; i < rising.size(); ++i) {
            for (size_t k = 0; k < rising.size(); ++k) {
                QCOMPARE(rising[i] < rising[k], i < k);
                QCOMPARE(rising[i] > rising[k], i > k);
                QCOMPARE(rising[i] == rising[k], i == k);
                QCOMPARE(rising[i] != rising[k], i != k);
            }
        }
        QVERIFY(ustring("abc") == "abc");
        QVERIFY("abc" != ustring("ABC"));
    }

    void equalPairIsNeitherLessNorGreaterOrEqual() {
        const ustring a("abc");
        const ustring b("abc");
        QVERIFY(!(a <= b));
        QVERIFY(!(a >= b));
        QVERIFY(!(a <= a));
        QVERIFY(!(a >= a));
    }

    void unequalPairIsLessOrEqualInItsOrder() {
        const ustring less("abc");
        const ustring greater("abd");
        QVERIFY(less <= greater);
        QVERIFY(greater >= less);
        QVERIFY(!(less >= greater));
        QVERIFY(!(greater <= less));
    }

    void sortingAgreesWithStdString() {
        std::mt19937 random = seeded(20210611);
        std::vector<std::string> texts;
        for (int i = 0; i < 2000; ++i) {
            std::string text("/home/user/");
            for (size_t n = random() % 20; n > 0; --n) {
                text += "ab/\xc3\xa9"[random() % 5];
            }
            texts.push_back(text);
        }
        std::vector<ustring> ours(texts.begin(), texts.end());
        std::sort(texts.begin(), texts.end());
        std::sort(ours.begin(), ours.end());
        for (size_t i = 0; i < texts.size(); ++i) {
            QCOMPARE(ours[i].c_str(), texts[i].c_str());
        }
    }

    void thousandsOfPairsFollowTheRule() {
        std::mt19937 random = seeded(20210612);
        const auto text = [&random] {
            std::string made(random() % 40, 'a');
            for (char& byte : made) {
                byte =
                    random() % 30 == 0 ? static_cast<char>(random() % 255 + 1) : "aA"[random() % 2];
            }
            return ustring(made);
        };
        for (int step = 0; step < 20000; ++step) {
            const ustring a = text();
            ustring b = random() % 2 == 0 ? text() : a + text();
            if (!b.empty() && random() % 4 == 0) {
                b[random() % b.length()] ^= 0x20;
            }
            const size_t n = random() % 45;
            QCOMPARE(a.compare(b), naiveDifference(a, b, ustring::npos, false));
            QCOMPARE(a.compare(b, n), naiveDifference(a, b, n, false));
            QCOMPARE(ustring::compare(a, b, true), naiveDifference(a, b, ustring::npos, true));
        }
    }
};

QTEST_APPLESS_MAIN(UstringCompareTest)
#include "ustring_compare_test.moc"
