#include "libui/UIPathManager.h"
#include "ui-client/launcher/progress-dialog.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QApplication>
#include <QTemporaryDir>
#include <QTranslator>
#include <QWindow>
#include <QtTest>

namespace {

QImage pictureOfTheDialog() {
    ProcessingProgressDialog dialog;
    dialog.setCancelButton(nullptr);
    dialog.setAutoReset(false);
    dialog.show();
    return QTest::qWaitForWindowExposed(&dialog) ? dialog.grab().toImage() : QImage();
}

/// Counts how often a window is put on the screen.
class ShowCounter : public QObject {
public:
    explicit ShowCounter(QObject* watched) { watched->installEventFilter(this); }
    int count = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        count += event->type() == QEvent::Show ? 1 : 0;
        return QObject::eventFilter(watched, event);
    }
};

} // namespace

class ProgressDialogTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { StrTable::InitStrTable(); }

    void isBuiltHiddenAndWithoutANativeWindow() {
        const ProcessingProgressDialog dialog;
        QVERIFY(!dialog.isVisible());
        QVERIFY(dialog.isHidden());
        QVERIFY(!dialog.testAttribute(Qt::WA_WState_Created));
        QCOMPARE(dialog.windowHandle(), nullptr);
        QCOMPARE(dialog.parent(), nullptr);
    }

    void addsNothingToTheMetaObject() {
        const QMetaObject& meta = ProcessingProgressDialog::staticMetaObject;
        QCOMPARE(meta.className(), "ProcessingProgressDialog");
        QCOMPARE(meta.superClass(), &QProgressDialog::staticMetaObject);
        QCOMPARE(meta.methodCount(), meta.methodOffset());
        QCOMPARE(sizeof(ProcessingProgressDialog), sizeof(QProgressDialog));
    }

    void showsPerCentFromZero() {
        const ProcessingProgressDialog dialog;
        QCOMPARE(dialog.value(), 0);
        QCOMPARE(dialog.minimum(), 0);
        QCOMPARE(dialog.maximum(), 100);
    }

    void titleAndLabelNameTheApplication() {
        const ProcessingProgressDialog dialog;
        QCOMPARE(dialog.windowTitle(), QString("Tessel"));
        QCOMPARE(dialog.labelText(), QString("Tessel is initializing..."));
    }

    void titleAndLabelAreTranslated() {
        QTranslator translator;
        QVERIFY(translator.load(":/jpn.qm", "", "", ""));
        QVERIFY(QCoreApplication::installTranslator(&translator));
        const ProcessingProgressDialog dialog;
        const QString name = StrTable::LoadStr(StrTable::app_name_tessel);
        const QString label = StrTable::LoadStr(StrTable::desc_sklk_env_preparing_tessel);
        QVERIFY(label != "%1 is initializing...");
        QCOMPARE(dialog.windowTitle(), name);
        QCOMPARE(dialog.labelText(), QString(label).replace("%1", name));
    }

    void windowFlagsAreTheTwoHints() {
        const ProcessingProgressDialog dialog;
        QCOMPARE(static_cast<int>(dialog.windowFlags()) & ~Qt::WindowType_Mask, 0x1000 | 0x2000);
    }

    void isWindowModal() {
        const ProcessingProgressDialog dialog;
        QVERIFY(dialog.isModal());
        QCOMPARE(dialog.windowModality(), Qt::WindowModal);
    }

    void minimumDurationIsTheToolkitsOwn() {
        const ProcessingProgressDialog dialog;
        QCOMPARE(dialog.minimumDuration(), QProgressDialog().minimumDuration());
        QCOMPARE(dialog.minimumDuration(), 4000);
    }

    void fontIsArialAtDefaultSize() {
        const ProcessingProgressDialog dialog;
        QCOMPARE(dialog.font().family(), QString("Arial"));
        QCOMPARE(dialog.font().pointSize(), QApplication::font().pointSize());
        QVERIFY(!dialog.font().bold());
        QVERIFY(!dialog.font().italic());
    }

    void looksTheSameInAnApplicationOfItsFontFamily() {
        const QFont before = QApplication::font();
        const QImage plain = pictureOfTheDialog();
        adoptDialogFontFamily();
        const QFont adopted = QApplication::font();
        const QImage dressed = pictureOfTheDialog();
        QApplication::setFont(before);
        QCOMPARE(adopted.family(), QString("Arial"));
        QCOMPARE(adopted.pointSize(), before.pointSize());
        QVERIFY(!plain.isNull());
        QCOMPARE(dressed, plain);
    }

    void styleSheetIsTheLiteral() {
        const ProcessingProgressDialog dialog;
        QCOMPARE(
            dialog.styleSheet(),
            QString("QProgressDialog { background-color: WhiteSmoke; vertical-align: middle; }"));
    }

    void iconComesFromTheInstallation() {
        QTemporaryDir root;
        QVERIFY(QDir(root.path()).mkdir("images"));
        QImage image(72, 72, QImage::Format_ARGB32);
        image.fill(Qt::green);
        QVERIFY(image.save(root.filePath("images/ico_72_skylark.png")));
        UIPathManager::getInstance()->setPath("root_resource_path", root.path());
        const ProcessingProgressDialog dialog;
        QCOMPARE(dialog.windowIcon().pixmap(72).toImage().pixelColor(36, 36), QColor(Qt::green));
    }

    void missingIconIsNoError() {
        UIPathManager::getInstance()->setPath("root_resource_path", "/nonexistent");
        const ProcessingProgressDialog dialog;
        QVERIFY(dialog.windowIcon().pixmap(72).isNull());
    }

    void showPutsItOnTheScreenAndHideTakesItAway() {
        ProcessingProgressDialog dialog;
        dialog.show();
        QVERIFY(QTest::qWaitForWindowExposed(&dialog));
        QVERIFY(dialog.isVisible());
        QVERIFY(dialog.windowHandle()->isVisible());
        dialog.hide();
        QVERIFY(!dialog.isVisible());
        QVERIFY(!dialog.windowHandle()->isVisible());
        dialog.show();
        QVERIFY(dialog.isVisible());
    }

    void neverShowsByItself() {
        ProcessingProgressDialog dialog;
        dialog.setCancelButton(nullptr);
        dialog.setAutoReset(false);
        const ShowCounter shows(&dialog);
        // The toolkit's own time must pass: that nothing happens then is the point.
        QTest::qWait(dialog.minimumDuration() + 500);
        QCOMPARE(shows.count, 0);
        for (const int value : {1, 50, 0, 100}) {
            dialog.setValue(value);
            QCOMPARE(dialog.value(), value);
        }
        QTest::qWait(100);
        QCOMPARE(shows.count, 0);
        QVERIFY(!dialog.isVisible());
        dialog.show();
        QCOMPARE(shows.count, 1);
    }

    void staysVisibleWhateverTheUserDoes_data() {
        QTest::addColumn<QString>("deed");
        for (const char* deed : {"escape", "close", "window close", "reject", "canceled"}) {
            QTest::newRow(deed) << deed;
        }
    }

    void staysVisibleWhateverTheUserDoes() {
        QFETCH(QString, deed);
        for (const bool withButton : {false, true}) {
            ProcessingProgressDialog dialog;
            if (!withButton) {
                dialog.setCancelButton(nullptr);
            }
            dialog.show();
            QVERIFY(QTest::qWaitForWindowExposed(&dialog));
            dialog.setValue(42);
            if (deed == "escape") {
                QTest::keyClick(&dialog, Qt::Key_Escape);
            } else if (deed == "close") {
                QVERIFY(!dialog.close());
            } else if (deed == "window close") {
                QVERIFY(!dialog.windowHandle()->close());
            } else if (deed == "reject") {
                dialog.reject();
            } else {
                emit dialog.canceled();
            }
            QCoreApplication::processEvents();
            QVERIFY(dialog.isVisible());
            QCOMPARE(dialog.value(), 42);
            QVERIFY(!dialog.wasCanceled());
        }
    }

    void closeOfTheHiddenDialogKeepsItsValue() {
        ProcessingProgressDialog dialog;
        dialog.setValue(42);
        dialog.close();
        QCOMPARE(dialog.value(), 42);
    }
};

QTEST_MAIN(ProgressDialogTest)
#include "progress-dialog_test.moc"
