// The installed program and the end of a session: a signal ends it at once wherever it waits, and
// the next start puts right what it left. What it waits for here takes as long as the test wants;
// tests/faults sends the same signals during every call that changes a file.
#include "tests/support/files.h"
#include "tests/support/program.h"

#include <QtTest>

#include <csignal>

namespace {

// A client that does not end when it is asked to, and tells that it was.
const QByteArray stubborn =
    "trap 'touch \"$HOME/asked\"' TERM\ntouch \"$HOME/ready\"\n"
    "while [ -d \"$HOME\" ] && [ ! -e \"$HOME/go\" ]; do sleep 0.05; done\n";
// A start-stop that tells that it was called, and goes on until it may end.
QByteArray slowStart() {
    return noteCall + "\ntouch \"$HOME/starting\"\nwhile [ -d \"$HOME\" ] && [ ! -e \"$HOME/go\" "
                      "]; do sleep 0.05; done";
}

class SessionProgram : public Program {
public:
    using Program::Program;
    bool diesOf(int number) {
        ::kill(static_cast<pid_t>(processId()), number);
        return waitForFinished(60000) && exitStatus() == CrashExit && exitCode() == number;
    }
};

} // namespace

class SignalsTest : public QObject {
    Q_OBJECT

private:
    static void addSignals() {
        QTest::addColumn<int>("number");
        QTest::newRow("SIGTERM") << SIGTERM;
        QTest::newRow("SIGHUP") << SIGHUP;
        QTest::newRow("SIGINT") << SIGINT;
    }

private slots:
    void initTestCase() {
        for (const int number : {SIGTERM, SIGHUP, SIGINT}) {
            signal(number, SIG_DFL); // nohup would have it inherited otherwise
        }
    }

    void signalWhileTheClientIsStopped_data() { addSignals(); }
    void signalWhileTheClientIsStopped() {
        QFETCH(int, number);
        const InstalledTree machine;
        machine.installCopy(1000);
        machine.pack(1001);
        writeFile(machine.home("client"), stubborn);
        Program client(machine, "sh", {machine.home("client")});
        QTRY_VERIFY(QFile::exists(machine.home("ready")));
        writeFile(machine.home(".AldaneTessel/ui.pid"),
                  "pid=" + QByteArray::number(client.processId()) + "\n");
        SessionProgram launcher(machine);
        QTRY_VERIFY(QFile::exists(machine.home("asked")));
        QVERIFY(launcher.diesOf(number));
        // Nothing was begun: the old copy is as it was, and the client runs on.
        QCOMPARE(client.state(), QProcess::Running);
        QVERIFY(readFile(machine.app("INFO")).contains("1000"));

        writeFile(machine.home("go"), "");
        QCOMPARE(client.status(), 0);
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
    }

    void signalWhileTheClientIsStarted_data() { addSignals(); }
    void signalWhileTheClientIsStarted() {
        QFETCH(int, number);
        const InstalledTree machine;
        machine.installCopy(1000);
        machine.pack(1001, slowStart());
        SessionProgram launcher(machine);
        QTRY_VERIFY(QFile::exists(machine.home("starting")));
        QVERIFY(launcher.diesOf(number));
        // The upgrade is done; the script, which belongs to the client, goes on.
        QVERIFY(readFile(machine.app("INFO")).contains("1001"));
        QCOMPARE(listTree(machine.home(".AldaneTessel")).filter("_tmp"), QStringList());

        writeFile(machine.home("go"), "");
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.calls(), (QStringList{"start 1001", "start 1001"}));
    }

    // The second one finds no lock that the first one has left behind.
    void lockOfALauncherThatWasEndedIsFree() {
        const InstalledTree machine;
        machine.installCopy(1001, slowStart());
        machine.pack(1001);
        SessionProgram first(machine);
        QTRY_VERIFY(QFile::exists(machine.home("starting")));
        QCOMPARE(Program(machine).status(), 0); // only looks, and ends
        QCOMPARE(machine.calls().size(), 1);
        QVERIFY(first.diesOf(SIGTERM));
        writeFile(machine.home("go"), "");
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.calls().size(), 2);
    }
};

QTEST_GUILESS_MAIN(SignalsTest)
#include "signals_test.moc"
