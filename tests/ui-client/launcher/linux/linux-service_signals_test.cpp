// The exact steps of stopping a client, without processes and without waiting: the linker sends
// the calls of kill and sleep through the functions below.
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/tree-fixture.h"
#include "ui-client/launcher/linux/linux-service.h"

#include <QtTest>

#include <cerrno>
#include <csignal>

namespace {

/// What the system answers, and what it was asked, fresh for every test.
struct System {
    int termError = 0;   // errno of SIGTERM; 0 succeeds
    int probeError = 0;  // errno of each probe; 0 succeeds
    int goneAfter = -1;  // the number of sleeps after which the process is gone; -1 never
    int interrupted = 0; // the number of the sleep that a signal cuts short, from 1

    int sleeps = 0;
    QStringList calls;
};
System faked;

} // namespace

extern "C" {
int __wrap_kill(int pid, int signal) {
    faked.calls << QString("kill %1 %2").arg(pid).arg(signal);
    const bool gone = faked.goneAfter >= 0 && faked.sleeps >= faked.goneAfter;
    errno = signal == SIGTERM ? faked.termError : gone ? ESRCH : faked.probeError;
    return errno == 0 ? 0 : -1;
}

unsigned __wrap_sleep(unsigned seconds) {
    faked.calls << QString("sleep %1").arg(seconds);
    return ++faked.sleeps == faked.interrupted ? seconds : 0;
}
}

class LinuxServiceSignalsTest : public QObject {
    Q_OBJECT

private slots:
    void init() { faked = System(); }

    void deafClientIsProbedFiveTimesAndKilledUnprobed() {
        QCOMPARE(stop("pid=4711"), QStringList());
        QCOMPARE(faked.calls, term() + rounds(5) << "kill 4711 9");
    }

    void clientThatIsGoneIsLeftAlone_data() {
        QTest::addColumn<int>("sleeps");
        for (int sleeps = 0; sleeps < 5; ++sleeps) {
            QTest::addRow("after %d seconds", sleeps) << sleeps;
        }
    }
    void clientThatIsGoneIsLeftAlone() {
        QFETCH(int, sleeps);
        faked.goneAfter = sleeps;
        QCOMPARE(stop("pid=4711"), QStringList());
        QCOMPARE(faked.calls, term() + rounds(sleeps) << "kill 4711 0");
    }

    void clientThatGoesInTheLastSecondIsKilledAllTheSame() {
        faked.goneAfter = 5;
        QCOMPARE(stop("pid=4711"), QStringList());
        QCOMPARE(faked.calls, term() + rounds(5) << "kill 4711 9");
    }

    void missingProcessEndsItAtOnce() {
        faked.termError = ESRCH;
        QCOMPARE(stop("pid=4711"), QStringList());
        QCOMPARE(faked.calls, term());
    }

    void refusedSignalIsLoggedAndWaitedForAllTheSame_data() {
        QTest::addColumn<int>("error");
        QTest::newRow("not permitted") << EPERM;
        QTest::newRow("invalid") << EINVAL;
    }
    void refusedSignalIsLoggedAndWaitedForAllTheSame() {
        QFETCH(int, error);
        faked.termError = error;
        faked.probeError = error; // only a missing process counts as gone
        QCOMPARE(stop("pid=4711"), QStringList{QString("[ERROR] linux/linux-service(#): kill: %1 "
                                                       "(%2)")
                                                   .arg(strerror(error))
                                                   .arg(error)});
        QCOMPARE(faked.calls, term() + rounds(5) << "kill 4711 9");
    }

    void interruptedSecondIsMadeUpFor() {
        faked.interrupted = 2;
        QCOMPARE(stop("pid=4711"), QStringList());
        QCOMPARE(faked.calls, term() + rounds(2) << "sleep 1" << rounds(3) << "kill 4711 9");
    }

    void pidIsTheNumberThatTheFileTells_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::addColumn<int>("pid");
        QTest::newRow("plain") << QByteArray("pid=4711\n") << 4711;
        QTest::newRow("quoted, with blanks and company")
            << QByteArray("# client\nname = tessel\n pid = \"4711\" # now\n") << 4711;
        QTest::newRow("last of two") << QByteArray("pid=1\npid=4711\n") << 4711;
        QTest::newRow("digits and letters") << QByteArray("pid=4711abc\n") << 4711;
        QTest::newRow("cut to 32 bits") << QByteArray("pid=4294972007\n") << 4711;
        QTest::newRow("largest") << QByteArray("pid=2147483647\n") << 2147483647;
    }
    void pidIsTheNumberThatTheFileTells() {
        QFETCH(QByteArray, file);
        QFETCH(int, pid);
        faked.termError = ESRCH;
        QCOMPARE(stop(file), QStringList());
        QCOMPARE(faked.calls, QStringList{QString("kill %1 15").arg(pid)});
    }

    void whatNamesNoProcessIsNotSignalled_data() {
        QTest::addColumn<QByteArray>("file");
        QTest::newRow("no key") << QByteArray("name=tessel\n");
        QTest::newRow("another case of the key") << QByteArray("PID=4711\n");
        QTest::newRow("empty file") << QByteArray("");
        QTest::newRow("empty value") << QByteArray("pid=\"\"\n");
        QTest::newRow("zero") << QByteArray("pid=0\n");
        QTest::newRow("every process of the user") << QByteArray("pid=-1\n");
        QTest::newRow("a process group") << QByteArray("pid=-4711\n");
        QTest::newRow("letters") << QByteArray("pid=abc\n");
        QTest::newRow("zero once cut to 32 bits") << QByteArray("pid=4294967296\n");
        QTest::newRow("below zero once cut to 32 bits") << QByteArray("pid=2147483648\n");
        QTest::newRow("-1 once cut to 32 bits") << QByteArray("pid=4294967295\n");
        QTest::newRow("more than any number") << QByteArray("pid=99999999999999999999\n");
    }
    void whatNamesNoProcessIsNotSignalled() {
        QFETCH(QByteArray, file);
        const QStringList lines = stop(file);
        QCOMPARE(faked.calls, QStringList());
        QCOMPARE(lines.size(), 1);
        QVERIFY2(lines.first().startsWith("[NOTE] linux/linux-service(#): pid file '"),
                 qPrintable(lines.first()));
    }

private:
    /// Stops what the pid file `content` tells. \return what was logged.
    static QStringList stop(const QByteArray& content) {
        const TreeFixture tree;
        const LogCapture log;
        writeFile(tree.home(".AldaneTessel/ui.pid"), content);
        LinuxService().StopService();
        return log.unnumbered();
    }

    static QStringList term() { return {"kill 4711 15"}; }
    static QStringList rounds(int number) {
        QStringList calls;
        for (int i = 0; i < number; ++i) {
            calls << "kill 4711 0"
                  << "sleep 1";
        }
        return calls;
    }
};

QTEST_GUILESS_MAIN(LinuxServiceSignalsTest)
#include "linux-service_signals_test.moc"
