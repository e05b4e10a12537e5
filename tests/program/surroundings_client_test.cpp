// The installed program and a start-stop that a client should not bring. It waits for the script as
// long as that takes; nothing that the script is, leaves or prints keeps it longer.
#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/launch.h"

#include <QtTest>

class SurroundingsClientTest : public QObject {
    Q_OBJECT

private slots:
    void startStopThatDoesNotRunIsPassedOver_data() {
        QTest::addColumn<QString>("make");
        QTest::newRow("a folder") << "rm start-stop && mkdir start-stop";
        QTest::newRow("no run bit") << "chmod a-x start-stop";
        QTest::newRow("a FIFO") << "rm start-stop && mkfifo -m 777 start-stop";
        QTest::newRow("a device") << "ln -sf /dev/zero start-stop";
        QTest::newRow("a link to itself") << "rm start-stop && ln -s start-stop start-stop";
        QTest::newRow("empty") << ": >start-stop";
        QTest::newRow("NULs") << ": >start-stop && truncate -s 8M start-stop";
        QTest::newRow("an interpreter that is missing") << "echo '#!/no/such' >start-stop";
        QTest::newRow("itself as interpreter") << "echo \"#!$PWD/start-stop\" >start-stop";
        QTest::newRow("another machine's program") << R"(printf '\177ELF\001\002\001' >start-stop)";
    }
    void startStopThatDoesNotRunIsPassedOver() {
        QFETCH(QString, make);
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1001, "exit 0");
        machine.pack(1001);
        runCommand(make, machine.app("package"));
        const ChildRun run = launch(machine, [] {});
        QVERIFY2(run.status == 0, run.errors.constData());
        QCOMPARE(machine.log().last(), QString("[DEBUG] launcher(116): done"));
    }

    // The client is in the background, as it should be, and holds the launcher's output open.
    void processThatLingersIsNotWaitedFor() {
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1001, "(exec sleep 200) & echo $! >\"$HOME/lingers\"");
        machine.pack(1001);
        const ChildRun run = launch(machine, [] {}); // gives up before that sleep ends
        QVERIFY2(run.status == 0, run.errors.constData());
        QCOMPARE(machine.log().last(), QString("[DEBUG] launcher(116): done"));
        const QString lingers = readFile(machine.home("lingers")).trimmed();
        QVERIFY(QFile::exists("/proc/" + lingers));
        runCommand("kill " + lingers);
    }

    void gigabyteThatIsPrintedIsHandedOn() {
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1001, "head -c 1G /dev/zero; head -c 1G /dev/zero >&2");
        machine.pack(1001);
        QProcess counter;
        counter.setProcessEnvironment(machine.environment());
        counter.start("bash",
                      {"-c", "set -o pipefail; \"$0\" 2>/dev/null | wc -c", machine.launcher()});
        QVERIFY(counter.waitForFinished(120000));
        QCOMPARE(counter.exitCode(), 0);
        QVERIFY(counter.readAllStandardOutput().trimmed().toLongLong() > 1 << 30);
        QCOMPARE(machine.log().last(), QString("[DEBUG] launcher(116): done"));
    }
};

QTEST_GUILESS_MAIN(SurroundingsClientTest)
#include "surroundings_client_test.moc"
