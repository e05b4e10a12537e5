// The installed program as a process that was handed less, or other, than a desktop hands it.
#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/launch.h"
#include "tests/support/log-capture.h"

#include <QtTest>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <functional>

namespace {

using Prepare = std::function<void()>;

// Descriptors for the pipe that it opens to look at an object: where it cannot, it takes the object
// for a broken one.
#ifdef __SANITIZE_ADDRESS__
constexpr int ofASanitizer = 2;
#else
constexpr int ofASanitizer = 0;
#endif

void closeAll(std::initializer_list<int> descriptors) {
    for (const int descriptor : descriptors) {
        close(descriptor);
    }
}

void limit(int resource, rlim_t value) {
    const struct rlimit both = {value, value};
    if (setrlimit(static_cast<__rlimit_resource>(resource), &both) != 0) {
        _exit(126);
    }
}

/// `descriptor` becomes a pipe whose reader has gone.
void breakPipe(int descriptor) {
    int ends[2];
    if (pipe(ends) != 0 || dup2(ends[1], descriptor) < 0) {
        _exit(126);
    }
    close(ends[0]);
    close(ends[1]);
}

void fillDisk(int descriptor) {
    if (dup2(open("/dev/full", O_WRONLY), descriptor) < 0) {
        _exit(126);
    }
}

} // namespace

Q_DECLARE_METATYPE(Prepare)

class SurroundingsProcessTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { signal(SIGPIPE, SIG_DFL); } // what a desktop hands on

    void upgradeIsMade_data() {
        QTest::addColumn<Prepare>("prepare");
        QTest::newRow("standard input closed") << Prepare([] { closeAll({0}); });
        QTest::newRow("standard output closed") << Prepare([] { closeAll({1}); });
        QTest::newRow("standard error closed") << Prepare([] { closeAll({2}); });
        QTest::newRow("output and error closed") << Prepare([] { closeAll({1, 2}); });
        QTest::newRow("all three closed") << Prepare([] { closeAll({0, 1, 2}); });
        QTest::newRow("standard output a broken pipe") << Prepare([] { breakPipe(1); });
        QTest::newRow("standard error a broken pipe") << Prepare([] { breakPipe(2); });
        QTest::newRow("standard output on a full disk") << Prepare([] { fillDisk(1); });
        QTest::newRow("standard error on a full disk") << Prepare([] { fillDisk(2); });
        QTest::newRow("no umask") << Prepare([] { umask(0); });
        QTest::newRow("16 descriptors") << Prepare([] { limit(RLIMIT_NOFILE, 16 + ofASanitizer); });
        QTest::newRow("no core files") << Prepare([] { limit(RLIMIT_CORE, 0); });
        QTest::newRow("nonsense for a language") << Prepare([] {
            qputenv("LC_ALL", "../\xff.nonsense@@");
            qputenv("LANG", QByteArray(5000, 'x'));
            qputenv("LANGUAGE", "::::");
        });
        QTest::newRow("nonsense for a time zone")
            << Prepare([] { qputenv("TZ", ":../../etc/passwd"); });
        QTest::newRow("a time zone without an end")
            << Prepare([] { qputenv("TZ", QByteArray(100000, 'Z')); });
        QTest::newRow("no search path") << Prepare([] { qputenv("PATH", "/usr/bin:/bin"); });
        QTest::newRow("signals ignored") << Prepare([] {
            for (const int number : {SIGHUP, SIGINT, SIGTERM, SIGPIPE, SIGXFSZ}) {
                signal(number, SIG_IGN);
            }
        });
    }
    void upgradeIsMade() {
        QFETCH(Prepare, prepare);
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1000);
        machine.pack(1001);
        const ChildRun run = launch(machine, prepare);
        QVERIFY2(run.status == 0, run.errors.constData());
        QCOMPARE(machine.log().last(), QString("[DEBUG] launcher(116): done"));
        QCOMPARE(machine.log().filter("[ERROR]"), QStringList());
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
    }

    // Qt's process would wait for one that does not exist, at some number of descriptors and for
    // ever.
    void withTooFewDescriptorsTheRunStillEnds_data() {
        QTest::addColumn<int>("most");
        for (int most = ofASanitizer == 0 ? 10 : 16 + ofASanitizer; most < 20; ++most) {
            QTest::addRow("%d", most) << most;
        }
    }
    void withTooFewDescriptorsTheRunStillEnds() {
        QFETCH(int, most);
        const InstalledTree machine;
        machine.installCopy(1001);
        machine.pack(1001);
        const ChildRun run =
            launch(machine, [most] { limit(RLIMIT_NOFILE, static_cast<rlim_t>(most)); });
        QVERIFY2(run.status == 0, run.errors.constData());
        const bool started = !machine.calls().isEmpty();
        QVERIFY(started || most < 16);
        QCOMPARE(machine.log().filter("[ERROR] linux/linux-service(#): cannot start '").size(),
                 started ? 0 : 1);
    }

    // What is printed must not end in a file that the launcher opens in the place of the missing
    // stream.
    void closedStreamsDoNotLeakIntoFiles() {
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1000);
        machine.pack(1001, "echo printed; echo printed >&2;" + noteCall);
        QCOMPARE(launch(machine, [] { closeAll({0, 1, 2}); }).status, 0);
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
        const QByteArray found =
            runCommand("grep -rlaE 'lib path|QuorLocale|QStandardPaths|^printed' "
                       ".AldaneTessel/launcher-*.lock "
                       ".AldaneTessel/log .AldaneTessel/AldaneTessel.app/share || true",
                       machine.home());
        QCOMPARE(QString(found), QString());
        for (const QString& line : logLines(machine.logFile())) {
            QVERIFY2(line.startsWith('['), qPrintable(line));
        }
    }

    void clockThatStepsBackIsOnlySeenInTheLog() {
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1000);
        machine.pack(1001);
        const ChildRun run = launch(machine, [] {
            qputenv("LD_PRELOAD", CLOCK_MODULE);
            qputenv("ASAN_OPTIONS", "verify_asan_link_order=0");
            qputenv("TZ", "UTC");
        });
        QVERIFY2(run.status == 0, run.errors.constData());
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
        const QList<QByteArray> lines = readFile(machine.logFile()).split('\n');
        QVERIFY(lines.size() > 10);
        QVERIFY(lines[0].left(15) != lines[1].left(15)); // the hour at least
    }

    void filesOfALaterTimeAreReplaced() {
        const InstalledTree machine;
        machine.installCopy(1000);
        machine.pack(1001);
        runCommand("find . -exec touch -h -d '2 years' {} +", machine.home());
        QCOMPARE(launch(machine, [] {}).status, 0);
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
    }

    void systemLogIsNotNeeded() {
        const InstalledTree machine;
        machine.installCopy(1000);
        machine.pack(1001);
        const bool present = QFile::exists("/dev/log");
        if (present && geteuid() != 0) {
            QSKIP("only root can hide the system's log");
        }
        const ChildRun run = launch(machine, [present] {
            if (present && (unshare(CLONE_NEWNS) != 0 ||
                            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                            mount("/dev/null", "/dev/log", nullptr, MS_BIND, nullptr) != 0)) {
                _exit(77);
            }
        });
        if (run.status == 77) {
            QSKIP("mounting is not allowed here");
        }
        QCOMPARE(run.status, 0);
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
    }

    void failedWriteBringsTheOldCopyBack_data() {
        QTest::addColumn<Prepare>("prepare");
        QTest::newRow("files of 1,500 bytes at most") << Prepare([] { limit(RLIMIT_FSIZE, 1500); });
        QTest::newRow("a umask that leaves nothing") << Prepare([] { umask(0777); });
    }
    void failedWriteBringsTheOldCopyBack() {
        QFETCH(Prepare, prepare);
        const InstalledTree machine;
        machine.installCopy(1000);
        machine.pack(1001);
        writeFile(machine.logFile(), "");
        openToOrdinaryUser(machine);
        const QStringList before = listTree(machine.app());
        const ChildRun run = launch(machine, [&prepare] {
            becomeOrdinaryUser();
            prepare();
        });
        QVERIFY2(run.status == 0, run.errors.constData());
        QCOMPARE(machine.log().last(), QString("[ERROR] launcher(100): Failed to upgrade package"));
        QCOMPARE(machine.log().filter("Failed to extract package, rollback").size(), 1);
        QCOMPARE(listTree(machine.app()), before);
    }

    // The client gets what the launcher was handed, so that it can die of a signal as ever.
    void clientIsHandedTheSystemsSignals() {
        const InstalledTree machine;
        machine.installCopy(1001, "sed -n 's/^SigIgn:\\t//p' /proc/$$/status >\"$HOME/ignored\"");
        machine.pack(1001);
        QCOMPARE(launch(machine, [] {}).status, 0);
        QCOMPARE(readFile(machine.home("ignored")), QByteArray("0000000000000000\n"));
    }
};

QTEST_GUILESS_MAIN(SurroundingsProcessTest)
#include "surroundings_process_test.moc"
