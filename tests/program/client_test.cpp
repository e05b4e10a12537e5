// The installed program upgrades a client that runs: found through its pid file, asked to end, and
// killed where it does not.
#include "tests/support/files.h"
#include "tests/support/program.h"

#include <QElapsedTimer>
#include <QtTest>

#include <memory>

namespace {

// A running client of the tree's user. Its parent asks after it at once, as the system does for a
// real one, and prints how it ended: a process that nobody has asked after counts as alive.
class RunningClient {
public:
    RunningClient(const InstalledTree& machine, const QByteArray& onTerm)
        : m_ready(machine.home("client-ready")) {
        const QString script = machine.home("client");
        writeFile(script, "trap '" + onTerm +
                              "' TERM\ntouch \"$HOME/client-ready\"\n"
                              "while :; do sleep 0.1; done\n");
        m_parent = std::make_unique<Program>(
            machine, "sh",
            QStringList{"-c", "sh \"$0\" & echo pid=$! >\"$1\"; wait $!; printf $?", script,
                        machine.home(".AldaneTessel/ui.pid")});
    }
    bool isReady() const { return QFile::exists(m_ready); }
    /// How it ended, as a shell tells it: 137 for SIGKILL.
    QByteArray status() {
        m_parent->status();
        return m_parent->readAllStandardOutput();
    }

private:
    QString m_ready;
    std::unique_ptr<Program> m_parent;
};

QByteArray pidOfEndedProcess() {
    QProcess process;
    process.start("true", QStringList());
    process.waitForStarted();
    const QByteArray pid = QByteArray::number(process.processId());
    process.waitForFinished();
    return pid;
}

} // namespace

class ClientTest : public QObject {
    Q_OBJECT

private slots:
    void clientThatObeysIsNotKilled() {
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1001);
        machine.pack(1002);
        RunningClient client(machine, "exit 42");
        QTRY_VERIFY(client.isReady());
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(client.status(), QByteArray("42"));
        QCOMPARE(machine.log().filter("linux-service").mid(3),
                 QStringList{"[DEBUG] linux/linux-service(#): local appdata exist"});
        QCOMPARE(machine.calls(), QStringList{"start 1002"});
    }

    void clientThatIgnoresTheRequestIsKilledAfterFiveSeconds() {
        const InstalledTree machine;
        machine.installCopy(1001);
        machine.pack(1002);
        RunningClient client(machine, "");
        QTRY_VERIFY(client.isReady());
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(Program(machine).status(), 0);
        QVERIFY(clock.elapsed() >= 5000);
        QCOMPARE(client.status(), QByteArray("137"));
        QCOMPARE(machine.calls(), QStringList{"start 1002"});
    }

    void clientIsLeftAloneWhereThereIsNothingToDo() {
        const InstalledTree machine;
        machine.installCopy(1001);
        machine.pack(1001);
        RunningClient client(machine, "exit 42");
        QTRY_VERIFY(client.isReady());
        QCOMPARE(Program(machine).status(), 0);
        const QByteArray pid = readFile(machine.home(".AldaneTessel/ui.pid")).mid(4).trimmed();
        QVERIFY(QFile::exists("/proc/" + pid));
        QProcess::execute("kill", {"-TERM", pid});
        QCOMPARE(client.status(), QByteArray("42"));
    }

    void numberOfAnEndedProcessIsNoError() {
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1001);
        machine.pack(1002);
        writeFile(machine.home(".AldaneTessel/ui.pid"), "pid=" + pidOfEndedProcess() + "\n");
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.log().filter("linux-service").mid(3),
                 QStringList{"[DEBUG] linux/linux-service(#): local appdata exist"});
        QCOMPARE(machine.calls(), QStringList{"start 1002"});
    }

    void malformedPidFileIsNotedAndSkipped_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("no value") << QByteArray("pid=\n");
        QTest::newRow("no equals sign") << QByteArray("pid 4711\n");
        QTest::newRow("two values") << QByteArray("pid=47 11\n");
        QTest::newRow("an INI file") << QByteArray("[ui]\npid=4711\n");
    }
    void malformedPidFileIsNotedAndSkipped() {
        QFETCH(QByteArray, text);
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1001);
        machine.pack(1002);
        writeFile(machine.home(".AldaneTessel/ui.pid"), text);
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.log().filter("[NOTE]"),
                 QStringList{"[NOTE] linux/linux-service(#): Failed to read pid "
                             "file 'H/.AldaneTessel/ui.pid', not exist ?"});
        QCOMPARE(machine.calls(), QStringList{"start 1002"});
    }

    // Zero would reach the launcher's own process group: it gets one of its own here, so that the
    // launcher alone would be hit.
    void numberThatNamesNoProcessIsNotedAndSkipped_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("zero") << QByteArray("pid=0\n");
        QTest::newRow("zero after the cut to 32 bits") << QByteArray("pid=4294967296\n");
        QTest::newRow("no digits") << QByteArray("pid=none\n");
        QTest::newRow("empty") << QByteArray("pid=''\n");
        QTest::newRow("another key") << QByteArray("number=4711\n");
        QTest::newRow("empty file") << QByteArray("");
    }
    void numberThatNamesNoProcessIsNotedAndSkipped() {
        QFETCH(QByteArray, text);
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1001);
        machine.pack(1002);
        writeFile(machine.home(".AldaneTessel/ui.pid"), text);
        QCOMPARE(Program(machine, "setsid", {"--wait", machine.launcher()}).status(), 0);
        QCOMPARE(machine.log().filter("[NOTE] linux/linux-service(#): ").size(), 1);
        QCOMPARE(machine.calls(), QStringList{"start 1002"});
    }
};

QTEST_GUILESS_MAIN(ClientTest)
#include "client_test.moc"
