#include "libui/DPIinfo.h"
#include "tests/support/scale.h"

#include <QGuiApplication>
#include <QScreen>
#include <QtTest>

namespace {

/// The sheet as scaled at `scale`, between bars, so that an empty sheet is an answer too.
QString scaledAt(double scale, const QString& sheet) {
    return atScale(
        scale, [&sheet] { return '|' + DPIinfo::getInstance()->getScaledStyleSheet(sheet) + '|'; });
}

QString barred(const QString& text) {
    return '|' + text + '|';
}

} // namespace

class DPIinfoTest : public QObject {
    Q_OBJECT

private slots:
    void thereIsOneInstance() {
        QVERIFY(DPIinfo::getInstance() != nullptr);
        QCOMPARE(DPIinfo::getInstance(), DPIinfo::getInstance());
    }

    void scaleIsOneWithoutAScreen() {
        QCOMPARE(DPIinfo::getInstance()->getDPI(), 1.0);
        QCOMPARE(DPIinfo::getInstance()->getScaledStyleSheet("a 7px"), QString("a 7px"));
    }

    void scaleIsThePrimaryScreensDotsPerInchOver96() {
        QCOMPARE(atScale(1.125,
                         [] {
                             return QString("%1 %2")
                                 .arg(QGuiApplication::primaryScreen()->logicalDotsPerInch())
                                 .arg(DPIinfo::getInstance()->getDPI());
                         }),
                 QString("108 1.125"));
    }

    void scaleFollowsTheScreen_data() {
        QTest::addColumn<double>("scale");
        for (const double scale : {1.0, 1.25, 1.5, 2.0}) {
            QTest::addRow("%g", scale) << scale;
        }
    }

    void scaleFollowsTheScreen() {
        QFETCH(double, scale);
        QCOMPARE(atScale(scale, [] { return QString::number(DPIinfo::getInstance()->getDPI()); }),
                 QString::number(scale));
    }

    void pixelLengthsAreScaledAndRounded_data() {
        QTest::addColumn<double>("scale");
        QTest::addColumn<QString>("sheet");
        QTest::addColumn<QString>("scaled");
        const auto row = [](const char* name, double scale, const char* sheet, const char* scaled) {
            QTest::newRow(name) << scale << QString::fromUtf8(sheet) << QString::fromUtf8(scaled);
        };
        row("integer", 1.5, "QLabel { margin: 10px; }", "QLabel { margin: 15px; }");
        row("several in one value", 2.0, "padding: 1px 2px 3px 4px", "padding: 2px 4px 6px 8px");
        row("without blanks", 1.5, "a{margin:4px;border:2px}", "a{margin:6px;border:3px}");
        row("capitals stay", 1.5, "margin: 12PX 4Px", "margin: 18PX 6Px");
        row("decimal", 2.0, "margin: 1.25px", "margin: 3px");
        row("decimal without leading zero", 2.0, "margin: .5px", "margin: 1px");
        row("negative", 2.0, "margin: -3px", "margin: -6px");
        row("positive sign", 2.0, "margin: +3px", "margin: +6px");
        row("half goes up", 1.5, "margin: 3px", "margin: 5px");
        row("negative half goes down", 1.5, "margin: -3px", "margin: -5px");
        row("below half goes down", 1.25, "margin: 1px", "margin: 1px");
        row("above half goes up", 1.25, "margin: 3px", "margin: 4px");
        row("zero", 2.0, "margin: 0px", "margin: 0px");
        row("long number", 2.0, "margin: 5000000000px", "margin: 10000000000px");
        row("at both ends", 2.0, "1px 2px", "2px 4px");
        row("after a comma", 2.0, "f(1px,2px)", "f(2px,4px)");
        row("decimal at scale one", 1.0, "margin: 1.5px", "margin: 2px");
        row("after a comment", 2.0, "/* 1px */ margin: 1px", "/* 1px */ margin: 2px");
        row("after an empty comment", 2.0, "/**/ 1px /**/ 1px", "/**/ 2px /**/ 2px");
        row("after a string", 2.0, "a['1px'] \"1px\" 1px", "a['1px'] \"1px\" 2px");
        row("after an escaped quote", 2.0, R"("1px\" 1px" 1px)", R"("1px\" 1px" 2px)");
        row("after an address", 2.0, "url(a 1px.png) 1px", "url(a 1px.png) 2px");
        row("after a quoted address", 2.0, "url( \")1px\" ) 1px", "url( \")1px\" ) 2px");
        row("after an unclosed string's line", 2.0, "'1px\n1px", "'1px\n2px");
        row("number before a minus", 2.0, "2-3px", "2-6px");
    }

    void pixelLengthsAreScaledAndRounded() {
        QFETCH(double, scale);
        QFETCH(QString, sheet);
        QFETCH(QString, scaled);
        QCOMPARE(scaledAt(scale, sheet), barred(scaled));
    }

    void otherTextIsLeftAlone_data() {
        QTest::addColumn<QString>("sheet");
        const auto row = [](const char* name, const char* sheet) {
            QTest::newRow(name) << QString::fromUtf8(sheet);
        };
        row("empty", "");
        row("no length",
            "QProgressDialog { background-color: WhiteSmoke; vertical-align: middle; }");
        row("other units", "a { font: 12pt; width: 3em; height: 2ex; top: 50%; flex: 7 }");
        row("longer unit", "a { x: 3pxx; y: 3px2; z: 3px-y; u: 3px_; v: 3pxé }");
        row("number and name apart", "margin: 3 px");
        row("id", "#12px { } #id12px { } QLabel#a-12px { }");
        row("name", "a2px-b b_3px é4px --5px -x-6px");
        row("escaped name", R"(\31 2px \1px)");
        row("exponent", "1e3px");
        row("trailing point", "5.px");
        row("double-quoted string", "content: \"12px 'a' 3px\"");
        row("single-quoted string", "content: '12px \"a\" 3px'");
        row("unclosed string", "content: \"12px");
        row("comment", "/* 12px\n * 3px **/");
        row("unclosed comment", "/* 12px");
        row("bare address", "image: URL( :/12px/a-3px.png )");
        row("unclosed address", "image: url(:/12px 3px");
        row("quoted address", "image: url('12px.png')");
        row("the word alone", "px PX");
    }

    void otherTextIsLeftAlone() {
        QFETCH(QString, sheet);
        QCOMPARE(scaledAt(2.0, sheet), barred(sheet));
    }

    void wholePixelsAreUnchangedAtScaleOne() {
        const QString sheet("QLabel#a { margin: -3px +4PX 0px; font: 9pt 'x 1px'; } /* 7px */");
        QCOMPARE(scaledAt(1.0, sheet), barred(sheet));
    }
};

QTEST_APPLESS_MAIN(DPIinfoTest)
#include "DPIinfo_test.moc"
