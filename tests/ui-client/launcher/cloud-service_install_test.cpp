#include "tests/support/child.h"
#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/tree-fixture.h"
#include "tests/ui-client/launcher/plain-service.h"
#include "ui-client/launcher/cloud-service.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QtTest>

#include <functional>
#include <memory>

namespace {

/// Unpacks what the test says: the folder comes into being, then `meanwhile` runs, then `result` is
/// the answer.
class FakeService : public PlainService {
public:
    explicit FakeService(const TreeFixture& tree) : m_tree(tree) {
        per_user_install_path = tree.app().toUtf8().constData();
    }

    int ExtractPackage() override {
        ++extractions;
        meanwhile();
        writeFile(m_tree.app("new"), "new");
        return result;
    }

    int result = 0;
    int extractions = 0;
    std::function<void()> meanwhile = [] {};

private:
    const TreeFixture& m_tree;
};

} // namespace

class CloudServiceInstallTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { StrTable::InitStrTable(); }

    void init() {
        m_tree = std::make_unique<TreeFixture>();
        QDir().mkpath(m_tree->home(".AldaneTessel"));
        m_log = std::make_unique<LogCapture>();
    }

    void cleanup() {
        m_log.reset();
        m_tree.reset();
    }

    // --- names ---

    void backupFolderIsNamedByNumber_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("n");
        QTest::addColumn<QString>("name");
        QTest::newRow("the first has none") << "/home/u/app" << 0 << "/home/u/app_tmp";
        QTest::newRow("second") << "/home/u/app" << 1 << "/home/u/app_tmp1";
        QTest::newRow("last") << "/home/u/app" << 9 << "/home/u/app_tmp9";
        QTest::newRow("two digits") << "/home/u/app" << 42 << "/home/u/app_tmp42";
        QTest::newRow("below zero") << "/home/u/app" << -1 << "/home/u/app_tmp-1";
        QTest::newRow("cut to seven characters") << "a" << 123456789 << "a_tmp1234567";
        QTest::newRow("no path") << "" << 3 << "_tmp3";
    }
    void backupFolderIsNamedByNumber() {
        QFETCH(QString, path);
        QFETCH(int, n);
        QTEST(QString(GetAppBackupDir(path.toUtf8().constData(), n).c_str()), "name");
    }

    // --- commit ---

    void firstInstallationRenamesNothing() {
        FakeService service(*m_tree);
        QCOMPARE(service.PrepareUserEnv(), 0);
        QCOMPARE(service.extractions, 1);
        QCOMPARE(below(), (QStringList{"AldaneTessel.app/", "AldaneTessel.app/new"}));
        QCOMPARE(m_log->unnumbered(), QStringList{ready});
    }

    void firstInstallationRemovesTheFirstBackupAlone() {
        leaveBackup(0);
        leaveBackup(1);
        FakeService service(*m_tree);
        QCOMPARE(service.PrepareUserEnv(), 0);
        QCOMPARE(below(), (QStringList{"AldaneTessel.app/", "AldaneTessel.app/new",
                                       "AldaneTessel.app_tmp1/", "AldaneTessel.app_tmp1/left"}));
    }

    void oldCopyGivesWay() {
        writeFile(m_tree->app("old"), "old");
        FakeService service(*m_tree);
        QStringList meanwhile;
        service.meanwhile = [&] { meanwhile = below(); };
        QCOMPARE(service.PrepareUserEnv(), 0);
        QCOMPARE(meanwhile, (QStringList{"AldaneTessel.app_tmp/", "AldaneTessel.app_tmp/old"}));
        QCOMPARE(below(), (QStringList{"AldaneTessel.app/", "AldaneTessel.app/new"}));
        QCOMPARE(m_log->unnumbered(), QStringList{ready});
    }

    // The two name one folder in every run of the program.
    void serviceBacksUpItsOwnFolderAndUnpacksIntoTheRegisteredOne() {
        const QString own = m_tree->home(".AldaneTessel/own");
        writeFile(own + "/old", "old");
        FakeService service(*m_tree);
        service.per_user_install_path = own.toUtf8().constData();
        QStringList meanwhile;
        service.meanwhile = [&] { meanwhile = below(); };
        QCOMPARE(service.PrepareUserEnv(), 0);
        QCOMPARE(meanwhile, (QStringList{"own_tmp/", "own_tmp/old"}));
        QVERIFY(QDir(m_tree->app()).removeRecursively());
        QCOMPARE(service.Service::ExtractPackage(), -1); // no package, but the folder is made
        QCOMPARE(below(), QStringList("AldaneTessel.app/"));
    }

    void leftoversAreSteppedOverAndSweptAway_data() {
        QTest::addColumn<int>("leftovers");
        for (int leftovers = 1; leftovers <= 9; ++leftovers) {
            QTest::addRow("%d", leftovers) << leftovers;
        }
    }
    void leftoversAreSteppedOverAndSweptAway() {
        QFETCH(int, leftovers);
        writeFile(m_tree->app("old"), "old");
        QStringList expected;
        for (int n = 0; n < leftovers; ++n) {
            leaveBackup(n);
            expected << failedBackup(n);
        }
        leaveBackup(leftovers + 1); // beyond the name that is used: stays
        FakeService service(*m_tree);
        QString kept;
        service.meanwhile = [&] { kept = readFile(backup(leftovers) + "/old"); };
        QCOMPARE(service.PrepareUserEnv(), 0);
        QCOMPARE(kept, QString("old"));
        const QString beyond = QFileInfo(backup(leftovers + 1)).fileName();
        QCOMPARE(below(), (QStringList{"AldaneTessel.app/", "AldaneTessel.app/new", beyond + "/",
                                       beyond + "/left"}));
        QCOMPARE(m_log->unnumbered(), expected << ready);
    }

    void oldCopyThatIsNoFolderGivesWayToo_data() {
        QTest::addColumn<QString>("make");
        QTest::newRow("file") << "touch AldaneTessel.app";
        QTest::newRow("link to a folder") << "mkdir ../kept; ln -s ../kept AldaneTessel.app";
        QTest::newRow("link that leads nowhere") << "ln -s nowhere AldaneTessel.app";
    }
    void oldCopyThatIsNoFolderGivesWayToo() {
        QFETCH(QString, make);
        runCommand(make, m_tree->home(".AldaneTessel"));
        FakeService service(*m_tree);
        QCOMPARE(service.PrepareUserEnv(), 0);
        QCOMPARE(below(), (QStringList{"AldaneTessel.app/", "AldaneTessel.app/new"}));
    }

    // --- no backup to be had ---

    void tenBlockedNamesEndItBeforeAnythingIsUnpacked() {
        writeFile(m_tree->app("old"), "old");
        QStringList expected;
        for (int n = 0; n < 10; ++n) {
            leaveBackup(n);
            expected << failedBackup(n);
        }
        expected << failedBackup(9) + " at max retries, exiting";
        const QStringList before = below();
        FakeService service(*m_tree);
        QCOMPARE(service.PrepareUserEnv(), -1);
        QCOMPARE(service.extractions, 0);
        QCOMPARE(below(), before);
        QCOMPARE(m_log->unnumbered(), expected);
    }

    void folderThatCannotBeMovedEndsIt() {
        writeFile(m_tree->app("old"), "old");
        runCommand("chmod 755 .; chmod 555 .AldaneTessel; chmod -R o+rX .AldaneTessel/*",
                   m_tree->home());
        const int result = asOrdinaryUser([this] {
            FakeService service(*m_tree);
            return service.PrepareUserEnv() == -1 && service.extractions == 0 ? 0 : 1;
        });
        QCOMPARE(result, 0);
        QCOMPARE(below(), (QStringList{"AldaneTessel.app/", "AldaneTessel.app/old"}));
        QCOMPARE(m_log->unnumbered().size(), 11);
    }

    // --- rollback ---

    void failureBringsTheOldCopyBack_data() {
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("leftovers");
        QTest::newRow("first name") << -1 << 0;
        QTest::newRow("fourth name") << -1 << 3;
        QTest::newRow("last name") << -1 << 9;
        QTest::newRow("any other failure") << 7 << 0;
    }
    void failureBringsTheOldCopyBack() {
        QFETCH(int, result);
        QFETCH(int, leftovers);
        writeFile(m_tree->app("old"), "old");
        QStringList expected;
        for (int n = 0; n < leftovers; ++n) {
            leaveBackup(n);
            expected << failedBackup(n);
        }
        const QStringList before = below();
        FakeService service(*m_tree);
        service.result = result;
        QCOMPARE(service.PrepareUserEnv(), -1);
        QCOMPARE(below(), before); // what an earlier run left stays as well
        QCOMPARE(m_log->unnumbered(),
                 expected << "[ERROR] cloud-service(#): Failed to extract package, rollback to old "
                             "installation");
    }

    void failureBeforeTheFolderWasMadeBringsTheOldCopyBack() {
        writeFile(m_tree->app("old"), "old");
        writeFile(m_tree->root("package/skylark.tpx"), "no package");
        PlainService service;
        service.per_user_install_path = m_tree->app().toUtf8().constData();
        QCOMPARE(service.PrepareUserEnv(), -1);
        QCOMPARE(below(), (QStringList{"AldaneTessel.app/", "AldaneTessel.app/old"}));
    }

    void failureOfAFirstInstallationLeavesWhatItWrote() {
        FakeService service(*m_tree);
        service.result = -1;
        QCOMPARE(service.PrepareUserEnv(), -1);
        QCOMPARE(below(), (QStringList{"AldaneTessel.app/", "AldaneTessel.app/new"}));
        QCOMPARE(m_log->unnumbered(), QStringList{"[ERROR] cloud-service(#): Failed to extract "
                                                  "package, and no old installation to rollback"});
    }

    void rollbackThatFailsIsNotReported() {
        writeFile(m_tree->app("old"), "old");
        FakeService service(*m_tree);
        service.result = -1;
        service.meanwhile = [this] { QVERIFY(QDir(backup(0)).removeRecursively()); };
        QCOMPARE(service.PrepareUserEnv(), -1);
        QCOMPARE(below(), QStringList());
        QCOMPARE(m_log->unnumbered(), QStringList{"[ERROR] cloud-service(#): Failed to extract "
                                                  "package, rollback to old installation"});
    }

    // --- the package itself ---

    void packageIsUnpackedIntoTheUsersFolder() {
        makePackage();
        PlainService service;
        QCOMPARE(service.ExtractPackage(), 0);
        QCOMPARE(below(),
                 (QStringList{"AldaneTessel.app/", "AldaneTessel.app/INFO", "AldaneTessel.app/bin/",
                              "AldaneTessel.app/bin/cloud-tessel-ui"}));
        QCOMPARE(m_log->unnumbered().first(), "[INFO] cloud-service(#): extract package: '" +
                                                  m_tree->root("package/skylark.tpx") + "' -> '" +
                                                  m_tree->app() + "'");
    }

    void folderThatCannotBeMadeFails() {
        makePackage();
        writeFile(m_tree->app(), "in the way");
        PlainService service;
        QCOMPARE(service.ExtractPackage(), -1);
        QCOMPARE(m_log->unnumbered().last(),
                 "[ERROR] cloud-service(#): failed to create folder: '" + m_tree->app() + "'");
        QCOMPARE(readFile(m_tree->app()), QByteArray("in the way"));
    }

    void missingPackageFails() {
        PlainService service;
        QCOMPARE(service.ExtractPackage(), -1);
        QCOMPARE(below(), QStringList{"AldaneTessel.app/"});
        QCOMPARE(m_log->unnumbered().last(), QString("[ERROR] extractor(#): Failed to calculate "
                                                     "total file numbers, ret: -1"));
    }

    void upgradeWithARealPackage() {
        makePackage();
        writeFile(m_tree->app("INFO"), "[Version]\nbuild_version=6\n");
        writeFile(m_tree->app("obsolete"), "obsolete");
        PlainService service;
        service.per_user_install_path = m_tree->app().toUtf8().constData();
        QCOMPARE(service.PrepareUserEnv(), 0);
        QCOMPARE(below(),
                 (QStringList{"AldaneTessel.app/", "AldaneTessel.app/INFO", "AldaneTessel.app/bin/",
                              "AldaneTessel.app/bin/cloud-tessel-ui"}));
        service.LoadSourceVersion();
        QCOMPARE(QString(service.source_version.build_version.c_str()), QString("7"));
    }

private:
    QString backup(int n) const {
        return m_tree->app() + "_tmp" + (n == 0 ? QString() : QString::number(n));
    }

    /// A backup of an interrupted run: not empty, so nothing can be renamed to it.
    void leaveBackup(int n) const { writeFile(backup(n) + "/left", "left"); }

    QString failedBackup(int n) const {
        return "[ERROR] cloud-service(#): failed to backup app from '" + m_tree->app() + "' -> '" +
               backup(n) + "'";
    }

    QStringList below() const { return listTree(m_tree->home(".AldaneTessel")); }

    void makePackage() const {
        writeFile(m_tree->root("client/INFO"), "[Version]\nbuild_version=7\n");
        writeFile(m_tree->root("client/bin/cloud-tessel-ui"), "#!/bin/sh\n", 0755);
        runCommand("mkdir package; tar -C client -cJf package/skylark.tpx INFO bin",
                   m_tree->root(""));
    }

    const QString ready =
        "[INFO] cloud-service(#): user installation is ready, removing backup app";
    std::unique_ptr<TreeFixture> m_tree;
    std::unique_ptr<LogCapture> m_log;
};

QTEST_GUILESS_MAIN(CloudServiceInstallTest)
#include "cloud-service_install_test.moc"
