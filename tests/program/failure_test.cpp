// The installed program where something is damaged or in the way: the user keeps what they had, the
// client is started all the same, and the exit status is that of a normal end.
#include "tests/support/files.h"
#include "tests/support/program.h"

#include <QtTest>

namespace {

// Breaks the package as `damage` says; the INFO beside it stays.
void damagePackage(const InstalledTree& machine, const QByteArray& damage) {
    const QString package = machine.root("package/skylark.tpx");
    const QByteArray whole = readFile(package);
    if (damage == "missing") {
        QVERIFY(QFile::remove(package));
    } else if (damage == "no archive") {
        writeFile(package, QByteArray(20000, 'x'));
    } else {
        writeFile(package, whole.left(whole.size() / 2));
    }
}

const QString failedUpgrade("[ERROR] launcher(100): Failed to upgrade package");

} // namespace

class FailureTest : public QObject {
    Q_OBJECT

private slots:
    void damagedPackage_data() {
        QTest::addColumn<QString>("line");
        QTest::newRow("missing")
            << "[ERROR] extractor(166): Failed to calculate total file numbers, ret: -1";
        QTest::newRow("no archive")
            << "[ERROR] extractor(166): Failed to calculate total file numbers, ret: -1";
        QTest::newRow("cut off") << "[ERROR] extractor(";
    }

    void damagedPackageWithoutAnOldCopyLeavesWhatWasWritten_data() { damagedPackage_data(); }
    void damagedPackageWithoutAnOldCopyLeavesWhatWasWritten() {
        QFETCH(QString, line);
        const InstalledTree machine;
        machine.pack(1002);
        damagePackage(machine, QTest::currentDataTag());
        QCOMPARE(Program(machine).status(), 0);
        const QStringList log = machine.log();
        QVERIFY2(!log.filter(line).isEmpty(), qPrintable(log.join('\n')));
        QCOMPARE(log.mid(log.size() - 2),
                 (QStringList{"[ERROR] cloud-service(#): Failed to extract package, and no old "
                              "installation to rollback",
                              failedUpgrade}));
        // INFO comes first in this package.
        const bool begun = QTest::currentDataTag() == QByteArray("cut off");
        QCOMPARE(QFile::exists(machine.app("INFO")), begun);
    }

    void damagedPackageRollsBackToTheOldCopy_data() { damagedPackage_data(); }
    void damagedPackageRollsBackToTheOldCopy() {
        QFETCH(QString, line);
        const InstalledTree machine;
        machine.installCopy(1001);
        machine.pack(1002);
        damagePackage(machine, QTest::currentDataTag());
        const QStringList before = listTree(machine.app());
        QCOMPARE(Program(machine).status(), 0);
        const QStringList log = machine.log();
        QVERIFY2(!log.filter(line).isEmpty(), qPrintable(log.join('\n')));
        QCOMPARE(log.mid(log.size() - 2),
                 (QStringList{"[ERROR] cloud-service(#): Failed to extract package, rollback to "
                              "old installation",
                              failedUpgrade}));
        QCOMPARE(listTree(machine.app()), before);
        QCOMPARE(listTree(machine.home(".AldaneTessel")).filter("_tmp"), QStringList());
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
    }

    void mendedPackageIsInstalledByTheNextStart() {
        const InstalledTree machine;
        machine.installCopy(1001);
        machine.pack(1002);
        damagePackage(machine, "cut off");
        QCOMPARE(Program(machine).status(), 0);
        machine.pack(1002);
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.calls(), (QStringList{"start 1001", "start 1002"}));
    }

    void tenBlockedBackupNamesLeaveTheOldCopyAlone() {
        const InstalledTree machine;
        machine.installCopy(1001);
        machine.pack(1002);
        const QString moved("[ERROR] cloud-service(#): failed to backup app from "
                            "'H/.AldaneTessel/AldaneTessel.app' -> "
                            "'H/.AldaneTessel/AldaneTessel.app_tmp%1'%2");
        QStringList expected;
        for (int n = 0; n < 10; ++n) {
            const QString number = n == 0 ? QString() : QString::number(n);
            writeFile(machine.app() + "_tmp" + number + "/file", "blocks");
            expected << moved.arg(number, "");
        }
        expected << moved.arg("9", " at max retries, exiting") << failedUpgrade;
        const QStringList before = listTree(machine.home(".AldaneTessel"));
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.log(), expected);
        QCOMPARE(listTree(machine.home(".AldaneTessel")).filter("App", Qt::CaseInsensitive),
                 before.filter("App", Qt::CaseInsensitive));
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
    }

    void fileInThePlaceOfTheLogFolderSendsErrorsToStandardError() {
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1001);
        machine.pack(1002);
        damagePackage(machine, "missing");
        writeFile(machine.home(".AldaneTessel/log"), "in the way");
        Program program(machine);
        QCOMPARE(program.status(), 0);
        // The level file is read together with the log: without it, only warnings and worse.
        static const QRegularExpression tagged("^\\w{3} \\d\\d \\d\\d:\\d\\d:\\d\\d \\[.*");
        const QStringList lines =
            QString::fromUtf8(program.readAllStandardError()).split('\n').filter(tagged);
        QCOMPARE(lines.filter("[ERROR] extractor(").size(), 2);
        QCOMPARE(lines.filter("[ERROR] cloud-service(").size(), 1);
        QCOMPARE(lines.filter(failedUpgrade).size(), 1);
        QCOMPARE(lines.size(), 4);
        QCOMPARE(readFile(machine.home(".AldaneTessel/log")), QByteArray("in the way"));
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
    }

    void missingStartStopIsNoError() {
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1001);
        machine.pack(1001);
        QVERIFY(QFile::remove(machine.app("package/start-stop")));
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.log().last(), QString("[DEBUG] launcher(116): done"));
    }

    void failingStartStopIsNoError_data() {
        QTest::addColumn<QByteArray>("script");
        QTest::newRow("ends with 7") << QByteArray("exit 7");
        QTest::newRow("dies by a signal") << QByteArray("kill -KILL $$");
        QTest::newRow("is no script") << QByteArray("\0 |", 3);
    }
    void failingStartStopIsNoError() {
        QFETCH(QByteArray, script);
        const InstalledTree machine;
        machine.logEverything();
        machine.pack(1001, script);
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.log().last(), QString("[DEBUG] launcher(116): done"));
    }

    void slowStartStopIsWaitedFor() {
        const InstalledTree machine;
        machine.pack(1001, R"(sleep 2; touch "$HOME/finished")");
        QCOMPARE(Program(machine).status(), 0);
        QVERIFY(QFile::exists(machine.home("finished")));
    }
};

QTEST_GUILESS_MAIN(FailureTest)
#include "failure_test.moc"
