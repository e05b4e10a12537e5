// The installed program in home folders that no distribution makes: what can be installed is, and
// where nothing can be, it says so and ends all the same.
#include "tests/support/files.h"
#include "tests/support/launch.h"
#include "tests/support/log-capture.h"
#include "tests/support/other-file-system.h"

#include <QtTest>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

void setHome(const QString& home) {
    qputenv("HOME", home.toUtf8());
}

// A path of exactly `length` bytes below `folder`, in components that every file system takes.
QString longPath(const QString& folder, int length) {
    QString path = folder;
    while (path.size() < length) {
        path += '/' + QString(qMin(200, length - path.size() - 1), 'd');
        if (length - path.size() == 1) {
            path += 'd'; // a slash alone would not count
        }
    }
    return path;
}

// Installed there without an error, the client started.
void verifyInstalled(const QString& home, const ChildRun& run) {
    QVERIFY2(run.status == 0, run.errors.constData());
    const QString folder = home + "/.AldaneTessel";
    const QStringList log = logLines(folder + "/log/launcher.log");
    QCOMPARE(log.filter("[ERROR]"), QStringList());
    QCOMPARE(log.last(), QString("[DEBUG] launcher(116): done"));
    QCOMPARE(readFile(folder + "/AldaneTessel.app/share/99").size(), 2000);
    QCOMPARE(readFile(home + "/calls"), QByteArray("start 1001\n"));
}

// Nothing can be written there, the log neither: it goes to standard error.
void verifyRefused(const ChildRun& run) {
    QCOMPARE(run.status, 0);
    QVERIFY2(run.errors.contains("[ERROR] launcher(100): Failed to upgrade package\n"),
             run.errors.constData());
}

} // namespace

class SurroundingsHomeTest : public QObject {
    Q_OBJECT

private slots:
    void usableHomeIsUsed_data() {
        QTest::addColumn<QString>("home");
        QTest::addColumn<QByteArray>("locale");
        QTest::newRow("relative") << "relative" << QByteArray("C.UTF-8");
        QTest::newRow("missing, parents too") << "%1/a/b/home" << QByteArray("C.UTF-8");
        QTest::newRow("a link") << "%1/link" << QByteArray("C.UTF-8");
        QTest::newRow("a link out of its folder") << "%1/target/../link" << QByteArray("C.UTF-8");
        QTest::newRow("UTF-8") << QString::fromUtf8("%1/Jürgen家\xf0\x9f\x8f\xa0")
                               << QByteArray("C.UTF-8");
        QTest::newRow("UTF-8, other locale")
            << QString::fromUtf8("%1/Jürgen家\xf0\x9f\x8f\xa0") << QByteArray("C");
        QTest::newRow("UTF-8, no such locale")
            << QString::fromUtf8("%1/Jürgen家\xf0\x9f\x8f\xa0") << QByteArray("xx_XX.no-such");
        QTest::newRow("quotes and a percent sign") << "%1/it's%s*home" << QByteArray("C.UTF-8");
    }
    void usableHomeIsUsed() {
        QFETCH(QString, home);
        QFETCH(QByteArray, locale);
        const InstalledTree machine;
        machine.logEverything();
        machine.pack(1001);
        makeFolder(machine.home("target"));
        makeLink(machine.home("target"), machine.home("link"));
        home.replace("%1", machine.home());
        const ChildRun run = launch(machine, [&] {
            setHome(home);
            qputenv("LC_ALL", locale);
        });
        verifyInstalled(QDir(machine.root()).absoluteFilePath(home), run);
    }

    void homeOnAnotherFileSystemIsUsed() {
        const OtherFileSystem other;
        if (!other.exists()) {
            QSKIP("this machine shows one file system only");
        }
        const InstalledTree machine;
        machine.logEverything();
        machine.pack(1001);
        verifyInstalled(other.path(), launch(machine, [&other] { setHome(other.path()); }));
    }

    void longHomeIsUsedUpToTheSystemsLimit_data() {
        QTest::addColumn<int>("length");
        QTest::addColumn<bool>("fits");
        QTest::newRow("1,200 bytes") << 1200 << true;
        QTest::newRow("4,000 bytes") << 4000 << true;
        QTest::newRow("4,094 bytes") << 4094 << false;
        QTest::newRow("9,000 bytes") << 9000 << false;
    }
    void longHomeIsUsedUpToTheSystemsLimit() {
        QFETCH(int, length);
        QFETCH(bool, fits);
        const InstalledTree machine;
        machine.logEverything();
        machine.pack(1001);
        const QString home = longPath(machine.home(), length);
        QCOMPARE(home.size(), length);
        const ChildRun run = launch(machine, [&home] { setHome(home); });
        if (fits) {
            verifyInstalled(home, run);
        } else {
            verifyRefused(run);
        }
    }

    void noHomeIsTheRootFolder_data() {
        QTest::addColumn<bool>("set");
        QTest::newRow("unset") << false;
        QTest::newRow("empty") << true;
    }
    void noHomeIsTheRootFolder() {
        QFETCH(bool, set);
        const InstalledTree machine;
        machine.pack(1001);
        openToOrdinaryUser(machine);
        const ChildRun run = launch(machine, [set] {
            becomeOrdinaryUser();
            set ? qputenv("HOME", "") : qunsetenv("HOME");
        });
        verifyRefused(run);
        QVERIFY2(run.errors.contains("'/.AldaneTessel/AldaneTessel.app'"), run.errors.constData());
    }

    void fileInThePlaceOfTheHomeIsLeftAlone() {
        const InstalledTree machine;
        machine.pack(1001);
        writeFile(machine.root("file"), "in the way");
        verifyRefused(launch(machine, [&machine] { setHome(machine.root("file")); }));
        QCOMPARE(readFile(machine.root("file")), QByteArray("in the way"));
    }

    void foreignHomeIsLeftAlone_data() {
        QTest::addColumn<unsigned>("mode");
        QTest::newRow("readable") << 0755U;
        QTest::newRow("closed") << 0700U;
    }
    void foreignHomeIsLeftAlone() {
        QFETCH(unsigned, mode);
        if (geteuid() != 0) {
            QSKIP("only root can give a folder to somebody else");
        }
        const InstalledTree machine;
        machine.pack(1001);
        machine.installCopy(1000);
        openToOrdinaryUser(machine);
        makeFolder(machine.root("foreign"), mode);
        verifyRefused(launch(machine, [&machine] {
            becomeOrdinaryUser();
            setHome(machine.root("foreign"));
        }));
        QCOMPARE(listTree(machine.root("foreign")), QStringList());
    }

    void readOnlyHomeKeepsTheCopyAndStartsIt() {
        if (geteuid() != 0) {
            QSKIP("only root can mount");
        }
        const InstalledTree machine;
        machine.pack(1001);
        machine.installCopy(1000, "echo \"$1 from a read-only home\"");
        const QByteArray home = QFile::encodeName(machine.home());
        const QStringList before = listTree(machine.home());
        const ChildRun run = launch(machine, [&home] {
            if (unshare(CLONE_NEWNS) != 0 ||
                mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                mount(home.constData(), home.constData(), nullptr, MS_BIND, nullptr) != 0 ||
                mount("none", home.constData(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY,
                      nullptr) != 0) {
                _exit(77);
            }
        });
        if (run.status == 77) {
            QSKIP("mounting is not allowed here");
        }
        verifyRefused(run);
        QVERIFY(run.output.endsWith("start from a read-only home\n"));
        QCOMPARE(listTree(machine.home()), before);
    }
};

QTEST_GUILESS_MAIN(SurroundingsHomeTest)
#include "surroundings_home_test.moc"
