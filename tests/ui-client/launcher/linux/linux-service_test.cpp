#include "libui/UIPathManager.h"
#include "tests/support/child.h"
#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/paths.h"
#include "tests/support/tree-fixture.h"
#include "ui-client/launcher/linux/linux-service.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QElapsedTimer>
#include <QtTest>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

/// A process that stands for the user's client: a bash script that says a word once it is ready.
/// Reaped the moment it ends, since an unreaped process counts as running.
class ClientProcess {
public:
    explicit ClientProcess(const char* script) {
        int ends[2];
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
        m_pid = fork();
        if (m_pid == 0) {
            dup2(ends[1], STDOUT_FILENO);
            execl("/bin/bash", "bash", "-c", script, nullptr);
            _exit(127);
        }
        close(ends[1]);
        char ready = 0;
        const bool started = m_pid > 0 && read(ends[0], &ready, 1) == 1;
        close(ends[0]);
        if (!started) {
            throw std::runtime_error("the client does not start");
        }
        m_reaper = std::thread([this] { waitpid(m_pid, &m_status, 0); });
    }
    ~ClientProcess() {
        if (m_reaper.joinable()) {
            kill(m_pid, SIGKILL);
            m_reaper.join();
        }
    }
    ClientProcess(const ClientProcess&) = delete;
    ClientProcess& operator=(const ClientProcess&) = delete;

    int pid() const { return m_pid; }
    bool isRunning() const { return kill(m_pid, 0) == 0; }

    /// Waits for the end. \return the signal that ended it; 0 where it ended by itself.
    int endingSignal() {
        m_reaper.join();
        return WIFSIGNALED(m_status) ? WTERMSIG(m_status) : 0;
    }

private:
    int m_pid = -1;
    int m_status = 0;
    std::thread m_reaper;
};

constexpr char obeys[] = "echo ready; exec sleep 60";
constexpr char obeys_late[] =
    "trap 'sleep 1.2; exit 3' TERM; echo ready; while true; do sleep 0.1; done";
constexpr char ignores[] = "trap '' TERM; echo ready; exec sleep 60";

/// A LinuxService whose fields a test can see.
class OpenService : public LinuxService {
public:
    using LinuxService::per_user_install_path;
    using LinuxService::source_version;
    using LinuxService::target_version;
    using LinuxService::timeout;
};

/// Notes what the upgrade calls through the virtual operations.
class NotingService : public LinuxService {
public:
    void StopService() override { steps << "stop"; }
    int PrepareUserEnv() override {
        steps << "prepare";
        return result;
    }

    int result = 0;
    QStringList steps;
};

} // namespace

class LinuxServiceTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { StrTable::InitStrTable(); }

    void init() {
        m_tree = std::make_unique<TreeFixture>();
        m_log = std::make_unique<LogCapture>(7);
    }

    void cleanup() {
        m_log.reset();
        m_tree.reset();
    }

    void freshServiceKnowsItsFolderAndTimeout() {
        const OpenService service;
        QCOMPARE(service.timeout, 10000);
        QCOMPARE(toText(service.per_user_install_path), m_tree->app());
    }

    void instanceIsOneForTheProcess() {
        QVERIFY(LinuxService::GetInstace() != nullptr);
        QCOMPARE(LinuxService::GetInstace(), LinuxService::GetInstace());
    }

    // --- the records ---

    void recordsAreLoadedTargetFirst() {
        writeFile(m_tree->app("INFO"), "[Version]\nbuild_version=1\nicon_overlay_version=2\n");
        writeFile(m_tree->root("INFO"), "[Version]\nbuild_version=3\nicon_overlay_version=4\n");
        OpenService service;
        service.PreUpgrade();
        QCOMPARE(toText(service.source_version.build_version), QString("1"));
        QCOMPARE(toText(service.target_version.build_version), QString("3"));
        QCOMPARE(m_log->unnumbered(),
                 (QStringList{"[INFO] cloud-service(#): target_version = (, , 3, 4)",
                              "[INFO] cloud-service(#): source_version = (, , 1, 2)",
                              "[DEBUG] linux/linux-service(#): Source version: ('1', '2')",
                              "[DEBUG] linux/linux-service(#): Target version: ('3', '4')"}));
    }

    void eachRecordCanBeLoadedAlone() {
        writeFile(m_tree->app("INFO"), "[Version]\nbuild_version=1\n");
        writeFile(m_tree->root("INFO"), "[Version]\nbuild_version=3\n");
        OpenService service;
        service.LoadSourceVerInfo();
        QCOMPARE(toText(service.source_version.build_version), QString("1"));
        QVERIFY(service.target_version.build_version.empty());
        service.LoadTargetVerInfo();
        QCOMPARE(toText(service.target_version.build_version), QString("3"));
    }

    // --- the decision ---

    void buildsDecide_data() {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");
        QTest::addColumn<bool>("executable");
        QTest::addColumn<bool>("needed");
        QTest::addColumn<QString>("numbers");
        const auto row = [](const char* title, const char* source, const char* target,
                            bool executable, bool needed, const char* numbers) {
            QTest::newRow(title) << QString(source) << QString(target) << executable << needed
                                 << QString(numbers);
        };
        row("equal", "1234", "1234", true, false, "1234, target version = 1234");
        row("higher", "1234", "1235", true, true, "1234, target version = 1235");
        row("lower", "1235", "1234", true, false, "1235, target version = 1234");
        row("higher by number, not by text", "999", "1000", true, true,
            "999, target version = 1000");
        row("no source", "", "1", true, true, "0, target version = 1");
        row("no source, target zero", "", "0", true, false, "0, target version = 0");
        row("no target", "5", "", true, false, "5, target version = 0");
        row("neither", "", "", true, false, "0, target version = 0");
        row("words read as zero", "alpha", "beta", true, false, "0, target version = 0");
        row("leading digits count", "12rc1", "13rc1", true, true, "12, target version = 13");
        row("below zero", "-5", "", true, true, "-5, target version = 0");
        row("equal, no executable", "1234", "1234", false, true, "1234, target version = 1234");
        row("lower, no executable", "1235", "1234", false, true, "1235, target version = 1234");
        row("target zero, no executable", "", "0", false, true, "0, target version = 0");
    }
    void buildsDecide() {
        QFETCH(QString, source);
        QFETCH(QString, target);
        QFETCH(bool, executable);
        QFETCH(QString, numbers);
        if (executable) {
            makeExecutable();
        }
        OpenService service;
        service.source_version.build_version = toPath(source);
        service.target_version.build_version = toPath(target);
        const bool needed = service.IsNeedUpgrade();
        QTEST(needed, "needed");
        QCOMPARE(m_log->unnumbered(),
                 QStringList{"[DEBUG] linux/linux-service(#): source version = " + numbers});
    }

    void otherVersionsTakeNoPart() {
        makeExecutable();
        OpenService service;
        service.target_version.major_version = "9";
        service.target_version.minor_version = "9";
        service.target_version.icon_overlay_version = "9";
        QVERIFY(!service.IsNeedUpgrade());
    }

    void executableIsAskedForByItsPathAlone() {
        QVERIFY(!LinuxService().PerUserBinPathExist());
        writeFile(m_tree->app("bin/cloud-tessel-ui"), "", 0000); // neither readable nor executable
        QVERIFY(LinuxService().PerUserBinPathExist());
    }

    void executableThatCannotBeLookedAtDoesNotExist() {
        makeExecutable();
        // Nobody's to search: neither an ordinary user's, nor its owner's.
        runCommand("chmod 755 . .AldaneTessel; chmod 600 .AldaneTessel/AldaneTessel.app",
                   m_tree->home());
        const int result =
            asOrdinaryUser([] { return LinuxService().PerUserBinPathExist() ? 1 : 0; });
        runCommand("chmod 700 .AldaneTessel/AldaneTessel.app", m_tree->home());
        QCOMPARE(result, 0);
    }

    // --- the upgrade ---

    void upgradeStopsTheClientFirst() {
        makeExecutable();
        NotingService service;
        QCOMPARE(service.HandlePackageUpgrade(), 0);
        QCOMPARE(service.steps, (QStringList{"stop", "prepare"}));
        QCOMPARE(m_log->unnumbered(),
                 QStringList{"[DEBUG] linux/linux-service(#): local appdata exist"});
    }

    void withoutAnExecutableNothingIsStopped() {
        NotingService service;
        QCOMPARE(service.HandlePackageUpgrade(), 0);
        QCOMPARE(service.steps, QStringList{"prepare"});
        QCOMPARE(m_log->unnumbered(), QStringList());
    }

    void resultOfTheInstallationIsHandedOn() {
        NotingService service;
        service.result = -7;
        QCOMPARE(service.HandlePackageUpgrade(), -7);
    }

    // --- stopping the client ---

    void withoutAPidFileNothingIsStopped() {
        LinuxService().StopService();
        QCOMPARE(m_log->unnumbered(),
                 QStringList{"[DEBUG] linux/linux-service(#): pid file '" + pidFile() +
                             "' does not exist, no need to terminate"});
    }

    void pidFileThatCannotBeReadStopsNothing_data() {
        QTest::addColumn<QString>("make");
        QTest::newRow("malformed") << "echo 'this is no pid' > ui.pid";
        QTest::newRow("malformed behind a pid") << "printf 'pid=1\\nthis is no pid\\n' > ui.pid";
        QTest::newRow("link that leads nowhere") << "ln -s nowhere ui.pid";
        QTest::newRow("FIFO that nobody writes to") << "mkfifo ui.pid";
        QTest::newRow("device without end") << "ln -s /dev/zero ui.pid";
    }
    void pidFileThatCannotBeReadStopsNothing() {
        QFETCH(QString, make);
        QDir().mkpath(m_tree->home(".AldaneTessel"));
        runCommand(make, m_tree->home(".AldaneTessel"));
        LinuxService().StopService();
        QCOMPARE(m_log->unnumbered(),
                 QStringList{"[NOTE] linux/linux-service(#): Failed to read pid file '" +
                             pidFile() + "', not exist ?"});
    }

    void folderInThePlaceOfThePidFileNamesNoProcess() {
        QDir().mkpath(pidFile());
        LinuxService().StopService();
        QCOMPARE(m_log->unnumbered(),
                 QStringList{"[NOTE] linux/linux-service(#): pid file '" + pidFile() +
                             "' names no process, nothing to terminate"});
    }

    void clientThatObeysEndsByTheFirstSignal() {
        ClientProcess client(obeys);
        writePid(client.pid());
        const qint64 elapsed = millisecondsToStop();
        QVERIFY2(elapsed < 4000, qPrintable(QString::number(elapsed)));
        QCOMPARE(client.endingSignal(), SIGTERM);
        QCOMPARE(m_log->lines(), QStringList());
    }

    void clientThatObeysLateIsWaitedFor() {
        ClientProcess client(obeys_late);
        writePid(client.pid());
        const qint64 elapsed = millisecondsToStop();
        QVERIFY2(elapsed >= 1000 && elapsed < 5000, qPrintable(QString::number(elapsed)));
        QCOMPARE(client.endingSignal(), 0);
    }

    void clientThatIgnoresTheSignalIsKilledAfterFiveSeconds() {
        ClientProcess client(ignores);
        writePid(client.pid());
        const qint64 elapsed = millisecondsToStop();
        QVERIFY2(elapsed >= 5000 && elapsed < 9000, qPrintable(QString::number(elapsed)));
        QCOMPARE(client.endingSignal(), SIGKILL);
        QCOMPARE(m_log->lines(), QStringList());
    }

    void pidOfNoProcessIsNotWaitedFor() {
        int gone = 0;
        {
            const ClientProcess client(obeys);
            gone = client.pid();
        }
        writePid(gone);
        QVERIFY(millisecondsToStop() < 900);
        QCOMPARE(m_log->lines(), QStringList());
    }

    void processOfAnotherUserIsLeftAfterAnErrorAndTheWaits() {
        const ClientProcess client(obeys);
        // As an ordinary user, the tests have no process of another user but the first one.
        writePid(geteuid() == 0 ? client.pid() : 1);
        runCommand("chmod 755 . .AldaneTessel", m_tree->home());
        const int result = asOrdinaryUser([this] {
            const qint64 elapsed = millisecondsToStop();
            return elapsed >= 5000 && elapsed < 9000 ? 0 : 1;
        });
        QCOMPARE(result, 0);
        QVERIFY(client.isRunning());
        QCOMPARE(m_log->unnumbered(),
                 QStringList{QString("[ERROR] linux/linux-service(#): kill: %1 (%2)")
                                 .arg(strerror(EPERM))
                                 .arg(EPERM)});
    }

    // --- starting the copy ---

    void startStopIsRunWithStartAndWaitedFor() {
        makeStartStop("echo \"$#:$*\" > ../called; sleep 1; echo done >> ../called; exit 7");
        QCOMPARE(LinuxService().LaunchPerUserBin(), 0);
        QCOMPARE(readFile(m_tree->app("called")), QByteArray("1:start\ndone\n"));
    }

    void postUpgradeStartsTheCopy() {
        makeStartStop("touch ../called");
        LinuxService().PostUpgrade();
        QVERIFY(QFileInfo::exists(m_tree->app("called")));
    }

    void startStopThatCannotRunIsNoFailure_data() {
        QTest::addColumn<QString>("arrange");
        QTest::newRow("missing") << "true";
        QTest::newRow("not executable") << "touch start-stop";
        QTest::newRow("killed") << "printf '#!/bin/bash\\nkill -9 $$\\n' > start-stop; chmod +x *";
        QTest::newRow("folder") << "mkdir start-stop";
    }
    void startStopThatCannotRunIsNoFailure() {
        QFETCH(QString, arrange);
        QDir().mkpath(m_tree->app("package"));
        runCommand(arrange, m_tree->app("package"));
        QCOMPARE(LinuxService().LaunchPerUserBin(), 0);
    }

    void pathWithABlankIsSplitThere() {
        const QString path = m_tree->home("my client/app");
        UIPathManager::getInstance()->setPath("user_aldane_tessel_app_path", path);
        writeFile(m_tree->home("my"),
                  "#!/bin/bash\nprintf '%s|' \"$@\" > " + m_tree->home("called").toUtf8() + "\n",
                  0755);
        QCOMPARE(LinuxService().LaunchPerUserBin(), 0);
        QCOMPARE(readFile(m_tree->home("called")),
                 QByteArray("client/app/package/start-stop|start|"));
    }

    // --- all of it ---

    void runningClientIsUpgradedAndStartedAgain() {
        ClientProcess client(obeys);
        writePid(client.pid());
        makeExecutable();
        writeFile(m_tree->app("INFO"), "[Version]\nbuild_version=6\n");
        writeFile(m_tree->home(".Skylark/app/x"), "aged");
        makePackage();
        {
            const std::unique_ptr<Service> service = std::make_unique<LinuxService>();
            service->PreUpgrade();
            QVERIFY(service->IsNeedUpgrade());
            QCOMPARE(service->HandlePackageUpgrade(), 0);
            service->RemoveAgedFolders();
            service->PostUpgrade();
        }
        QCOMPARE(client.endingSignal(), SIGTERM);
        QCOMPARE(readFile(m_tree->app("bin/cloud-tessel-ui")), QByteArray("new"));
        QCOMPARE(readFile(m_tree->app("package/started")), QByteArray("start\n"));
        QCOMPARE(listTree(m_tree->home(".Skylark")), QStringList());
        QCOMPARE(m_log->unnumbered().filter("[ERROR]"), QStringList());

        LinuxService next;
        next.PreUpgrade();
        QVERIFY(!next.IsNeedUpgrade());
    }

    void failedUpgradeStartsTheOldCopy() {
        makeStartStop("touch ../called");
        makeExecutable();
        writeFile(m_tree->root("INFO"), "[Version]\nbuild_version=7\n");
        writeFile(m_tree->root("package/skylark.tpx"), "no package");
        LinuxService service;
        service.PreUpgrade();
        QVERIFY(service.IsNeedUpgrade());
        QCOMPARE(service.HandlePackageUpgrade(), -1);
        service.PostUpgrade();
        QVERIFY(QFileInfo::exists(m_tree->app("called")));
        QCOMPARE(readFile(m_tree->app("bin/cloud-tessel-ui")), QByteArray("old"));
    }

private:
    QString pidFile() const { return m_tree->home(".AldaneTessel/ui.pid"); }
    void writePid(int pid) const {
        writeFile(pidFile(), "pid = " + QByteArray::number(pid) + "\n");
    }
    void makeExecutable() const { writeFile(m_tree->app("bin/cloud-tessel-ui"), "old", 0755); }

    /// A start-stop script that works in its own folder.
    void makeStartStop(const QByteArray& script) const {
        writeFile(m_tree->app("package/start-stop"),
                  "#!/bin/bash\ncd \"${0%/*}\"\n" + script + "\n", 0755);
    }

    void makePackage() const {
        writeFile(m_tree->root("client/INFO"), "[Version]\nbuild_version=7\n");
        writeFile(m_tree->root("client/bin/cloud-tessel-ui"), "new", 0755);
        writeFile(m_tree->root("client/package/start-stop"),
                  "#!/bin/bash\necho \"$1\" > \"${0%/*}/started\"\n", 0755);
        runCommand("mkdir package; cp client/INFO .; tar -C client -czf package/skylark.tpx INFO "
                   "bin package",
                   m_tree->root(""));
    }

    qint64 millisecondsToStop() const {
        QElapsedTimer clock;
        clock.start();
        LinuxService().StopService();
        return clock.elapsed();
    }

    std::unique_ptr<TreeFixture> m_tree;
    std::unique_ptr<LogCapture> m_log;
};

QTEST_GUILESS_MAIN(LinuxServiceTest)
#include "linux-service_test.moc"
