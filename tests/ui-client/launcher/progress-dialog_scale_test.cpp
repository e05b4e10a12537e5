#include "tests/support/scale.h"
#include "ui-client/launcher/progress-dialog.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QCoreApplication>
#include <QTranslator>
#include <QtTest>

namespace {

/// Every language that has a file.
const QStringList& languages() {
    static const QStringList codes{"chs", "cht", "csy", "dan", "enu", "fre", "ger",
                                   "hun", "ita", "jpn", "krn", "nld", "nor", "plk",
                                   "ptb", "ptg", "rus", "spn", "sve", "trk"};
    return codes;
}

/// The labels that the dialog shows in a language and that want more than its width.
QStringList tooWideLabels(const QString& language) {
    QTranslator translator;
    if (!translator.load(":/" + language + ".qm", "", "", "")) {
        return {"no translation " + language};
    }
    QCoreApplication::installTranslator(&translator);
    ProcessingProgressDialog dialog;
    dialog.setCancelButton(nullptr);
    QStringList wide;
    for (const int id : {StrTable::desc_sklk_env_preparing_tessel,
                         StrTable::desc_sklk_env_preparation_done_tessel}) {
        dialog.setLabelText(
            StrTable::LoadStr(id).arg(StrTable::LoadStr(StrTable::app_name_tessel)));
        dialog.show();
        if (dialog.sizeHint().width() > dialog.width()) {
            wide << dialog.labelText();
        }
    }
    return wide;
}

} // namespace

class ProgressDialogScaleTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { StrTable::InitStrTable(); }

    void widthIs400TimesTheScaleCut_data() {
        QTest::addColumn<double>("scale");
        QTest::addColumn<int>("width");
        QTest::newRow("1.0") << 1.0 << 400;
        QTest::newRow("1.25") << 1.25 << 500;
        QTest::newRow("1.5") << 1.5 << 600;
        QTest::newRow("2.0") << 2.0 << 800;
        QTest::newRow("97 dots per inch, 404.17") << 97 / 96.0 << 404;
        QTest::newRow("101 dots per inch, 420.83") << 101 / 96.0 << 420;
    }

    void widthIs400TimesTheScaleCut() {
        QFETCH(double, scale);
        QFETCH(int, width);
        QCOMPARE(atScale(scale,
                         [] {
                             ProcessingProgressDialog dialog;
                             dialog.show();
                             return QString("%1 %2 %3 %4")
                                 .arg(dialog.minimumWidth())
                                 .arg(dialog.maximumWidth())
                                 .arg(dialog.width())
                                 .arg(dialog.maximumHeight() == QWIDGETSIZE_MAX);
                         }),
                 QString("%1 %1 %1 1").arg(width));
    }

    void bothLabelsFitInEveryLanguageAtEveryScale_data() {
        QTest::addColumn<double>("scale");
        for (const double scale : {1.0, 1.25, 1.5, 2.0}) {
            QTest::addRow("%g", scale) << scale;
        }
    }

    void bothLabelsFitInEveryLanguageAtEveryScale() {
        QFETCH(double, scale);
        QCOMPARE(atScale(scale,
                         [] {
                             QStringList wide;
                             for (const QString& language : languages()) {
                                 wide << tooWideLabels(language);
                             }
                             return wide.join(", ") + '.';
                         }),
                 QString("."));
    }
};

QTEST_APPLESS_MAIN(ProgressDialogScaleTest)
#include "progress-dialog_scale_test.moc"
