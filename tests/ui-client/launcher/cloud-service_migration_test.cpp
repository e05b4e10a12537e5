#include "libui/UIPathManager.h"
#include "tests/support/child.h"
#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/tree-fixture.h"
#include "tests/ui-client/launcher/plain-service.h"

#include <QtTest>

#include <memory>

namespace {

const QString moved_to = "[ERROR] cloud-service(#): Move failed when move to ";
const QString no_folder = "[ERROR] cloud-service(#): Failed to create Aldane Tessel folder";
const QString no_data = "[ERROR] cloud-service(#): Failed to move data to Aldane Tessel folder";

} // namespace

class CloudServiceMigrationTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        m_tree = std::make_unique<TreeFixture>();
        m_log = std::make_unique<LogCapture>(4);
    }

    void cleanup() {
        m_log.reset();
        m_tree.reset();
    }

    void homeIsMigrated_data() {
        QTest::addColumn<QString>("arrange");
        QTest::addColumn<QStringList>("left");
        QTest::addColumn<QStringList>("failures"); // with "NEW" for the new folder
        const QString old = "mkdir -p .Skylark/{data,Skylark.app}; touch .Skylark/data/d "
                            ".Skylark/Skylark.app/a; ";

        QTest::newRow("whole folder, its bundle under the new name")
            << old
            << QStringList{".AldaneTessel/", ".AldaneTessel/AldaneTessel.app/",
                           ".AldaneTessel/AldaneTessel.app/a", ".AldaneTessel/data/",
                           ".AldaneTessel/data/d"}
            << QStringList();
        QTest::newRow("without a bundle")
            << "mkdir -p .Skylark/data" << QStringList{".AldaneTessel/", ".AldaneTessel/data/"}
            << QStringList();
        QTest::newRow("bundle that is a file")
            << "mkdir .Skylark; touch .Skylark/Skylark.app"
            << QStringList{".AldaneTessel/", ".AldaneTessel/AldaneTessel.app"} << QStringList();
        QTest::newRow("an empty new folder gives way")
            << old + "mkdir .AldaneTessel"
            << QStringList{".AldaneTessel/", ".AldaneTessel/AldaneTessel.app/",
                           ".AldaneTessel/AldaneTessel.app/a", ".AldaneTessel/data/",
                           ".AldaneTessel/data/d"}
            << QStringList();
        QTest::newRow("bundle of the new name stands in the way")
            << "mkdir -p .Skylark/{Skylark.app,AldaneTessel.app}; touch "
               ".Skylark/{Skylark.app,AldaneTessel.app}/a"
            << QStringList{".AldaneTessel/", ".AldaneTessel/AldaneTessel.app/",
                           ".AldaneTessel/AldaneTessel.app/a", ".AldaneTessel/Skylark.app/",
                           ".AldaneTessel/Skylark.app/a"}
            << QStringList{moved_to + "NEW/AldaneTessel.app"};

        QTest::newRow("new folder in use: the data alone")
            << old + "mkdir .AldaneTessel; touch .AldaneTessel/file"
            << QStringList{".AldaneTessel/",        ".AldaneTessel/data/", ".AldaneTessel/data/d",
                           ".AldaneTessel/file",    ".Skylark/",           ".Skylark/Skylark.app/",
                           ".Skylark/Skylark.app/a"}
            << QStringList{moved_to + "NEW"};
        QTest::newRow("new folder in use, no data")
            << "mkdir -p .Skylark/Skylark.app .AldaneTessel/log"
            << QStringList{".AldaneTessel/", ".AldaneTessel/log/", ".Skylark/",
                           ".Skylark/Skylark.app/"}
            << QStringList{moved_to + "NEW"};
        QTest::newRow("new data in use")
            << old + "mkdir -p .AldaneTessel/data; touch .AldaneTessel/data/new"
            << QStringList{".AldaneTessel/", ".AldaneTessel/data/",   ".AldaneTessel/data/new",
                           ".Skylark/",      ".Skylark/Skylark.app/", ".Skylark/Skylark.app/a",
                           ".Skylark/data/", ".Skylark/data/d"}
            << QStringList{moved_to + "NEW", no_data};
        QTest::newRow("a file in the place of the new folder")
            << old + "touch .AldaneTessel"
            << QStringList{".AldaneTessel",          ".Skylark/",      ".Skylark/Skylark.app/",
                           ".Skylark/Skylark.app/a", ".Skylark/data/", ".Skylark/data/d"}
            << QStringList{moved_to + "NEW", no_data};
        QTest::newRow("no former generation")
            << "true" << QStringList{".AldaneTessel/"} << QStringList{moved_to + "NEW"};
        QTest::newRow("no former generation, new folder in use")
            << "mkdir -p .AldaneTessel/log" << QStringList{".AldaneTessel/", ".AldaneTessel/log/"}
            << QStringList{moved_to + "NEW"};
    }
    void homeIsMigrated() {
        QFETCH(QString, arrange);
        QFETCH(QStringList, left);
        QFETCH(QStringList, failures);
        runCommand(arrange, m_tree->home());
        PlainService().MigrateService();
        QCOMPARE(listTree(m_tree->home()), left);
        QCOMPARE(ownLines(), failures.replaceInStrings("NEW", m_tree->home(".AldaneTessel")));
    }

    void newFolderThatCannotBeMadeEndsIt() {
        runCommand("mkdir -p .Skylark/data; touch file", m_tree->home());
        const QString blocked = m_tree->home("file/new");
        UIPathManager::getInstance()->setPath("user_aldane_tessel_path", blocked);
        PlainService().MigrateService();
        QCOMPARE(ownLines(), (QStringList{moved_to + blocked, no_folder}));
        QCOMPARE(listTree(m_tree->home()), (QStringList{".Skylark/", ".Skylark/data/", "file"}));
    }

    void agedFolderIsRemovedWithAllItHolds() {
        runCommand("mkdir -p .Skylark/app/bin .Skylark/data; touch .Skylark/app/bin/x "
                   ".Skylark/app/y kept; ln -s ../../kept .Skylark/app/link",
                   m_tree->home());
        m_log.reset();
        m_log = std::make_unique<LogCapture>(6);
        PlainService().RemoveAgedFolders();
        QCOMPARE(listTree(m_tree->home()), (QStringList{".Skylark/", ".Skylark/data/", "kept"}));
        QCOMPARE(m_log->unnumbered(), QStringList{agedLine()});
    }

    void missingAgedFolderIsToldAllTheSame() {
        m_log.reset();
        m_log = std::make_unique<LogCapture>(7);
        PlainService().RemoveAgedFolders();
        QCOMPARE(m_log->unnumbered(), QStringList{agedLine()});
        QCOMPARE(listTree(m_tree->home()), QStringList());
    }

    void agedFolderThatIsALinkLeavesItsTarget() {
        runCommand("mkdir -p .Skylark kept; touch kept/x; ln -s ../kept .Skylark/app",
                   m_tree->home());
        PlainService().RemoveAgedFolders();
        QCOMPARE(listTree(m_tree->home()), (QStringList{".Skylark/", "kept/", "kept/x"}));
    }

    void agedFolderThatCannotBeRemovedIsNoFailure() {
        runCommand("mkdir -p .Skylark/app/bin; touch .Skylark/app/bin/x; chmod -R 755 .",
                   m_tree->home());
        const auto remove = [] {
            PlainService().RemoveAgedFolders();
            return 0;
        };
        runCommand("chmod 555 .Skylark .Skylark/app .Skylark/app/bin", m_tree->home());
        QCOMPARE(asOrdinaryUser(remove), 0);
        QVERIFY(QFileInfo::exists(m_tree->home(".Skylark/app/bin/x")));
        QCOMPARE(m_log->unnumbered(), QStringList());
        runCommand("chmod -R 755 .Skylark", m_tree->home());
    }

private:
    /// What the migration itself says, without what its file operations say.
    QStringList ownLines() const { return m_log->unnumbered().filter(" cloud-service("); }

    QString agedLine() const {
        return "[INFO] cloud-service(#): removing aged app folder " + m_tree->home(".Skylark/app");
    }

    std::unique_ptr<TreeFixture> m_tree;
    std::unique_ptr<LogCapture> m_log;
};

QTEST_GUILESS_MAIN(CloudServiceMigrationTest)
#include "cloud-service_migration_test.moc"
