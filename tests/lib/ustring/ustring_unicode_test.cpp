#include "lib/ustring/ustring.h"
#include "tests/lib/ustring/sides.h"
#include "tests/support/stderr-capture.h"

#include <QtTest>

#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <random>
#include <string>
#include <vector>

namespace {

// Straight from ICU, with room to spare instead of a first call for the length.
std::u16string icuNormalized(const std::u16string& text, UNormalization2Mode mode) {
    UErrorCode status = U_ZERO_ERROR;
    const UNormalizer2* const normalizer = unorm2_getInstance(nullptr, "nfc", mode, &status);
    std::u16string result(4 * text.size() + 1, u'\0');
    const int32_t length = unorm2_normalize(normalizer, text.data(), int32_t(text.size()),
                                            &result[0], int32_t(result.size()), &status);
    result.resize(U_FAILURE(status) ? 0 : size_t(length));
    return result;
}

std::u16string randomLetters(std::mt19937& random) {
    static const std::vector<std::u16string> letters = {
        u"a",      u"e",      u"\u00e9", u"\u0301",     u"\u0308",     u"\u0323", u"\u1e69",
        u"\uac01", u"\u1100", u"\u1161", u"\U0001d15e", u"\U0001f600", u"\u212b", u"\ufb01"};
    std::u16string text;
    for (size_t n = random() % 30 + 1; n > 0; --n) {
        text += letters[random() % letters.size()];
    }
    return text;
}

} // namespace

class UstringUnicodeTest : public QObject {
    Q_OBJECT

private slots:
    void normalizesInBothForms_data() {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("nfc");
        QTest::addColumn<QString>("nfd");
        QTest::newRow("empty") << ""
                               << ""
                               << "";
        QTest::newRow("ASCII") << "abc"
                               << "abc"
                               << "abc";
        QTest::newRow("combining acute") << "e\u0301"
                                         << "\u00e9"
                                         << "e\u0301";
        QTest::newRow("precomposed") << "\u00e9"
                                     << "\u00e9"
                                     << "e\u0301";
        QTest::newRow("two marks, unordered") << "s\u0307\u0323"
                                              << "\u1e69"
                                              << "s\u0323\u0307";
        QTest::newRow("Hangul") << "\u1112\u1161\u11ab"
                                << "\ud55c"
                                << "\u1112\u1161\u11ab";
        QTest::newRow("singleton") << "\u212b"
                                   << "\u00c5"
                                   << "A\u030a";
        QTest::newRow("not compatibility") << "\ufb01"
                                           << "\ufb01"
                                           << "\ufb01";
        QTest::newRow("beyond the first plane") << "\U0001d15e"
                                                << "\U0001d157\U0001d165"
                                                << "\U0001d157\U0001d165";
    }
    void normalizesInBothForms() {
        QFETCH(QString, text);
        QFETCH(QString, nfc);
        QFETCH(QString, nfd);
        const ustring source(text.toUtf8().constData());
        const ustring composed = ustring::normalize(source, ustring::NFC);
        const ustring decomposed = source.normalize(ustring::NFD);
        QCOMPARE(units(composed), nfc);
        QCOMPARE(bytes(composed), nfc.toUtf8());
        QCOMPARE(units(decomposed), nfd);
        QCOMPARE(bytes(decomposed), nfd.toUtf8());
        QCOMPARE(bytes(source.normalize(ustring::NFC)), bytes(composed));
        QCOMPARE(bytes(source), text.toUtf8());
    }

    void lengthOfTheFormsIsOneUnitAndTwo() {
        const std::u16string composed(ustring("e\xcc\x81").normalize(ustring::NFC).c_str_utf16());
        QCOMPARE(composed.size(), size_t(1));
        const std::u16string decomposed(ustring(u"\u00e9").normalize(ustring::NFD).c_str_utf16());
        QCOMPARE(decomposed.size(), size_t(2));
    }

    void hundredsOfTextsAgreeWithIcu() {
        std::mt19937 random = seeded(20210613);
        for (int step = 0; step < 1000; ++step) {
            const std::u16string text = randomLetters(random);
            const ustring source(text.c_str());
            QVERIFY(icuNormalized(text, UNORM2_COMPOSE) ==
                    source.normalize(ustring::NFC).c_str_utf16());
            QVERIFY(icuNormalized(text, UNORM2_DECOMPOSE) ==
                    source.normalize(ustring::NFD).c_str_utf16());
        }
    }

    void everyCodePointSurvivesTheWayToUtf16AndBack() {
        for (UChar32 first = 0x100; first < 0x110000; first += 0x100) {
            std::u16string text;
            for (UChar32 c = first; c < first + 0x100; ++c) {
                if (c > 0xffff) {
                    text += char16_t(U16_LEAD(c));
                    text += char16_t(U16_TRAIL(c));
                } else if (!U16_IS_SURROGATE(c)) {
                    text += char16_t(c);
                }
            }
            std::string expected(3 * text.size() + 1, '\0');
            int32_t length = 0;
            UErrorCode status = U_ZERO_ERROR;
            u_strToUTF8(&expected[0], int32_t(expected.size()), &length, text.data(),
                        int32_t(text.size()), &status);
            expected.resize(size_t(length));
            QVERIFY(expected == ustring(text.c_str()).c_str());
            QVERIFY(text == ustring(expected).c_str_utf16());
        }
    }

    void normalizingInvalidUtf8WarnsOnceAndIsEmpty() {
        const StderrCapture warnings;
        QVERIFY(ustring("a\xff").normalize(ustring::NFC).empty());
        QCOMPARE(warnings.unnumbered(),
                 literal("Warning: u_strFromUTF8: error code 10 at line #\n"));
    }

    void invalidUtf8HasAnEmptyUtf16SideAndKeepsItsBytes() {
        const StderrCapture warnings;
        const ustring text("abc\xff");
        QCOMPARE(units(text), QString());
        QCOMPARE(bytes(text), literal("abc\xff"));
        QCOMPARE(warnings.unnumbered(),
                 literal("Warning: u_strFromUTF8: error code 10 at line #\n"));
        // Nothing was built, so the next caller tries, and warns, again.
        QCOMPARE(units(text), QString());
        QCOMPARE(warnings.unnumbered().count('\n'), 2);
    }

    void warningNamesASourceLine() {
        const StderrCapture warnings;
        ustring("\xff").c_str_utf16();
        const QByteArray line = warnings.text();
        const QByteArray start = "Warning: u_strFromUTF8: error code 10 at line ";
        QVERIFY(line.startsWith(start));
        QVERIFY(line.mid(start.size()).trimmed().toInt() > 0);
    }

    void validTextsWarnOfNothing() {
        const StderrCapture warnings;
        const ustring text("a\xc3\xa9\xf0\x9f\x98\x80");
        text.c_str_utf16();
        text.normalize(ustring::NFD);
        QVERIFY(ustring::is_valid(text));
        QCOMPARE(warnings.text(), QByteArray());
    }

    void validityIsThatOfUtf8_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("valid");
        QTest::newRow("empty") << literal("") << true;
        QTest::newRow("ASCII") << literal("/home/user") << true;
        QTest::newRow("two bytes") << literal("\xc3\xa9") << true;
        QTest::newRow("three bytes") << literal("\xe6\x97\xa5") << true;
        QTest::newRow("four bytes") << literal("\xf0\x9f\x98\x80") << true;
        QTest::newRow("long") << QByteArray(5000, 'x') << true;
        QTest::newRow("0xFF") << literal("\xff") << false;
        QTest::newRow("0xFF inside") << literal("abc\xff"
                                                "def")
                                     << false;
        QTest::newRow("continuation alone") << literal("\x80") << false;
        QTest::newRow("cut character") << literal("a\xe6\x97") << false;
        QTest::newRow("overlong slash") << literal("\xc0\xaf") << false;
        QTest::newRow("surrogate") << literal("\xed\xa0\x80") << false;
        QTest::newRow("beyond Unicode") << literal("\xf4\x90\x80\x80") << false;
    }
    void validityIsThatOfUtf8() {
        QFETCH(QByteArray, text);
        const StderrCapture warnings;
        QTEST(ustring::is_valid(ustring(text.constData())), "valid");
        QCOMPARE(warnings.text(), QByteArray());
    }

    void hundredsOfRandomBytesAreValidWhereIcuConvertsThem() {
        std::mt19937 random = seeded(20210614);
        int valid = 0;
        for (int step = 0; step < 20000; ++step) {
            std::string text(random() % 4 + 1, '\0');
            for (char& byte : text) {
                byte = "\x7f\xc3\xa9\x80\xe6\x97"[random() % 6];
            }
            char16_t room[16];
            UErrorCode status = U_ZERO_ERROR;
            u_strFromUTF8(room, 16, nullptr, text.data(), int32_t(text.size()), &status);
            QCOMPARE(ustring::is_valid(ustring(text)), bool(U_SUCCESS(status)));
            valid += U_SUCCESS(status) ? 1 : 0;
        }
        QVERIFY(valid > 1000 && valid < 19000);
    }
};

QTEST_APPLESS_MAIN(UstringUnicodeTest)
#include "ustring_unicode_test.moc"
