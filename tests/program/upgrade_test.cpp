// The installed program decides and installs: what it logs, what it leaves, which client it starts.
#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/program.h"

#include <QtTest>

namespace {

// Start-up's lines: the paths are cut to their first character.
const QStringList registered{
    "[INFO] main(120): >>> user_skylark_path = /",
    "[INFO] main(121): >>> user_skylark_app_path = ",
    "[INFO] main(122): >>> user_skylark_resource_path = /",
    "[INFO] main(123): >>> user_skylark_data_path = ",
    "[INFO] main(124): >>> user_skylark_working_dir_path = ",
    "[INFO] main(125): >>> user_skylark_tessel_ui_path = ",
    "[INFO] main(126): >>> root_resource_path = /",
    "[DEBUG] launcher(88): running",
};
const QStringList unpacked{
    "[INFO] cloud-service(#): extract package: 'T/package/skylark.tpx' -> "
    "'H/.AldaneTessel/AldaneTessel.app'",
    "[DEBUG] extractor(155): decompress from 'T/package/skylark.tpx' to "
    "'H/.AldaneTessel/AldaneTessel.app'",
    "[INFO] cloud-service(#): user installation is ready, removing backup app",
};
const QStringList ended{
    "[INFO] cloud-service(#): removing aged app folder H/.Skylark/app",
    "[DEBUG] launcher(116): done",
};

// What is logged about a copy and a package of those builds; 0 stands for none.
QStringList decided(int source, int target) {
    const auto text = [](int build) { return build == 0 ? QString() : QString::number(build); };
    const QString record("[INFO] cloud-service(#): %1_version = (, , %2, )");
    const QString build("[DEBUG] linux/linux-service(#): %1 version: ('%2', '')");
    return {
        record.arg("target", text(target)),
        source == 0 ? "[INFO] cloud-service(#): source does not exist"
                    : record.arg("source", text(source)),
        build.arg("Source", text(source)),
        build.arg("Target", text(target)),
        QString("[DEBUG] linux/linux-service(#): source version = %1, target version = %2")
            .arg(source)
            .arg(target),
    };
}

const QStringList noClientRuns{
    "[DEBUG] linux/linux-service(#): local appdata exist",
    "[DEBUG] linux/linux-service(#): pid file 'H/.AldaneTessel/ui.pid' does not exist, no need to "
    "terminate",
};

// The package as another program unpacks it.
QStringList packed(const InstalledTree& machine) {
    const QTemporaryDir folder;
    runCommand("tar -xzf '" + machine.root("package/skylark.tpx") + "'", folder.path());
    return listTree(folder.path());
}

// A copy with a file that no package holds: where that is, the copy is what it was.
void installMarked(const InstalledTree& machine, int build) {
    machine.installCopy(build);
    writeFile(machine.app("mark"), "");
}
bool isMarked(const InstalledTree& machine) {
    return QFile::exists(machine.app("mark"));
}

} // namespace

class UpgradeTest : public QObject {
    Q_OBJECT

private slots:
    void firstStartInstallsAndStartsTheClient() {
        const InstalledTree machine;
        machine.logEverything();
        machine.pack(1001);
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.log(), registered + decided(0, 1001) + unpacked + ended);
        QCOMPARE(listTree(machine.app()), packed(machine));
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
    }

    void higherBuildReplacesTheCopy() {
        const InstalledTree machine;
        machine.logEverything();
        installMarked(machine, 1001);
        machine.pack(1002);
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.log(), registered + decided(1001, 1002) + noClientRuns + unpacked + ended);
        QCOMPARE(listTree(machine.app()), packed(machine));
        QCOMPARE(listTree(machine.home(".AldaneTessel")).filter("_tmp"), QStringList());
        QCOMPARE(machine.calls(), QStringList{"start 1002"});
    }

    void equalOrLowerBuildOnlyStartsTheClient_data() {
        QTest::addColumn<int>("offered");
        QTest::newRow("equal") << 1001;
        QTest::newRow("lower") << 1000;
        QTest::newRow("lower, though later in the alphabet") << 999;
    }
    void equalOrLowerBuildOnlyStartsTheClient() {
        QFETCH(int, offered);
        const InstalledTree machine;
        machine.logEverything();
        installMarked(machine, 1001);
        machine.pack(offered);
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.log(), registered + decided(1001, offered) +
                                    QStringList{"[DEBUG] launcher(93): no need to upgrade"} +
                                    ended);
        QVERIFY(isMarked(machine));
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
    }

    void secondStartHasNothingToDo() {
        const InstalledTree machine;
        machine.pack(1001);
        QCOMPARE(Program(machine).status(), 0);
        machine.logEverything();
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.log().count("[DEBUG] launcher(93): no need to upgrade"), 1);
        QCOMPARE(machine.calls(), (QStringList{"start 1001", "start 1001"}));
    }

    void copyWithoutItsExecutableIsInstalledAnew() {
        const InstalledTree machine;
        machine.logEverything();
        installMarked(machine, 1001);
        machine.pack(1001);
        QVERIFY(QFile::remove(machine.app("bin/cloud-tessel-ui")));
        // Nobody can be running it: the pid file is not even looked at.
        writeFile(machine.home(".AldaneTessel/ui.pid"), "not a key-value line");
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.log(), registered + decided(1001, 1001) + unpacked + ended);
        QCOMPARE(listTree(machine.app()), packed(machine));
    }

    void unusableInfoReadsAsBuildZero_data() {
        QTest::addColumn<QByteArray>("info");
        QTest::newRow("missing") << QByteArray();
        QTest::newRow("empty") << QByteArray("");
        QTest::newRow("no group") << QByteArray("build_version=2000\n");
        QTest::newRow("other group") << QByteArray("[Other]\nbuild_version=2000\n");
        QTest::newRow("no build") << QByteArray("[Version]\nmajor_version=4\n");
        QTest::newRow("build without digits") << QByteArray("[Version]\nbuild_version=next\n");
        QTest::newRow("binary") << QByteArray("\0\xff\xfe[Vers\0ion\n=\n", 15);
    }
    // Of the package: nothing is higher than it.
    void unusableInfoReadsAsBuildZero() {
        QFETCH(QByteArray, info);
        const InstalledTree machine;
        machine.logEverything();
        installMarked(machine, 1001);
        machine.pack(1002);
        QVERIFY(QFile::remove(machine.root("INFO")));
        if (!info.isNull()) {
            writeFile(machine.root("INFO"), info);
        }
        QCOMPARE(Program(machine).status(), 0);
        QVERIFY(machine.log().contains(
            "[DEBUG] linux/linux-service(#): source version = 1001, target version = 0"));
        QVERIFY(machine.log().contains("[DEBUG] launcher(93): no need to upgrade"));
        QVERIFY(isMarked(machine));
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
    }

    void packageWithoutInfoIsInstalledWhereThereIsNoCopy() {
        const InstalledTree machine;
        machine.logEverything();
        machine.pack(1001);
        QVERIFY(QFile::remove(machine.root("INFO")));
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(machine.log(), registered + decided(0, 0) + unpacked + ended);
        QCOMPARE(listTree(machine.app()), packed(machine));
    }

    void unusableInfoOfTheCopyUpgradesIt_data() { unusableInfoReadsAsBuildZero_data(); }
    void unusableInfoOfTheCopyUpgradesIt() {
        QFETCH(QByteArray, info);
        const InstalledTree machine;
        machine.logEverything();
        installMarked(machine, 1001);
        machine.pack(1);
        QVERIFY(QFile::remove(machine.app("INFO")));
        if (!info.isNull()) {
            writeFile(machine.app("INFO"), info);
        }
        QCOMPARE(Program(machine).status(), 0);
        QVERIFY(machine.log().contains(
            "[DEBUG] linux/linux-service(#): source version = 0, target version = 1"));
        QCOMPARE(listTree(machine.app()), packed(machine));
        QCOMPARE(machine.calls(), QStringList{"start 1"});
    }

    void agedFolderGoesAndItsNeighboursStay() {
        const InstalledTree machine;
        installMarked(machine, 1001);
        machine.pack(1001);
        writeFile(machine.home(".Skylark/app/bin/old"), "old");
        writeFile(machine.home(".Skylark/data/kept"), "kept");
        QVERIFY(QFile::link(machine.home(".Skylark/data"), machine.home(".Skylark/app/link")));
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(listTree(machine.home(".Skylark")), (QStringList{"data/", "data/kept"}));
    }

    // Names that an interrupted run left: the old copy takes the next one, and all of them go.
    void leftoverBackupsAreSweptAway() {
        const InstalledTree machine;
        installMarked(machine, 1001);
        machine.pack(1002);
        writeFile(machine.app() + "_tmp/file", "leftover");
        writeFile(machine.app() + "_tmp1/file", "leftover");
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(listTree(machine.app()), packed(machine));
        QCOMPARE(listTree(machine.home(".AldaneTessel")).filter("_tmp"), QStringList());
        QCOMPARE(machine.log(), (QStringList{"[ERROR] cloud-service(#): failed to backup app from "
                                             "'H/.AldaneTessel/AldaneTessel.app' -> "
                                             "'H/.AldaneTessel/AldaneTessel.app_tmp'",
                                             "[ERROR] cloud-service(#): failed to backup app from "
                                             "'H/.AldaneTessel/AldaneTessel.app' -> "
                                             "'H/.AldaneTessel/AldaneTessel.app_tmp1'"}));
    }
};

QTEST_GUILESS_MAIN(UpgradeTest)
#include "upgrade_test.moc"
