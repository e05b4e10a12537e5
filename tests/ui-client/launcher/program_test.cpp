#include "tests/support/files.h"
#include "tests/support/installed-tree.h"
#include "tests/support/program.h"

#include <QDir>
#include <QImage>
#include <QtTest>

#include <csignal>
#include <memory>
#include <vector>

namespace {

/// start-stop that tells that it ran, and with what.
const QByteArray tell = R"(echo "$1" >>"$HOME/started")";
/// The same, and goes on until the file "go" is there.
// The end of the home ends the wait, too: what a test starts does not outlive it.
const QByteArray tellAndWait =
    tell + R"(; while [ -d "$HOME" ] && [ ! -e "$HOME/go" ]; do sleep 0.02; done)";

} // namespace

/// The program from outside: what is installed, started as users and desktops start it.
class ProgramTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<InstalledTree> m_tree;

    QByteArray libPathLine() const {
        return "lib path = '" + m_tree->root().toUtf8() + "/lib/plugins'\n";
    }
    QByteArray started() const {
        return QFile::exists(m_tree->home("started")) ? readFile(m_tree->home("started"))
                                                      : QByteArray();
    }

private slots:
    void init() { m_tree = std::make_unique<InstalledTree>(); }
    void cleanup() { m_tree.reset(); }

    void installationIsWhole() {
        const QString installed = TESSEL_INSTALLED;
        QCOMPARE(QDir(installed).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
                 (QStringList{"bin", "images", "lib", "log", "package"}));
        // The administrator's programs stand beside it where the whole tree was built.
        QVERIFY(listTree(installed + "/bin").contains("launcher"));
        QCOMPARE(listTree(installed + "/images"), QStringList{"ico_72_skylark.png"});
        QCOMPARE(QImage(installed + "/images/ico_72_skylark.png").size(), QSize(72, 72));
        QCOMPARE(listTree(installed + "/log"), QStringList());
        QCOMPARE(listTree(installed + "/package"), QStringList());
        const QStringList platforms = listTree(installed + "/lib/plugins/platforms");
        for (const char* plugin : {"libqxcb.so", "libqoffscreen.so", "libqminimal.so"}) {
            QVERIFY2(platforms.contains(plugin), plugin);
        }
        QVERIFY(QFileInfo(installed + "/lib/plugins/platforms/libqxcb.so").isFile());
    }

    void firstRunInstallsAndStartsTheClient() {
        m_tree->pack(5, tell);
        m_tree->logEverything();
        Program program(*m_tree);
        QCOMPARE(program.status(), 0);
        QCOMPARE(program.readAllStandardOutput(), libPathLine());
        QCOMPARE(started(), QByteArray("start\n"));
        QVERIFY(QFile::exists(m_tree->app("share/99")));
        QCOMPARE(m_tree->log("launcher"),
                 (QStringList{"[DEBUG] launcher(88): running", "[DEBUG] launcher(116): done"}));
        QCOMPARE(m_tree->log("main"),
                 (QStringList{"[INFO] main(120): >>> user_skylark_path = /",
                              "[INFO] main(121): >>> user_skylark_app_path = ",
                              "[INFO] main(122): >>> user_skylark_resource_path = /",
                              "[INFO] main(123): >>> user_skylark_data_path = ",
                              "[INFO] main(124): >>> user_skylark_working_dir_path = ",
                              "[INFO] main(125): >>> user_skylark_tessel_ui_path = ",
                              "[INFO] main(126): >>> root_resource_path = /"}));
    }

    void nothingToDoStartsTheClientAlone() {
        m_tree->pack(5, "exit 1");
        m_tree->installCopy(5, tell);
        m_tree->logEverything();
        writeFile(m_tree->app("own"), "kept");
        Program program(*m_tree);
        QCOMPARE(program.status(), 0);
        QCOMPARE(started(), QByteArray("start\n"));
        QVERIFY(QFile::exists(m_tree->app("own")));
        QCOMPARE(m_tree->log("launcher"), (QStringList{"[DEBUG] launcher(88): running",
                                                       "[DEBUG] launcher(93): no need to upgrade",
                                                       "[DEBUG] launcher(116): done"}));
    }

    void failedUpgradeStartsTheOldClientAndAnswersZero() {
        m_tree->installCopy(4, tell);
        m_tree->pack(5, tell);
        writeFile(m_tree->root("package/skylark.tpx"), "no archive");
        Program program(*m_tree);
        QCOMPARE(program.status(), 0);
        QCOMPARE(started(), QByteArray("start\n"));
        QVERIFY(readFile(m_tree->app("INFO")).contains("build_version=4"));
        QCOMPARE(m_tree->log("launcher"),
                 QStringList{"[ERROR] launcher(100): Failed to upgrade package"});
    }

    void libPathLineComesBeforeTheClientsOutput() {
        m_tree->installCopy(5, "echo client");
        Program program(*m_tree);
        QCOMPARE(program.status(), 0);
        QCOMPARE(program.readAllStandardOutput(), libPathLine() + "client\n");
    }

    void secondStartAnswersZeroAtOnceAndDoesNothing() {
        m_tree->installCopy(5, tellAndWait);
        m_tree->logEverything();
        Program first(*m_tree);
        QTRY_COMPARE(started(), QByteArray("start\n"));
        const QByteArray logOfFirst = readFile(m_tree->home(".AldaneTessel/log/launcher.log"));
        Program second(*m_tree);
        QCOMPARE(second.status(), 0);
        QCOMPARE(second.readAllStandardOutput(), libPathLine());
        QCOMPARE(started(), QByteArray("start\n"));
        QCOMPARE(m_tree->log("launcher").count("[DEBUG] launcher(88): running"), 1);
        QCOMPARE(m_tree->log("main").last(),
                 QString("[DEBUG] main(173): app has already launched, return"));
        QVERIFY(readFile(m_tree->home(".AldaneTessel/log/launcher.log")).startsWith(logOfFirst));
        QCOMPARE(first.state(), QProcess::Running);
        writeFile(m_tree->home("go"), "");
        QCOMPARE(first.status(), 0);
    }

    void withoutDebugLevelTheSecondStartLogsNothing() {
        m_tree->installCopy(5, tellAndWait);
        Program first(*m_tree);
        QTRY_COMPARE(started(), QByteArray("start\n"));
        QCOMPARE(Program(*m_tree).status(), 0);
        QCOMPARE(m_tree->log("main"), QStringList());
        writeFile(m_tree->home("go"), "");
        QCOMPARE(first.status(), 0);
    }

    void killedLauncherFreesTheNextThoughItsClientLivesOn() {
        m_tree->installCopy(5, tellAndWait);
        Program first(*m_tree);
        QTRY_COMPARE(started(), QByteArray("start\n"));
        ::kill(static_cast<pid_t>(first.processId()), SIGKILL);
        QCOMPARE(first.status(), -1);
        Program second(*m_tree);
        QTRY_COMPARE(started(), QByteArray("start\nstart\n"));
        writeFile(m_tree->home("go"), "");
        QCOMPARE(second.status(), 0);
    }

    void manyStartsAtOnceStartTheClientOnce() {
        constexpr int starts = 20;
        m_tree->installCopy(5, tellAndWait);
        std::vector<std::unique_ptr<Program>> programs;
        for (int i = 0; i < starts; ++i) {
            programs.push_back(std::make_unique<Program>(*m_tree));
        }
        const auto ended = [&programs] {
            int count = 0;
            for (const auto& program : programs) {
                count += program->state() == QProcess::NotRunning ? 1 : 0;
            }
            return count;
        };
        QTRY_COMPARE_WITH_TIMEOUT(ended(), starts - 1, 60000);
        QTRY_COMPARE(started(), QByteArray("start\n"));
        writeFile(m_tree->home("go"), "");
        for (const auto& program : programs) {
            QCOMPARE(program->status(), 0);
        }
        QCOMPARE(started(), QByteArray("start\n"));
    }

    void isStartedInAnyWay_data() {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QByteArray>("folder");
        QTest::newRow("by name through PATH")
            << "PATH='%1/bin':$PATH launcher" << QByteArray("%1/");
        QTest::newRow("relative") << "bin/launcher" << QByteArray("");
        QTest::newRow("from its own folder") << "cd bin; ./launcher" << QByteArray("../");
        QTest::newRow("from outside") << "cd /; '..%1/bin/launcher'" << QByteArray("..%1/");
        QTest::newRow("without a name") << "exec -a '' bin/launcher" << QByteArray("%1/");
        QTest::newRow("with words of its own") << "bin/launcher -x --y z" << QByteArray("");
    }

    void isStartedInAnyWay() {
        QFETCH(QString, command);
        QFETCH(QByteArray, folder);
        m_tree->installCopy(5, tell);
        const QString root = m_tree->root();
        Program program(*m_tree, "bash", {"-c", command.replace("%1", root)});
        QCOMPARE(program.status(), 0);
        QCOMPARE(program.readAllStandardOutput(),
                 "lib path = '" + folder.replace("%1", root.toUtf8()) + "lib/plugins'\n");
        QCOMPARE(started(), QByteArray("start\n"));
    }

    void pluginsOfTheSystemAreNotLookedAt() {
        m_tree->installCopy(5, tell);
        QFile::remove(m_tree->root("lib"));
        Program program(*m_tree);
        QVERIFY(program.status() != 0);
        QVERIFY(program.readAllStandardError().contains("Qt platform plugin"));
    }

    void withoutALogFolderItRuns() {
        m_tree->pack(5, tell);
        m_tree->logEverything();
        writeFile(m_tree->home(".AldaneTessel/log"), "in the way");
        Program program(*m_tree);
        QCOMPARE(program.status(), 0);
        QCOMPARE(started(), QByteArray("start\n"));
        QCOMPARE(readFile(m_tree->home(".AldaneTessel/log")), QByteArray("in the way"));
        QVERIFY(!program.readAllStandardError().contains("launcher("));
    }

    void withoutItsLogFolderErrorsGoToStandardError() {
        m_tree->pack(5, tell);
        QFile::remove(m_tree->root("package/skylark.tpx"));
        writeFile(m_tree->home(".AldaneTessel/log"), "in the way");
        Program program(*m_tree);
        QCOMPARE(program.status(), 0);
        QVERIFY(program.readAllStandardError().contains(
            " [ERROR] launcher(100): Failed to upgrade package\n"));
    }
};

QTEST_GUILESS_MAIN(ProgramTest)
#include "program_test.moc"
