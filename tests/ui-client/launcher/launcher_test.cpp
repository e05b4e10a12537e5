// Built with -fno-access-control: a fake service takes the place of the worker's own.
#include "lib/log.h"
#include "libui/UIPathManager.h"
#include "tests/support/files.h"
#include "tests/support/home-fixture.h"
#include "tests/support/log-capture.h"
#include "ui-client/launcher/adapter.h"
#include "ui-client/launcher/launcher.h"
#include "ui-client/launcher/linux/linux-service.h"
#include "ui-client/launcher/progress-dialog.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QApplication>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QTranslator>
#include <QtTest>

#include <chrono>
#include <functional>
#include <future>
#include <memory>

#define LOG_SOURCE "fake"
#define LOG_COMPONENT "service_debug"

Q_DECLARE_METATYPE(const QMetaObject*)

namespace {

/// Tells each step by a log line, so that the log shows them in order with the launcher's own.
class FakeService : public Service {
public:
    bool isNeedUpgrade = true;
    int result = 0;
    std::function<void()> duringUpgrade = [] {};
    std::function<void()> duringPostUpgrade = [] {};

    void StopService() override { tell("StopService"); }
    void PreUpgrade() override { tell("PreUpgrade"); }
    bool IsNeedUpgrade() override {
        tell("IsNeedUpgrade");
        return isNeedUpgrade;
    }
    int HandlePackageUpgrade() override {
        tell("HandlePackageUpgrade");
        duringUpgrade();
        return result;
    }
    void PostUpgrade() override {
        tell("PostUpgrade");
        duringPostUpgrade();
    }

private:
    static void tell(const char* step) { WRITE_LOG(L_NOTICE, LOG_AT(0, "%s\n"), step); }
};

/// A launcher with a fake service, and what became of its dialog.
class Run : public QObject {
    Q_OBJECT

public:
    Run() : launcher(new Launcher), service(new FakeService) {
        delete launcher->m_worker->m_service;
        launcher->m_worker->m_service = service;
        dialog()->installEventFilter(this);
        connect(dialog()->findChild<QProgressBar*>(), &QProgressBar::valueChanged, this,
                [this](int value) { values << value; });
    }
    ~Run() override { deleteLauncher(); }

    ProcessingProgressDialog* dialog() const { return launcher->m_progress; }
    HandlerThread* thread() const { return launcher->m_worker->m_handler_thread; }

    /// The second half of start-up. \return what the event loop answers.
    int exec() {
        launcher->Run();
        launcher->Start();
        return QApplication::exec();
    }
    void deleteLauncher() {
        if (launcher) {
            dialog()->removeEventFilter(this);
            launcher.reset();
        }
    }

    std::unique_ptr<Launcher> launcher;
    FakeService* const service; // owned by the worker
    QStringList events;         // "show", and "hide" with value and label
    QList<int> values;          // in the order in which the bar took them

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Show) {
            events << "show";
        } else if (event->type() == QEvent::Hide) {
            events << QString("hide %1 %2").arg(dialog()->value()).arg(dialog()->labelText());
        }
        return QObject::eventFilter(watched, event);
    }
};

/// Lets one thread wait for another, not longer than any test may last.
class Gate {
public:
    void open() { m_opened.set_value(); }
    /// \return false where the other thread did not open it.
    bool await() {
        return m_future.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    }

private:
    std::promise<void> m_opened;
    std::future<void> m_future = m_opened.get_future();
};

} // namespace

class LauncherTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<HomeFixture> m_home;
    std::unique_ptr<LogCapture> m_log;

private slots:
    void initTestCase() { StrTable::InitStrTable(); }

    void init() {
        m_home = std::make_unique<HomeFixture>();
        m_log = std::make_unique<LogCapture>();
        UIPathManager::getInstance()->setPath("user_skylark_path", m_home->path(".Skylark"));
        UIPathManager::getInstance()->setPath("user_aldane_tessel_app_path", m_home->path("app"));
    }

    void cleanup() {
        m_log.reset();
        m_home.reset();
    }

    void metaMethodsKeepTheirIndices_data() {
        QTest::addColumn<const QMetaObject*>("meta");
        QTest::addColumn<int>("index");
        QTest::addColumn<bool>("isSignal");
        QTest::addColumn<QByteArray>("signature");
        const auto row = [](const QMetaObject& meta, int index, bool isSignal, const char* method) {
            QTest::addRow("%s %d", meta.className(), index)
                << &meta << index << isSignal << QByteArray(method);
        };
        const QMetaObject& launcher = Launcher::staticMetaObject;
        row(launcher, 0, true, "sigStart()");
        row(launcher, 1, false, "LaunchDone()");
        row(launcher, 2, false, "UpdateProgress(int,int)");
        row(launcher, 3, false, "SetLabelText(QString)");
        row(launcher, 4, false, "ShowMsgBox()");
        const QMetaObject& worker = Worker::staticMetaObject;
        row(worker, 0, true, "sigServiceDone()");
        row(worker, 1, true, "sigShowMsg()");
        row(worker, 2, true, "sigUpdateProgress(int,int)");
        row(worker, 3, true, "sigSetLabelText(QString)");
        row(worker, 4, false, "HandleServicce()");
    }

    void metaMethodsKeepTheirIndices() {
        QFETCH(const QMetaObject*, meta);
        QFETCH(int, index);
        QFETCH(bool, isSignal);
        const QMetaMethod method = meta->method(meta->methodOffset() + index);
        QTEST(method.methodSignature(), "signature");
        QCOMPARE(method.methodType(), isSignal ? QMetaMethod::Signal : QMetaMethod::Slot);
        QCOMPARE(meta->methodCount() - meta->methodOffset(), 5);
        QCOMPARE(meta->superClass(), &QObject::staticMetaObject);
    }

    void handlerThreadAddsNoMetaMethod() {
        const QMetaObject& meta = HandlerThread::staticMetaObject;
        QCOMPARE(meta.className(), "HandlerThread");
        QCOMPARE(meta.methodCount(), meta.methodOffset());
        QCOMPARE(meta.superClass(), &QThread::staticMetaObject);
    }

    void launcherStartsWithAHiddenDialogThatCannotBeCancelled() {
        const Launcher launcher;
        QCOMPARE(launcher.parent(), nullptr);
        QVERIFY(!launcher.m_progress->isVisible());
        QCOMPARE(launcher.m_progress->findChild<QPushButton*>(), nullptr);
        QVERIFY(!launcher.m_progress->autoReset());
        QCOMPARE(launcher.m_progress->labelText(), QString("Tessel is initializing..."));
    }

    void workerHasALinuxServiceAndLivesOnItsThread() {
        const Worker worker;
        QVERIFY(dynamic_cast<LinuxService*>(worker.m_service) != nullptr);
        QVERIFY(worker.m_service != LinuxService::GetInstace());
        QCOMPARE(worker.thread(), static_cast<QThread*>(worker.m_handler_thread));
        QCOMPARE(worker.m_handler_thread->parent(), nullptr);
        QVERIFY(!worker.m_handler_thread->isRunning());
    }

    void workersThreadStartsQuitsAndIsJoined() {
        Worker worker;
        worker.StartThread();
        QVERIFY(worker.m_handler_thread->isRunning());
        QCOMPARE(worker.m_handler_thread->priority(), QThread::InheritPriority);
        worker.QuitThread();
        worker.JoinThread();
        QVERIFY(worker.m_handler_thread->isFinished());
    }

    void sequenceRunsOnTheHandlerThread() {
        Run run;
        QThread* upgrading = nullptr;
        QThread* starting = nullptr;
        run.service->duringUpgrade = [&upgrading] { upgrading = QThread::currentThread(); };
        run.service->duringPostUpgrade = [&starting] { starting = QThread::currentThread(); };
        run.exec();
        QCOMPARE(upgrading, static_cast<QThread*>(run.thread()));
        QCOMPARE(starting, upgrading);
    }

    void progressIsCutToWholePerCent_data() {
        QTest::addColumn<int>("total");
        QTest::addColumn<int>("steps");
        QTest::addColumn<int>("value");
        QTest::newRow("a third") << 3 << 1 << 33;
        QTest::newRow("two thirds") << 3 << 2 << 66;
        QTest::newRow("all of 100") << 100 << 100 << 100;
        QTest::newRow("all of one") << 1 << 1 << 100;
        QTest::newRow("nothing") << 7 << 0 << 0;
        QTest::newRow("less than one") << 201 << 2 << 0;
        QTest::newRow("nearly all") << 100000 << 99999 << 99;
        QTest::newRow("more than 21 million entries") << 30000000 << 29999999 << 99;
        QTest::newRow("half of the largest") << 2147483646 << 1073741823 << 50;
        QTest::newRow("all of the largest") << 2147483647 << 2147483647 << 100;
    }

    void progressIsCutToWholePerCent() {
        QFETCH(int, total);
        QFETCH(int, steps);
        Launcher launcher;
        launcher.UpdateProgress(1000, 555);
        launcher.UpdateProgress(total, steps);
        QTEST(launcher.m_progress->value(), "value");
    }

    void labelTextGoesToTheDialog() {
        Launcher launcher;
        launcher.SetLabelText("a text");
        QCOMPARE(launcher.m_progress->labelText(), QString("a text"));
    }

    void messageBoxIsTheProgressDialog() {
        Launcher launcher;
        launcher.ShowMsgBox();
        QVERIFY(launcher.m_progress->isVisible());
    }

    void eachSignalReachesItsSlotOnce_data() {
        QTest::addColumn<QString>("signal");
        QTest::newRow("show") << "sigShowMsg";
        QTest::newRow("done") << "sigServiceDone";
        QTest::newRow("worker's progress") << "sigUpdateProgress";
        QTest::newRow("worker's text") << "sigSetLabelText";
        QTest::newRow("adapter's progress") << "UpdateProgress";
        QTest::newRow("adapter's text") << "UpdateDialogText";
    }

    void eachSignalReachesItsSlotOnce() {
        QFETCH(QString, signal);
        Run run;
        run.dialog()->setLabelText("before");
        Worker* const worker = run.launcher->m_worker;
        if (signal == "sigShowMsg") {
            emit worker->sigShowMsg();
            QCOMPARE(run.events, QStringList{"show"});
        } else if (signal == "sigServiceDone") {
            run.dialog()->show();
            emit worker->sigServiceDone();
            QCOMPARE(run.events, (QStringList{"show", "hide 100 before"}));
        } else if (signal == "sigUpdateProgress") {
            emit worker->sigUpdateProgress(4, 1);
            QCOMPARE(run.values, QList<int>{25});
        } else if (signal == "sigSetLabelText") {
            emit worker->sigSetLabelText("after");
            QCOMPARE(run.dialog()->labelText(), QString("after"));
        } else if (signal == "UpdateProgress") {
            Notify_Adapter::GetInstance()->UpdateProgress(4, 3);
            QCOMPARE(run.values, QList<int>{75});
        } else {
            Notify_Adapter::GetInstance()->UpdateDialogText("after");
            QCOMPARE(run.dialog()->labelText(), QString("after"));
        }
    }

    void nothingToDoCleansUpStartsTheClientAndShowsNothing() {
        Run run;
        run.service->isNeedUpgrade = false;
        QCOMPARE(run.exec(), 0);
        QCOMPARE(run.events, QStringList());
        QVERIFY(run.thread()->isFinished());
        QCOMPARE(
            withoutFileOp(),
            (QStringList{"[DEBUG] launcher(#): running", "[NOTE] fake(#): PreUpgrade",
                         "[NOTE] fake(#): IsNeedUpgrade", "[DEBUG] launcher(#): no need to upgrade",
                         "[INFO] cloud-service(#): removing aged app folder " +
                             m_home->path(".Skylark/app"),
                         "[NOTE] fake(#): PostUpgrade", "[DEBUG] launcher(#): done"}));
    }

    void upgradeShowsTheDialogUntilAllIsDone() {
        Run run;
        QCOMPARE(run.exec(), 0);
        QCOMPARE(run.events, (QStringList{"show", "hide 100 Tessel is ready."}));
        QVERIFY(run.thread()->isFinished());
        QCOMPARE(
            withoutFileOp(),
            (QStringList{"[DEBUG] launcher(#): running", "[NOTE] fake(#): PreUpgrade",
                         "[NOTE] fake(#): IsNeedUpgrade", "[NOTE] fake(#): HandlePackageUpgrade",
                         "[INFO] cloud-service(#): removing aged app folder " +
                             m_home->path(".Skylark/app"),
                         "[NOTE] fake(#): PostUpgrade", "[DEBUG] launcher(#): done"}));
    }

    void completionIsShownWhileTheClientIsBeingStarted() {
        Gate shown;
        bool isShown = false;
        Run run;
        run.service->duringPostUpgrade = [&] { isShown = shown.await(); };
        QTimer poll;
        connect(&poll, &QTimer::timeout, [&] {
            if (run.dialog()->isVisible() && run.dialog()->value() == 100 &&
                run.dialog()->labelText() == "Tessel is ready.") {
                poll.stop();
                shown.open();
            }
        });
        poll.start(1);
        QCOMPARE(run.exec(), 0);
        QVERIFY(isShown);
    }

    void failedUpgradeKeepsTheTextAndGoesOn() {
        for (const int result : {-1, 1, -100}) {
            cleanup();
            init();
            Run run;
            run.service->result = result;
            run.service->duringUpgrade = [] {
                Notify_Adapter::GetInstance()->UpdateProgress(100, 37);
                Notify_Adapter::GetInstance()->UpdateDialogText("last text");
            };
            QCOMPARE(run.exec(), 0);
            QCOMPARE(run.values, (QList<int>{37, 100}));
            QCOMPARE(run.events, (QStringList{"show", "hide 100 last text"}));
            QCOMPARE(withoutFileOp().mid(3),
                     (QStringList{"[NOTE] fake(#): HandlePackageUpgrade",
                                  "[ERROR] launcher(#): Failed to upgrade package",
                                  "[INFO] cloud-service(#): removing aged app folder " +
                                      m_home->path(".Skylark/app"),
                                  "[NOTE] fake(#): PostUpgrade", "[DEBUG] launcher(#): done"}));
        }
    }

    void linesCarryTheirFixedNumbers() {
        Run nothing;
        nothing.service->isNeedUpgrade = false;
        nothing.exec();
        Run failing;
        failing.service->result = -1;
        failing.exec();
        const QStringList own = m_log->lines().filter("launcher(");
        QCOMPARE(own, (QStringList{"[DEBUG] launcher(88): running",
                                   "[DEBUG] launcher(93): no need to upgrade",
                                   "[DEBUG] launcher(116): done", "[DEBUG] launcher(88): running",
                                   "[ERROR] launcher(100): Failed to upgrade package",
                                   "[DEBUG] launcher(116): done"}));
    }

    void agedFolderIsRemovedWhetherOrNotAnUpgradeSucceeds_data() {
        QTest::addColumn<bool>("isNeeded");
        QTest::addColumn<int>("result");
        QTest::newRow("not needed") << false << 0;
        QTest::newRow("succeeds") << true << 0;
        QTest::newRow("fails") << true << -1;
    }

    void agedFolderIsRemovedWhetherOrNotAnUpgradeSucceeds() {
        QFETCH(bool, isNeeded);
        QFETCH(int, result);
        writeFile(m_home->path(".Skylark/app/bin/old"), "old");
        Run run;
        run.service->isNeedUpgrade = isNeeded;
        run.service->result = result;
        run.exec();
        QCOMPARE(listTree(m_home->path()), QStringList{".Skylark/"});
    }

    void completionTextIsTranslated() {
        QTranslator translator;
        QVERIFY(translator.load(":/hun.qm", "", "", ""));
        QCoreApplication::installTranslator(&translator);
        const QString ready = StrTable::LoadStr(StrTable::desc_sklk_env_preparation_done_tessel);
        QVERIFY(ready != "%1 is ready.");
        Run run;
        run.exec();
        QCOMPARE(run.events.last(), "hide 100 " + QString(ready).replace("%1", "Tessel"));
    }

    void quickProgressFromTheWorkerArrivesInOrderToTheLast_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("modulus");
        QTest::newRow("rising") << 20000 << 20001;
        QTest::newRow("up and down") << 4000 << 101;
    }

    void quickProgressFromTheWorkerArrivesInOrderToTheLast() {
        QFETCH(int, count);
        QFETCH(int, modulus);
        const int total = qMin(count, modulus - 1);
        QList<int> sent{0};
        for (int i = 1; i <= count; ++i) {
            const int value = i % modulus * 100 / total;
            if (value != sent.last()) {
                sent << value;
            }
        }
        if (sent.last() != 100) {
            sent << 100; // at the end of the run
        }
        Run run;
        run.service->result = -1;
        run.service->duringUpgrade = [count, modulus, total] {
            for (int i = 1; i <= count; ++i) {
                Notify_Adapter::GetInstance()->UpdateProgress(total, i % modulus);
            }
        };
        QCOMPARE(run.exec(), 0);
        QCOMPARE(run.values, sent.mid(1));
        QCOMPARE(run.events, (QStringList{"show", "hide 100 Tessel is initializing..."}));
    }

    void userCannotEndAnUpgrade() {
        Gate started;
        Gate triedAll;
        Run run;
        run.service->duringUpgrade = [&started, &triedAll] {
            Notify_Adapter::GetInstance()->UpdateProgress(100, 42);
            started.open();
            triedAll.await();
        };
        bool isVisible = false;
        int value = -1;
        QTimer poll;
        connect(&poll, &QTimer::timeout, [&] {
            if (!run.dialog()->isVisible() || run.dialog()->value() != 42) {
                return;
            }
            poll.stop();
            QTest::keyClick(run.dialog(), Qt::Key_Escape);
            run.dialog()->close();
            run.dialog()->windowHandle()->close();
            run.dialog()->reject();
            emit run.dialog()->canceled();
            QCoreApplication::processEvents();
            isVisible = run.dialog()->isVisible();
            value = run.dialog()->value();
            triedAll.open();
        });
        poll.start(1);
        QCOMPARE(run.exec(), 0);
        QVERIFY(isVisible);
        QCOMPARE(value, 42);
        QCOMPARE(run.events, (QStringList{"show", "hide 100 Tessel is ready."}));
        QVERIFY(run.thread()->isFinished());
    }

    void lastWindowClosingDoesNotEndTheRun() {
        QGuiApplication::setQuitOnLastWindowClosed(true);
        Gate isClosed;
        Run run;
        run.service->isNeedUpgrade = false;
        run.service->duringPostUpgrade = [&isClosed] { isClosed.await(); };
        QWidget window;
        window.show();
        bool isEnded = false;
        QTimer::singleShot(0, [&] {
            window.close();
            // Behind whatever the closing has posted.
            QTimer::singleShot(50, [&] {
                isEnded = true;
                isClosed.open();
            });
        });
        QCOMPARE(run.exec(), 0);
        QVERIFY(isEnded);
    }

    void endOfTheSessionIsNotHeldUp() {
        QGuiApplication::setFallbackSessionManagementEnabled(true);
        const Launcher launcher;
        QVERIFY(!QGuiApplication::isFallbackSessionManagementEnabled());
    }

    void deletedInMidRunWaitsForTheSequence() {
        Gate started;
        Run run;
        run.service->duringUpgrade = [&started] {
            started.open();
            QThread::msleep(200); // long enough for the destructor to be under way
        };
        run.launcher->Run();
        run.launcher->Start();
        started.await();
        run.deleteLauncher();
        QCOMPARE(m_log->lines().last(), QString("[DEBUG] launcher(116): done"));
    }

    void deletedBeforeTheRunTouchesNothing() {
        { const Launcher launcher; }
        QCOMPARE(m_log->lines(), QStringList());
    }

    void deletedRightAfterTheStartDoesNotHang() {
        for (int i = 0; i < 50; ++i) {
            Run run;
            run.launcher->Run();
            run.launcher->Start();
            run.deleteLauncher();
        }
    }

private:
    QStringList withoutFileOp() const {
        QStringList lines;
        for (const QString& line : m_log->unnumbered()) {
            if (!line.contains("file-op")) {
                lines << line;
            }
        }
        return lines;
    }
};

QTEST_MAIN(LauncherTest)
#include "launcher_test.moc"
