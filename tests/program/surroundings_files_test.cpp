// The installed program where a file that it reads is huge, is none, or would keep a reader waiting
// for ever. Whatever it is, the run ends and the client is started.
#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/launch.h"

#include <QSocketNotifier>
#include <QtTest>

#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Puts something else in the place of `path`.
void replaceBy(const QString& path, const QByteArray& what) {
    const QString quoted = "'" + path + "'";
    runCommand("rm -rf " + quoted);
    if (what == "a FIFO") {
        runCommand("mkfifo -m 666 " + quoted);
    } else if (what == "a folder") {
        makeFolder(path);
    } else if (what == "an endless device") {
        makeLink("/dev/zero", path);
    } else if (what == "a device that gives nothing") {
        makeLink("/dev/null", path);
    } else if (what == "a terminal") {
        makeLink("/dev/ptmx", path);
    } else if (what == "a socket") {
        runCommand("perl -MIO::Socket::UNIX -e "
                   "'IO::Socket::UNIX->new(Local => $ARGV[0], Listen => 1) or die $!' " +
                   quoted);
    } else if (what == "a link to itself") {
        makeLink(path, path);
    } else if (what == "a link to nothing") {
        makeLink(path + "-nothing", path);
    } else {
        throw std::runtime_error("replaceBy: what?");
    }
}

/// A sparse file of NULs behind `start`.
void grow(const QString& path, const QByteArray& start, qint64 size) {
    writeFile(path, start);
    if (!QFile::resize(path, size)) {
        throw std::runtime_error("cannot grow " + path.toStdString());
    }
}

constexpr qint64 hundredMegabytes = 100 << 20;

} // namespace

class SurroundingsFilesTest : public QObject {
    Q_OBJECT

private:
    static void addKinds() {
        QTest::addColumn<bool>("told");
        for (const char* kind : {"a FIFO", "an endless device", "a terminal",
                                 "a device that gives nothing", "a socket"}) {
            QTest::newRow(kind) << true;
        }
        QTest::newRow("a folder") << false;
        QTest::newRow("a link to itself") << false;
        QTest::newRow("a link to nothing") << false;
    }

private slots:
    void pidFileThatIsNoneStopsNobody_data() { addKinds(); }
    void pidFileThatIsNoneStopsNobody() {
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1000);
        machine.pack(1001);
        replaceBy(machine.home(".AldaneTessel/ui.pid"), QTest::currentDataTag());
        QCOMPARE(launch(machine, [] {}).status, 0);
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
        const QStringList log = machine.log("linux/linux-service").filter("ui.pid'");
        QVERIFY2(log.size() == 1, qPrintable(log.join('\n')));
    }

    void pidFileOfAnySizeIsRead_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("told");
        const QString none = "names no process, nothing to terminate";
        QTest::newRow("8 MiB without a line feed") << QByteArray(8 << 20, 'x') << none;
        QTest::newRow("8 MiB of line feeds") << QByteArray(8 << 20, '\n') << none;
        QTest::newRow("8 MiB of digits") << "pid=" + QByteArray(8 << 20, '7') << none;
        QTest::newRow("8 MiB of NULs") << QByteArray(8 << 20, '\0') << none;
        QTest::newRow("a few NULs") << QByteArray(100, '\0') << none;
        QTest::newRow("a NUL before the number") << QByteArray("pid=\0"
                                                               "4711\n",
                                                               10)
                                                 << QString("Failed to read pid file");
        QTest::newRow("binary") << QByteArray("\x7f"
                                              "ELF\x02\x01\x01\0\0\0",
                                              10)
                                << QString("Failed to read pid file");
    }
    void pidFileOfAnySizeIsRead() {
        QFETCH(QByteArray, content);
        QFETCH(QString, told);
        const InstalledTree machine;
        machine.logEverything();
        machine.installCopy(1000);
        machine.pack(1001);
        writeFile(machine.home(".AldaneTessel/ui.pid"), content);
        QCOMPARE(launch(machine, [] {}).status, 0);
        QCOMPARE(machine.log("linux/linux-service").filter("[NOTE]").filter(told).size(), 1);
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
    }

    void infoOfThePackageThatIsNoneReadsAsBuildZero_data() { addKinds(); }
    void infoOfThePackageThatIsNoneReadsAsBuildZero() {
        QFETCH(bool, told);
        const InstalledTree machine;
        machine.installCopy(1000);
        machine.pack(1001);
        replaceBy(machine.root("INFO"), QTest::currentDataTag());
        QCOMPARE(launch(machine, [] {}).status, 0);
        QCOMPARE(machine.calls(), QStringList{"start 1000"});
        QCOMPARE(machine.log(), told ? QStringList{"[WARNING] cloud-service(#): 'T/INFO' is "
                                                   "not a regular file"}
                                     : QStringList());
    }

    void infoOfTheCopyThatIsNoneUpgradesIt_data() { addKinds(); }
    void infoOfTheCopyThatIsNoneUpgradesIt() {
        QFETCH(bool, told);
        const InstalledTree machine;
        machine.installCopy(1001);
        machine.pack(1001);
        replaceBy(machine.app("INFO"), QTest::currentDataTag());
        QCOMPARE(launch(machine, [] {}).status, 0);
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
        QVERIFY(QFileInfo(machine.app("INFO")).isFile());
        QCOMPARE(machine.log("cloud-service").filter("is not a regular file").size(), told);
    }

    void hugeInfoIsRead_data() {
        QTest::addColumn<QByteArray>("start");
        QTest::addColumn<QString>("started");
        const QByteArray upgrade = "[Version]\nbuild_version=1001\n";
        QTest::newRow("NULs alone") << QByteArray("\0") << "start 1000";
        QTest::newRow("a version, then a line of NULs") << upgrade << "start 1001";
        QTest::newRow("a version, then another group") << upgrade + "[Other]\n"
                                                       << "start 1001";
        QTest::newRow("a version, then a comment") << upgrade + ";"
                                                   << "start 1001";
    }
    void hugeInfoIsRead() {
        QFETCH(QByteArray, start);
        QFETCH(QString, started);
        const InstalledTree machine;
        machine.installCopy(1000);
        machine.pack(1001);
        grow(machine.root("INFO"), start, hundredMegabytes);
        QCOMPARE(launch(machine, [] {}).status, 0);
        QCOMPARE(machine.calls(), QStringList{started});
    }

    void levelFileThatIsNoneIsPassedOver_data() { addKinds(); }
    void levelFileThatIsNoneIsPassedOver() {
        QFETCH(bool, told);
        const InstalledTree machine;
        machine.installCopy(1000);
        machine.pack(1001);
        replaceBy(machine.root("log/launcher.debug"), QTest::currentDataTag());
        QCOMPARE(launch(machine, [] {}).status, 0);
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
        QCOMPARE(machine.log(), told ? QStringList{"[WARNING] main(119): level file "
                                                   "'T/log/launcher.debug' is not a regular file"}
                                     : QStringList());
    }

    void hugeLevelFileIsRead_data() {
        QTest::addColumn<QByteArray>("start");
        QTest::addColumn<bool>("logs");
        QTest::newRow("NULs alone") << QByteArray("\0") << false;
        QTest::newRow("a level, then NULs") << QByteArray("launcher_debug=7\n") << true;
        QTest::newRow("a level, then a comment of NULs")
            << QByteArray("launcher_debug=7\n#") << true;
        QTest::newRow("a level, then what is no line")
            << QByteArray("launcher_debug=7\nx y") << false;
    }
    void hugeLevelFileIsRead() {
        QFETCH(QByteArray, start);
        QFETCH(bool, logs);
        const InstalledTree machine;
        machine.installCopy(1000);
        machine.pack(1001);
        grow(machine.root("log/launcher.debug"), start, hundredMegabytes);
        QCOMPARE(launch(machine, [] {}).status, 0);
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
        QCOMPARE(machine.log().contains("[DEBUG] launcher(116): done"), logs);
    }

    void packageThatIsNoneKeepsTheCopy_data() { addKinds(); }
    void packageThatIsNoneKeepsTheCopy() {
        const InstalledTree machine;
        machine.installCopy(1000);
        machine.pack(1001);
        replaceBy(machine.root("package/skylark.tpx"), QTest::currentDataTag());
        QCOMPARE(launch(machine, [] {}).status, 0);
        QCOMPARE(machine.calls(), QStringList{"start 1000"});
        QCOMPARE(machine.log().filter("extractor(166): Failed to calculate total file").size(), 1);
        QCOMPARE(machine.log().last(), QString("[ERROR] launcher(100): Failed to upgrade package"));
    }

    void unreadablePackageKeepsTheCopy() {
        const InstalledTree machine;
        machine.installCopy(1000);
        machine.pack(1001);
        openToOrdinaryUser(machine);
        runCommand("chmod 0 package/skylark.tpx", machine.root());
        QCOMPARE(launch(machine, &becomeOrdinaryUser).status, 0);
        QCOMPARE(machine.calls(), QStringList{"start 1000"});
        QCOMPARE(machine.log().filter("extractor(166)").size(), 1);
    }

    // As an administrator does it: another file takes the name; or as a careless one does it: the
    // file is written over in its place. The reader is at whatever byte it is.
    void packageReplacedWhileItIsRead_data() {
        QTest::addColumn<bool>("inPlace");
        QTest::newRow("by another file") << false;
        QTest::newRow("in its place") << true;
    }
    void packageReplacedWhileItIsRead() {
        QFETCH(bool, inPlace);
        const InstalledTree machine;
        machine.installCopy(1000);
        const QString package = machine.root("package/skylark.tpx");
        // Too large for one read, and not to be compressed away.
        const auto pack = [&machine](int build) {
            machine.pack(build);
            runCommand("tar -xzf package/skylark.tpx -C package && rm package/skylark.tpx\n"
                       "head -c 3000000 /dev/urandom >package/share/large\n"
                       "cd package && tar -czf ../packed * && rm -r * && "
                       "mv ../packed skylark.tpx",
                       machine.root());
            return readFile(machine.root("package/skylark.tpx"));
        };
        const QByteArray second = pack(1002);
        const QByteArray first = pack(1001);

        const int watch = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        QVERIFY(inotify_add_watch(watch, QFile::encodeName(package).constData(), IN_ACCESS) >= 0);
        QProcess program;
        program.setProcessEnvironment(machine.environment());
        program.setStandardErrorFile(QProcess::nullDevice());
        bool replaced = false;
        QSocketNotifier notifier(watch, QSocketNotifier::Read);
        connect(&notifier, &QSocketNotifier::activated, this, [&] {
            notifier.setEnabled(false);
            if (inPlace) {
                writeFile(package, second);
            } else {
                writeFile(machine.root("packed"), second);
                runCommand("mv packed package/skylark.tpx", machine.root());
            }
            replaced = true;
        });
        program.start(machine.launcher(), QStringList());
        QTRY_COMPARE_WITH_TIMEOUT(program.state(), QProcess::NotRunning, 120000);
        close(watch);
        QVERIFY(replaced);
        QCOMPARE(program.exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.exitCode(), 0);
        // Old, first or second: a whole copy it is, and its client was started.
        const QByteArray info = readFile(machine.app("INFO"));
        QCOMPARE(machine.calls(), QStringList{"start " + QString(info).section('=', 1).trimmed()});
        QCOMPARE(listTree(machine.home(".AldaneTessel")).filter("_tmp"), QStringList());
        if (!info.contains("1000")) {
            QCOMPARE(QFileInfo(machine.app("share/large")).size(), 3000000);
        }
        QCOMPARE(readFile(machine.app("share/99")).size(), 2000);
        QCOMPARE(launch(machine, [] {}).status, 0);
        QVERIFY(machine.calls().last() != QString("start 1000"));
    }

    void logThatIsNoneHoldsNobodyUp_data() { addKinds(); }
    void logThatIsNoneHoldsNobodyUp() {
        const InstalledTree machine;
        machine.installCopy(1000);
        machine.pack(1001);
        makeFolder(machine.home(".AldaneTessel/log"));
        replaceBy(machine.logFile(), QTest::currentDataTag());
        QCOMPARE(launch(machine, [] {}).status, 0);
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
    }

    void linkInThePlaceOfTheUsersFolderIsFollowed() {
        const InstalledTree machine;
        machine.logEverything();
        makeFolder(machine.home("elsewhere"));
        makeLink(machine.home("elsewhere"), machine.home(".AldaneTessel"));
        machine.installCopy(1000);
        machine.pack(1001);
        QCOMPARE(launch(machine, [] {}).status, 0);
        QCOMPARE(machine.calls(), QStringList{"start 1001"});
        QVERIFY(QFileInfo(machine.home(".AldaneTessel")).isSymLink());
        QCOMPARE(readFile(machine.home("elsewhere/AldaneTessel.app/share/99")).size(), 2000);
    }

    void linkToNowhereInThePlaceOfTheUsersFolderIsLeftAlone_data() {
        QTest::addColumn<QString>("target");
        QTest::newRow("to nothing") << "nothing/here";
        QTest::newRow("to itself") << ".AldaneTessel";
        QTest::newRow("to a file") << "file";
        QTest::newRow("to a device") << "/dev/null";
    }
    void linkToNowhereInThePlaceOfTheUsersFolderIsLeftAlone() {
        QFETCH(QString, target);
        const InstalledTree machine;
        writeFile(machine.home("file"), "kept");
        makeLink(target, machine.home(".AldaneTessel"));
        machine.pack(1001);
        const ChildRun run = launch(machine, [] {});
        QCOMPARE(run.status, 0);
        QVERIFY2(run.errors.contains("[ERROR] launcher(100): Failed to upgrade package\n"),
                 run.errors.constData());
        QCOMPARE(readFile(machine.home("file")), QByteArray("kept"));
        QVERIFY(QFileInfo(machine.home(".AldaneTessel")).isSymLink());
    }
};

QTEST_GUILESS_MAIN(SurroundingsFilesTest)
#include "surroundings_files_test.moc"
