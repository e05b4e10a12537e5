#include "lib/ustring/ustring.h"
#include "tests/lib/ustring/sides.h"
#include "tests/support/stderr-capture.h"

#include <QtTest>

#include <cstdint>
#include <limits>
#include <new>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

constexpr size_t npos = ustring::npos;

// The sizing rule: exact growth, and exact shrinking below half of the former size.
size_t resized(size_t capacity, size_t need) {
    return capacity >= need && need >= capacity / 2 ? capacity : need;
}

} // namespace

/// The members themselves: buffer sizes, the state of the cache, and sources inside the own buffer.
/// Compiled without access control.
class UstringMemoryTest : public QObject {
    Q_OBJECT

private slots:
    void membersStandInTheirOrder() {
        static_assert(!std::is_polymorphic_v<ustring>, "nothing to override");
        QCOMPARE(sizeof(ustring), 6 * sizeof(void*));
        const ustring text;
        const char* const start = reinterpret_cast<const char*>(&text);
        const auto offset = [start](const void* member) {
            return static_cast<const char*>(member) - start;
        };
        QVERIFY(offset(&text.data) == 0 && offset(&text.data_len) == 8);
        QVERIFY(offset(&text.data_cap) == 16 && offset(&text.wdata) == 24);
        QVERIFY(offset(&text.wdata_len) == 32 && offset(&text.wdata_cap) == 40);
    }

    void everyStringStartsWithRoomForFour() {
        const ustring text;
        QCOMPARE(text.data_cap, size_t(4));
        QCOMPARE(text.wdata_cap, size_t(4));
        QCOMPARE(text.wdata_len, size_t(0));
        QVERIFY(text.data[0] == '\0' && text.wdata[0] == u'\0');
    }

    void constructionSizesTheBufferExactly() {
        for (size_t length : {1u, 2u, 3u, 4u, 5u, 15u, 100u, 1000u}) {
            const std::string s(length, 'x');
            const size_t expected = resized(4, length + 1);
            QCOMPARE(ustring(s.c_str()).data_cap, expected);
            QCOMPARE(ustring(s).data_cap, expected);
            QCOMPARE(ustring(ustring(s)).data_cap, expected);
            QCOMPARE(ustring(s).substr(0, npos).data_cap, expected);
            QCOMPARE(ustring(s.c_str()).wdata_cap, size_t(4));
            const ustring wide(std::u16string(length, u'x').c_str());
            QCOMPARE(wide.data_cap, expected);
            QCOMPARE(wide.wdata_cap, expected);
        }
        QCOMPARE(ustring('x').data_cap, size_t(4));
        QCOMPARE(ustring("").data_cap, size_t(1)); // a request for the NUL alone is below half of 4
        QCOMPARE(ustring("abcdef").substr(4, npos).data_cap, size_t(4));
    }

    void resizeFollowsTheRule() {
        ustring text;
        size_t capacity = 4;
        for (size_t need :
             {5u, 3u, 2u, 1u, 10u, 10u, 9u, 5u, 4u, 2u, 1u, 11u, 5u, 4u, 1000u, 500u, 499u, 4u}) {
            text.realloc_data(need);
            text.realloc_wdata(need);
            capacity = resized(capacity, need);
            QCOMPARE(text.data_cap, capacity);
            QCOMPARE(text.wdata_cap, capacity);
        }
    }

    void resizeKeepsTheText() {
        ustring text("abc");
        QCOMPARE(units(text), QString("abc"));
        text.realloc_data(1000);
        text.realloc_wdata(1000);
        text.realloc_data(4);
        text.realloc_wdata(4);
        QCOMPARE(bytes(text), literal("abc"));
        QCOMPARE(units(text), QString("abc"));
    }

    void eachAppendGrowsToTheExactSize() {
        ustring text;
        for (size_t length = 1; length < 300; ++length) {
            text += 'x';
            QCOMPARE(text.data_cap, std::max<size_t>(4, length + 1));
        }
        text.append("0123456789", 5);
        QCOMPARE(text.data_cap, size_t(305));
        text.append("0123456789\0abc", npos);
        QCOMPARE(text.data_cap, size_t(315));
        text += text.c_str();
        QCOMPARE(text.data_cap, 2 * size_t(314) + 1);
    }

    void eachUtf16AppendGrowsToTheExactSize() {
        ustring text;
        for (size_t length = 1; length < 100; ++length) {
            text += u'\u00e9';
            QCOMPARE(text.wdata_cap, std::max<size_t>(4, length + 1));
            QCOMPARE(text.data_cap, std::max<size_t>(4, 2 * length + 1));
        }
        text += text.c_str_utf16();
        QCOMPARE(text.wdata_cap, 2 * size_t(99) + 1);
        QCOMPARE(text.data_cap, 4 * size_t(99) + 1);
    }

    void shorterTextShrinksTheBufferBelowHalf() {
        ustring text(std::string(99, 'x'));
        text = std::string(49, 'x');
        QCOMPARE(text.data_cap, size_t(100));
        text = std::string(48, 'x');
        QCOMPARE(text.data_cap, size_t(49));
        text = "";
        QCOMPARE(text.data_cap, size_t(1));
    }

    void clearTrimAndTruncationKeepTheBuffers() {
        ustring text("0123456789          ");
        text.c_str_utf16();
        text.rtrim(" ");
        text.ltrim("012345678");
        QCOMPARE(text.data_cap, size_t(21));
        text.assign(text.c_str(), 0);
        QCOMPARE(text.data_cap, size_t(21));
        text = "012345678901234";
        text.c_str_utf16();
        text.clear();
        QCOMPARE(text.data_cap, size_t(21));
        QCOMPARE(text.wdata_cap, size_t(21));
        QVERIFY(text.wdata_len == 0 && text.wdata[0] == u'\0');
    }

    void utf16SideIsBuiltOnlyWhenAskedFor() {
        ustring text("0123456789");
        text += text;
        text.find("9", 0);
        text.substr(1, 2);
        QVERIFY(text == text && ustring::is_valid(text));
        QCOMPARE(text.wdata_cap, size_t(4));
        text.c_str_utf16();
        QCOMPARE(text.wdata_len, size_t(20));
        QCOMPARE(text.wdata_cap, size_t(21));
        const uchar16_t* const built = text.wdata;
        QVERIFY(text.c_str_utf16() == built);
    }

    void emptyStringIsConvertedWheneverItIsAsked() {
        const ustring text;
        QVERIFY(text.c_str_utf16()[0] == u'\0');
        QCOMPARE(text.wdata_cap, size_t(1)); // the NUL alone, below half of 4
    }

    void copyDoesNotTakeTheUtf16SideAlong() {
        const ustring source("abc");
        source.c_str_utf16();
        QCOMPARE(ustring(source).wdata_len, size_t(0));
        ustring target("x");
        target.c_str_utf16();
        target = source;
        QCOMPARE(target.wdata_len, size_t(0));
        QCOMPARE(target.wdata[0], u'\0');
    }

    void whatChangesNothingKeepsTheUtf16Side() {
        ustring text("abc");
        text.c_str_utf16();
        text.trim(" ");
        text.ltrim("");
        text.rtrim("");
        text.assign(text.c_str());
        text.assign(text.c_str(), 3);
        text.assign(text.c_str(), npos);
        QCOMPARE(text.wdata_len, size_t(3));
        text.assign(text.c_str_utf16());
        text.assign(text.c_str_utf16(), 3);
        text.replace('a', 'x');
        text[1] = 'y';
        QCOMPARE(text.wdata_len, size_t(3));
        QCOMPARE(text.c_str(), "xyc");
    }

    void assignOfTheEmptyUtf16SideBuildsItFirst() {
        ustring text("abcd");
        text.assign(text.wdata, 2);
        QCOMPARE(bytes(text), literal("ab"));
        QCOMPARE(text.wdata_len, size_t(2));
        text += "e";
        text.assign(text.wdata, 9);
        QCOMPARE(bytes(text), literal("abe"));
    }

    void conversionsAnswerZeroOrMinusOne() {
        const StderrCapture warnings;
        ustring text("abc");
        QCOMPARE(text.convert_from_data(), 0);
        QCOMPARE(text.convert_from_wdata(), 0);
        text[0] = '\xff';
        QCOMPARE(text.convert_from_data(), -1);
        QCOMPARE(bytes(text), literal("\xff"
                                      "bc"));
        QVERIFY(text.wdata_len == 0 && text.wdata[0] == u'\0');
        text = u"ab";
        text.wdata[1] = 0xd800;
        QCOMPARE(text.convert_from_wdata(), -1);
        QVERIFY(text.data_len == 0 && text.data[0] == '\0');
        QVERIFY(text.wdata_len == 0 && text.wdata[0] == u'\0');
    }

    void swapExchangesAllSixMembers() {
        ustring a("0123456789");
        ustring b(u"\u00e9\u00e9\u00e9\u00e9\u00e9");
        const char* const data = a.data;
        const uchar16_t* const wdata = a.wdata;
        swap(a, b);
        QVERIFY(b.data == data && b.wdata == wdata);
        QVERIFY(b.data_len == 10 && b.data_cap == 11 && b.wdata_len == 0 && b.wdata_cap == 4);
        QVERIFY(a.data_len == 10 && a.data_cap == 11 && a.wdata_len == 5 && a.wdata_cap == 6);
    }

    // NOLINTBEGIN(bugprone-use-after-move,clang-analyzer-cplusplus.Move): that a moved-from string
    // keeps buffers is the point
    void movedFromStringKeepsBothBuffers() {
        ustring source("0123456789");
        source.c_str_utf16();
        const char* const data = source.data;
        ustring target(std::move(source));
        QVERIFY(target.data == data && target.wdata_len == 10);
        QVERIFY(source.data != nullptr && source.wdata != nullptr);
        QVERIFY(source.data_cap == 4 && source.wdata_cap == 4 && source.data_len == 0);
        source = std::move(target);
        QVERIFY(source.data == data && target.data != nullptr && target.wdata != nullptr);
        std::vector<ustring> many(100, "text of some length");
        many.erase(many.begin() + 10, many.begin() + 50);
        QCOMPARE(many.back().c_str(), "text of some length");
    }
    // NOLINTEND(bugprone-use-after-move,clang-analyzer-cplusplus.Move)

    void destructorSetsBothPointersToNull() {
        alignas(ustring) unsigned char room[sizeof(ustring)];
        auto* const text = new (room) ustring("0123456789");
        text->~ustring();
        // Read as bytes: the object itself is gone.
        const unsigned char null[sizeof(void*)] = {};
        const auto* const volatile_room = const_cast<const volatile unsigned char*>(room);
        for (size_t i = 0; i < sizeof null; ++i) {
            QCOMPARE(volatile_room[i], null[i]);
            QCOMPARE(volatile_room[24 + i], null[i]);
        }
    }

    void streamGoesBadOnANullText() {
        ustring text;
        char* const data = text.data;
        text.data = nullptr;
        std::ostringstream out;
        out << text;
        text.data = data;
        QVERIFY(out.bad());
        QCOMPARE(out.str().c_str(), "");
    }

    void ownBufferServesAsSourceAtEveryOffset() {
        const std::string model("0123456789");
        for (size_t room : {0u, 5u, 8u, 40u}) {
            for (size_t offset = 0; offset <= model.size(); ++offset) {
                for (size_t n : {size_t(0), size_t(1), size_t(3), npos}) {
                    ustring text(model);
                    ustring wide(model);
                    text.realloc_data(std::max(model.size() + 1, room));
                    wide.c_str_utf16();
                    wide.realloc_wdata(std::max(model.size() + 1, room));
                    const QByteArray part(model.substr(offset, n).c_str());
                    QCOMPARE(bytes(ustring(text).assign(text.c_str() + offset, n)), part);
                    text.append(text.c_str() + offset, n);
                    wide.append(wide.c_str_utf16() + offset, n);
                    QCOMPARE(bytes(text), model.c_str() + part);
                    QCOMPARE(bytes(wide), model.c_str() + part);
                    text.assign(text.c_str() + offset, n);
                    wide.assign(wide.c_str_utf16() + offset, n);
                    const QByteArray rest = (model.c_str() + part).mid(int(offset));
                    const QByteArray expected = n == npos ? rest : rest.left(int(n));
                    QCOMPARE(bytes(text), expected);
                    QCOMPARE(bytes(wide), expected);
                }
            }
        }
    }

    // A text that is gone, or was never there, is still no reason to read beyond the buffer.
    void sourceBehindTheTextEndsWithTheBuffer() {
        ustring text(std::string(99, 'x'));
        const char* const behind = text.c_str() + 60;
        text.clear();
        text.append(behind, npos);
        QCOMPARE(bytes(text), QByteArray(39, 'x'));

        ustring full("0123");
        full.realloc_data(8);
        memset(full.data + 5, 'y', 3);
        full.append(full.c_str() + 5, npos);
        QCOMPARE(bytes(full), literal("0123yyy"));

        ustring wide(u"0123");
        wide.realloc_wdata(8);
        std::fill_n(wide.wdata + 5, 3, u'y');
        wide.append(wide.c_str_utf16() + 5);
        QCOMPARE(bytes(wide), literal("0123yyy"));
    }

    void sourceFarBehindAShortTextIsCopiedBeforeTheBufferShrinks() {
        ustring text(std::string(200, 'a') + "bcd");
        QCOMPARE(bytes(text.assign(text.c_str() + 200)), literal("bcd"));
        QCOMPARE(text.data_cap, size_t(4));
        ustring wide((std::u16string(200, u'a') + u"bcd").c_str());
        QCOMPARE(bytes(wide.assign(wide.c_str_utf16() + 200)), literal("bcd"));
        QCOMPARE(wide.wdata_cap, size_t(4));
    }

    void lengthsThatNoBufferHoldsAreBadAlloc() {
        ustring text("abc");
        text.c_str_utf16();
        for (size_t n : {npos, npos - 1, npos - 3, npos - 4, npos / 2, npos / 2 + 1}) {
            QVERIFY_EXCEPTION_THROWN(text.append('x', n), std::bad_alloc);
            QVERIFY_EXCEPTION_THROWN(text.append(u'x', n), std::bad_alloc);
            QCOMPARE(bytes(text), literal("abc"));
            QCOMPARE(units(text), QString("abc"));
        }
        QVERIFY_EXCEPTION_THROWN(text.append(u'x', npos / 4), std::bad_alloc);
        QVERIFY_EXCEPTION_THROWN(text.realloc_data(npos), std::bad_alloc);
        QVERIFY_EXCEPTION_THROWN(text.realloc_wdata(npos / 2 + 1), std::bad_alloc);
        QVERIFY(text.data_cap == 4 && text.wdata_cap == 4);
        QVERIFY_EXCEPTION_THROWN(text.assign('x', npos), std::bad_alloc);
        QVERIFY(text.empty() && text.data_cap == 4);
    }

    void moreThanIcuCountsIsBadAlloc() {
        const size_t limit = size_t(std::numeric_limits<int32_t>::max());
        ustring text("abc");
        text.data_len = limit + 1;
        QVERIFY_EXCEPTION_THROWN(text.c_str_utf16(), std::bad_alloc);
        QVERIFY_EXCEPTION_THROWN(ustring::is_valid(text), std::bad_alloc);
        text.data_len = 3;
        QCOMPARE(units(text), QString("abc"));
        text.wdata_len = limit / 3 + 1;
        QVERIFY_EXCEPTION_THROWN(text.convert_from_wdata(), std::bad_alloc);
        QCOMPARE(bytes(text), literal("abc"));
        QCOMPARE(units(text), QString("abc"));
    }

    void capacitiesFollowTheRuleThroughThousandsOfEdits() {
        std::mt19937 random = seeded(20210615);
        ustring text;
        size_t capacity = 4;
        for (int step = 0; step < 20000; ++step) {
            const std::string word(random() % 60, 'x');
            const size_t n = random() % 70;
            size_t need = 0;
            switch (random() % 5) {
            case 0:
                need = text.length() + word.size() + 1, text += word.c_str();
                break;
            case 1:
                need = text.length() + n + 1, text.append('y', n);
                break;
            case 2:
                need = word.size() + 1, text = word;
                break;
            case 3:
                need = std::min(n, text.length()) + 1, text.assign(text, 0, n);
                break;
            default:
                need = 2 * text.length() + 1, text += text;
                break;
            }
            capacity = resized(capacity, need);
            QCOMPARE(text.data_cap, capacity);
            if (text.length() > 5000) {
                text.clear();
            }
        }
    }
};

QTEST_APPLESS_MAIN(UstringMemoryTest)
#include "ustring_memory_test.moc"
