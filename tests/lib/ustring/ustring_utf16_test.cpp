#include "lib/ustring/ustring.h"
#include "tests/lib/ustring/sides.h"
#include "tests/support/stderr-capture.h"

#include <QtTest>

#include <functional>
#include <random>
#include <string>

namespace {

using Edit = std::function<ustring&(ustring&)>;

std::u16string randomUnits(std::mt19937& random, size_t n) {
    static const QString letters[] = {"a", "/", "\u00e9", "\u65e5", "\U0001f600"};
    QString text;
    for (size_t i = 0; i < n; ++i) {
        text += letters[random() % 5];
    }
    return text.toStdU16String();
}

} // namespace

Q_DECLARE_METATYPE(Edit)
Q_DECLARE_METATYPE(std::u16string)

/// Edits on the UTF-16 side, and when it is built.
class UstringUtf16Test : public QObject {
    Q_OBJECT

private slots:
    void utf16IsBuiltWhenItIsAskedFor_data() {
        QTest::addColumn<QByteArray>("utf8");
        QTest::addColumn<std::u16string>("utf16");
        QTest::newRow("ASCII") << literal("/home") << std::u16string(u"/home");
        QTest::newRow("two bytes") << literal("\xc3\xa9") << std::u16string(u"\u00e9");
        QTest::newRow("three bytes")
            << literal("\xe6\x97\xa5\xe6\x9c\xac") << std::u16string(u"\u65e5\u672c");
        QTest::newRow("surrogate pair")
            << literal("x\xf0\x9f\x98\x80y") << std::u16string(u"x\U0001f600y");
        QTest::newRow("the last code point")
            << literal("\xf4\x8f\xbf\xbf") << std::u16string(u"\U0010ffff");
        QTest::newRow("byte order mark") << literal("\xef\xbb\xbf/") << std::u16string(u"\ufeff/");
        QTest::newRow("long") << QByteArray(2000, 'x') << std::u16string(2000, u'x');
    }
    void utf16IsBuiltWhenItIsAskedFor() {
        QFETCH(QByteArray, utf8);
        QFETCH(std::u16string, utf16);
        const ustring text(utf8.constData());
        QVERIFY(utf16 == text.c_str_utf16());
        QVERIFY(text.c_str_utf16() == text.c_str_utf16());
        QCOMPARE(bytes(text), utf8);
        const ustring back(utf16.c_str());
        QCOMPARE(bytes(back), utf8);
        QVERIFY(utf16 == back.c_str_utf16());
    }

    // One row per overload: what it makes of "a\u00e9\u65e5" and that it answers the string itself.
    void editsOfTheUtf16Side_data() {
        QTest::addColumn<Edit>("edit");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char* name, const Edit& edit, const QString& expected) {
            QTest::newRow(name) << edit << expected;
        };
        static const uchar16_t unended[] = {u'd', u'\u00e8', u'f'};
        static const uchar16_t* const other = u"d\u00e8f";
        using S = ustring;

        row(
            "append", [](S& s) -> S& { return s.append(other); }, "aé日dèf");
        row(
            "append nothing", [](S& s) -> S& { return s.append(u""); }, "aé日");
        row(
            "append a part", [](S& s) -> S& { return s.append(other, 2); }, "aé日dè");
        row(
            "append none of it", [](S& s) -> S& { return s.append(other, 0); }, "aé日");
        row(
            "append up to its NUL", [](S& s) -> S& { return s.append(u"d\0f", 3); }, "aé日d");
        row(
            "append beyond it", [](S& s) -> S& { return s.append(other, S::npos); }, "aé日dèf");
        row(
            "append without NUL", [](S& s) -> S& { return s.append(unended, 3); }, "aé日dèf");
        row(
            "append units", [](S& s) -> S& { return s.append(u'\u00e8', 3); }, "aé日èèè");
        row(
            "append one unit", [](S& s) -> S& { return s.append(u'\u00e8'); }, "aé日è");
        row(
            "append no unit", [](S& s) -> S& { return s.append(u'\u00e8', 0); }, "aé日");
        row(
            "+= text", [](S& s) -> S& { return s += other; }, "aé日dèf");
        row(
            "+= unit", [](S& s) -> S& { return s += u'\u00e8'; }, "aé日è");

        row(
            "append itself", [](S& s) -> S& { return s.append(s.c_str_utf16()); }, "aé日aé日");
        row(
            "append two of itself", [](S& s) -> S& { return s.append(s.c_str_utf16(), 2); },
            "aé日aé");
        row(
            "append all of itself", [](S& s) -> S& { return s.append(s.c_str_utf16(), 99); },
            "aé日aé日");
        row(
            "append its middle", [](S& s) -> S& { return s.append(s.c_str_utf16() + 1); },
            "aé日é日");
        row(
            "append of its middle", [](S& s) -> S& { return s.append(s.c_str_utf16() + 1, 1); },
            "aé日é");
        row(
            "append its end", [](S& s) -> S& { return s.append(s.c_str_utf16() + 3); }, "aé日");
        row(
            "+= itself", [](S& s) -> S& { return s += s.c_str_utf16(); }, "aé日aé日");

        row(
            "assign", [](S& s) -> S& { return s.assign(other); }, "dèf");
        row(
            "assign nothing", [](S& s) -> S& { return s.assign(u""); }, "");
        row(
            "assign a part", [](S& s) -> S& { return s.assign(other, 2); }, "dè");
        row(
            "assign none of it", [](S& s) -> S& { return s.assign(other, 0); }, "");
        row(
            "assign up to its NUL", [](S& s) -> S& { return s.assign(u"d\0f", 3); }, "d");
        row(
            "assign without NUL", [](S& s) -> S& { return s.assign(unended, 3); }, "dèf");
        row(
            "assign units", [](S& s) -> S& { return s.assign(u'\u00e8', 2); }, "èè");
        row(
            "assign one unit", [](S& s) -> S& { return s.assign(u'\u00e8'); }, "è");
        row(
            "assign no unit", [](S& s) -> S& { return s.assign(u'\u00e8', 0); }, "");
        row(
            "= text", [](S& s) -> S& { return s = other; }, "dèf");
        row(
            "= unit", [](S& s) -> S& { return s = u'\u00e8'; }, "è");

        row(
            "assign own text", [](S& s) -> S& { return s.assign(s.c_str_utf16()); }, "aé日");
        row(
            "assign two of itself", [](S& s) -> S& { return s.assign(s.c_str_utf16(), 2); }, "aé");
        row(
            "assign none of itself", [](S& s) -> S& { return s.assign(s.c_str_utf16(), 0); }, "");
        row(
            "assign all of itself", [](S& s) -> S& { return s.assign(s.c_str_utf16(), 3); },
            "aé日");
        row(
            "assign its middle", [](S& s) -> S& { return s.assign(s.c_str_utf16() + 1); }, "é日");
        row(
            "assign of its middle", [](S& s) -> S& { return s.assign(s.c_str_utf16() + 1, 1); },
            "é");
        row(
            "assign its end", [](S& s) -> S& { return s.assign(s.c_str_utf16() + 3); }, "");
        row(
            "= own text", [](S& s) -> S& { return s = s.c_str_utf16(); }, "aé日");
    }
    void editsOfTheUtf16Side() {
        QFETCH(Edit, edit);
        QFETCH(QString, expected);
        const StderrCapture warnings;
        ustring text("a\xc3\xa9\xe6\x97\xa5");
        QVERIFY(&edit(text) == &text);
        QCOMPARE(units(text), expected);
        QCOMPARE(bytes(text), expected.toUtf8());
        QCOMPARE(warnings.text(), QByteArray());
    }

    void bothSidesAreValidAfterEachEdit() {
        ustring text("x");
        text += u"\u00e9";
        text += "/";
        QCOMPARE(units(text), QString("xé/"));
        text += u'\u65e5';
        QCOMPARE(bytes(text), literal("x\xc3\xa9/\xe6\x97\xa5"));
        QCOMPARE(units(text), QString("xé/日"));
    }

    void ownTextStillCountsAfterTheOtherSideWasEdited() {
        ustring text("ab");
        const uchar16_t* const own = text.c_str_utf16();
        text += "c";
        text.append(own); // empty by now, and built anew from "abc" before the append
        QCOMPARE(bytes(text), literal("abcabc"));
        QCOMPARE(units(text), QString("abcabc"));
    }

    void placeInsideTheOwnTextStillCountsAfterTheOtherSideWasEdited() {
        ustring text("ab");
        const uchar16_t* const inside = text.c_str_utf16() + 2;
        text += long_tail;
        text.append(inside, 3);
        QCOMPARE(bytes(text), literal("ab") + long_tail + QByteArray(long_tail).left(3));
        text.assign("x");
        const uchar16_t* const behind = text.c_str_utf16() + 1;
        text.clear();
        text.append("yz");
        text.append(behind, 1);
        QCOMPARE(bytes(text), literal("yzz"));
    }

    void writtenBytesAreLostWhereTheUtf16SideWasBuiltBefore() {
        ustring text("abc");
        QCOMPARE(units(text), QString("abc"));
        text[0] = 'x';
        text += u"d";
        QCOMPARE(bytes(text), literal("abcd"));
    }

    void invalidUtf8IsLostByAUtf16Append() {
        const StderrCapture warnings;
        ustring text("abc\xff");
        text += u"d";
        QCOMPARE(bytes(text), literal("d"));
        QCOMPARE(units(text), QString("d"));
        QCOMPARE(warnings.unnumbered(),
                 literal("Warning: u_strFromUTF8: error code 10 at line #\n"));
    }

    void invalidUtf8IsNotLookedAtByAUtf16Assign() {
        const StderrCapture warnings;
        ustring text("abc\xff");
        text = u"d";
        QCOMPARE(bytes(text), literal("d"));
        QCOMPARE(warnings.text(), QByteArray());
    }

    void loneSurrogateEmptiesTheWholeString() {
        const StderrCapture warnings;
        ustring text("abc");
        text += uchar16_t(0xd83d);
        QCOMPARE(bytes(text), QByteArray());
        QCOMPARE(units(text), QString());
        QCOMPARE(warnings.unnumbered(), literal("Warning: u_strToUTF8: error code 10 at line #\n"));
    }

    void truncationInsideASurrogatePairEmptiesTheWholeString() {
        const StderrCapture warnings;
        ustring text("a\xf0\x9f\x98\x80");
        text.assign(text.c_str_utf16(), 2);
        QVERIFY(text.empty());
        QCOMPARE(warnings.unnumbered(), literal("Warning: u_strToUTF8: error code 10 at line #\n"));
    }

    void loneSurrogateConstructsAnEmptyString() {
        const StderrCapture warnings;
        const uchar16_t lone[] = {u'a', 0xdc00, 0};
        QVERIFY(ustring(lone).empty());
        QCOMPARE(warnings.unnumbered(), literal("Warning: u_strToUTF8: error code 10 at line #\n"));
    }

    void zeroUnitsDoNotReachTheUtf8Side() {
        ustring text("ab");
        text.append(u'\0', 2);
        QCOMPARE(bytes(text), literal("ab"));
        text += u"c";
        QCOMPARE(bytes(text), literal("ab"));
        QCOMPARE(units(text), QString("ab"));
        text += "c";
        QCOMPARE(units(text), QString("abc"));
    }

    void zeroUnitMakesAnEmptyString() {
        ustring text;
        text = u'\0';
        QVERIFY(text.empty());
        QCOMPARE(units(text), QString());
        text += "a";
        QCOMPARE(units(text), QString("a"));
    }

    void thousandsOfEditsAgreeWithQString() {
        std::mt19937 random = seeded(20210608);
        ustring text;
        QString model;
        for (int step = 0; step < 5000; ++step) {
            const std::u16string word = randomUnits(random, random() % 20);
            const QString added = QString::fromStdU16String(word);
            const size_t pos = random() % (size_t(model.size()) + 1);
            switch (random() % 7) {
            case 0:
                text += word.c_str(), model += added;
                break;
            case 1:
                text.append(word.data(), word.size()), model += added;
                break;
            case 2:
                text += added.toUtf8().constData(), model += added;
                break;
            case 3:
                text.append(u'\u65e5', 3), model += "日日日";
                break;
            case 4:
                text = word.c_str(), model = added;
                break;
            case 5:
                text.append(text.c_str_utf16()), model += model;
                break;
            default:
                if (pos < size_t(model.size()) && !model.at(int(pos)).isLowSurrogate()) {
                    text.append(text.c_str_utf16() + pos), model += model.mid(int(pos));
                }
            }
            if (model.size() > 2000) {
                text.clear(), model.clear();
            }
            QCOMPARE(bytes(text), model.toUtf8());
            QCOMPARE(units(text), model);
        }
    }

private:
    static constexpr const char* long_tail = "0123456789012345678901234567890123456789";
};

QTEST_APPLESS_MAIN(UstringUtf16Test)
#include "ustring_utf16_test.moc"
