#include "libui/UIPathManager.h"
#include "tests/support/child.h"
#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/tree-fixture.h"
#include "tests/ui-client/launcher/plain-service.h"
#include "ui-client/launcher/cloud-service.h"

#include <QtTest>

#include <algorithm>
#include <cstring>
#include <type_traits>
#include <vector>

namespace {

QStringList fields(const Service::VersionInfo& version) {
    return {version.major_version.c_str(), version.minor_version.c_str(),
            version.build_version.c_str(), version.icon_overlay_version.c_str()};
}

const QStringList no_fields = {"", "", "", ""};

} // namespace

class CloudServiceVersionsTest : public QObject {
    Q_OBJECT

private slots:
    void freshServiceKnowsNothing() {
        const PlainService service;
        QCOMPARE(fields(service.source_version), no_fields);
        QCOMPARE(fields(service.target_version), no_fields);
        QCOMPARE(QString(service.per_user_install_path.c_str()), QString());
    }

    void setTimeoutStoresAndNothingElse() {
        PlainService service;
        service.SetTimeout(-123456789);
        QCOMPARE(service.timeout, -123456789);
        QCOMPARE(fields(service.source_version), no_fields);
    }

    void serviceIsNeverCopied() {
        QVERIFY(!std::is_copy_constructible_v<PlainService>);
        QVERIFY(!std::is_copy_assignable_v<PlainService>);
        QVERIFY(std::has_virtual_destructor_v<Service>);
        QVERIFY(std::is_abstract_v<Service>);
    }

    void installPathIsTheHomeFolder() {
        const TreeFixture tree;
        QCOMPARE(Service::GetUserInstallPath(), tree.home());
    }

    void fieldsKeepTheirOrder() {
        const PlainService service;
        const std::vector<const void*> fields = {&service.timeout, &service.per_user_install_path,
                                                 &service.target_version, &service.source_version};
        QVERIFY(std::is_sorted(fields.begin(), fields.end()));
        const Service::VersionInfo& version = service.target_version;
        const std::vector<const void*> texts = {&version.major_version, &version.minor_version,
                                                &version.build_version,
                                                &version.icon_overlay_version};
        QVERIFY(std::is_sorted(texts.begin(), texts.end()));
    }

    // --- both records ---

    void recordIsReadFromTheInfoFile_data() {
        QTest::addColumn<QByteArray>("info");
        QTest::addColumn<QStringList>("expected");
        const auto row = [](const char* title, const char* info, const QStringList& expected) {
            QTest::newRow(title) << QByteArray(info) << expected;
        };
        row("all four",
            "[Version]\nmajor_version=1\nminor_version=2\nbuild_version=345\n"
            "icon_overlay_version=6\n",
            {"1", "2", "345", "6"});
        row("another order, blanks and carriage returns",
            "[Version]\r\nicon_overlay_version = 6\r\nbuild_version = 345\r\n",
            {"", "", "345", "6"});
        row("build alone", "[Version]\nbuild_version=345\n", {"", "", "345", ""});
        row("quoted", "[Version]\nmajor_version=\"1 beta\"\n", {"1 beta", "", "", ""});
        row("present and empty", "[Version]\nbuild_version=\n", no_fields);
        row("other groups beside it",
            "[Other]\nbuild_version=1\n[Version]\nbuild_version=2\n[More]\nbuild_version=3\n",
            {"", "", "2", ""});
        row("without the group", "major_version=1\nbuild_version=345\n", no_fields);
        row("in another group", "[Release]\nbuild_version=345\n", no_fields);
        row("empty file", "", no_fields);
        row("malformed", "[Version\nbuild_version 345\n\x01\x02=\n]]", no_fields);
        row("malformed in part", "[Version]\nmajor_version=1\nno key\nbuild_version=5\n",
            {"1", "", "5", ""});
        row("letters beyond ASCII", "[Version]\nmajor_version=\\xfc\\x65e5\n",
            {QString::fromUtf8("ü日"), "", "", ""});
    }
    void recordIsReadFromTheInfoFile() {
        QFETCH(QByteArray, info);
        QFETCH(QStringList, expected);
        const TreeFixture tree;
        const LogCapture log;
        writeFile(tree.app("INFO"), info);
        writeFile(tree.root("INFO"), info);
        PlainService service;

        service.LoadTargetVersion();
        QCOMPARE(fields(service.target_version), expected);
        QCOMPARE(fields(service.source_version), no_fields);

        service.LoadSourceVersion();
        QCOMPARE(fields(service.source_version), expected);

        const QString record = "_version = (" + expected.join(", ") + ")";
        QCOMPARE(log.unnumbered(), (QStringList{"[INFO] cloud-service(#): target" + record,
                                                "[INFO] cloud-service(#): source" + record}));
    }

    void absentKeyLeavesItsField() {
        const TreeFixture tree;
        PlainService service;
        service.source_version.major_version = "old";
        service.target_version.build_version = "12";
        writeFile(tree.app("INFO"), "[Version]\nbuild_version=7\n");
        writeFile(tree.root("INFO"), "[Version]\nmajor_version=8\n");
        service.LoadSourceVersion();
        service.LoadTargetVersion();
        QCOMPARE(fields(service.source_version), (QStringList{"old", "", "7", ""}));
        QCOMPARE(fields(service.target_version), (QStringList{"8", "", "12", ""}));
    }

    void fileThatCannotBeReadReadsAsEmpty_data() {
        QTest::addColumn<QString>("make");
        QTest::addColumn<int>("warnings");
        QTest::newRow("folder") << "mkdir INFO" << 0;
        QTest::newRow("FIFO that nobody writes to") << "mkfifo INFO" << 2;
        QTest::newRow("link that leads nowhere") << "ln -s nowhere INFO" << 0;
        QTest::newRow("empty device") << "ln -s /dev/null INFO" << 2;
    }
    void fileThatCannotBeReadReadsAsEmpty() {
        QFETCH(QString, make);
        QFETCH(int, warnings);
        const TreeFixture tree;
        const LogCapture log;
        QDir().mkpath(tree.app());
        runCommand(make, tree.app());
        runCommand(make, tree.root(""));
        PlainService service;
        service.LoadSourceVersion();
        service.LoadTargetVersion();
        QCOMPARE(fields(service.source_version), no_fields);
        QCOMPARE(fields(service.target_version), no_fields);
        QCOMPARE(log.unnumbered().filter("INFO' is not a regular file").size(), warnings);
        QCOMPARE(log.unnumbered().filter("[INFO]"),
                 (QStringList{"[INFO] cloud-service(#): source_version = (, , , )",
                              "[INFO] cloud-service(#): target_version = (, , , )"}));
    }

    void forbiddenFileReadsAsEmpty() {
        const TreeFixture tree;
        writeFile(tree.app("INFO"), "[Version]\nbuild_version=7\n", 0000);
        runCommand("chmod 755 . .AldaneTessel .AldaneTessel/AldaneTessel.app", tree.home());
        const LogCapture log;
        const int result = asOrdinaryUser([] {
            PlainService service;
            service.LoadSourceVersion();
            return service.source_version.build_version.empty() ? 0 : 1;
        });
        QCOMPARE(result, 0);
        QCOMPARE(log.unnumbered(),
                 QStringList{"[INFO] cloud-service(#): source_version = (, , , )"});
    }

    void linkToAnInfoFileServes() {
        const TreeFixture tree;
        writeFile(tree.home("elsewhere"), "[Version]\nbuild_version=7\n");
        QDir().mkpath(tree.app());
        runCommand("ln -s ../../elsewhere INFO", tree.app());
        PlainService service;
        service.LoadSourceVersion();
        QCOMPARE(fields(service.source_version), (QStringList{"", "", "7", ""}));
    }

    // --- where the two differ ---

    void missingSourceIsToldAndLeavesTheRecord() {
        const TreeFixture tree;
        const LogCapture log;
        PlainService service;
        service.source_version.build_version = "7";
        service.LoadSourceVersion();
        QCOMPARE(fields(service.source_version), (QStringList{"", "", "7", ""}));
        QCOMPARE(log.unnumbered(), QStringList{"[INFO] cloud-service(#): source does not exist"});
    }

    void missingTargetIsNoError() {
        const TreeFixture tree;
        const LogCapture log;
        PlainService service;
        service.LoadTargetVersion();
        QCOMPARE(fields(service.target_version), no_fields);
        QCOMPARE(log.unnumbered(),
                 QStringList{"[INFO] cloud-service(#): target_version = (, , , )"});
    }

    void eachReadsItsOwnFolder() {
        const TreeFixture tree;
        UIPathManager::getInstance()->setPath("user_aldane_tessel_resource_path",
                                              tree.home("elsewhere"));
        writeFile(tree.home("elsewhere/INFO"), "[Version]\nbuild_version=1\n");
        writeFile(tree.app("INFO"), "[Version]\nbuild_version=2\n");
        writeFile(tree.root("INFO"), "[Version]\nbuild_version=3\n");
        PlainService service;
        service.LoadSourceVersion();
        service.LoadTargetVersion();
        QCOMPARE(QString(service.source_version.build_version.c_str()), QString("1"));
        QCOMPARE(QString(service.target_version.build_version.c_str()), QString("3"));
    }

    void recordsAreNotLoggedAboveTheirLevel() {
        const TreeFixture tree;
        const LogCapture log(5);
        PlainService service;
        service.LoadSourceVersion();
        service.LoadTargetVersion();
        QCOMPARE(log.lines(), QStringList());
    }

    // --- the order of the virtual operations ---

    void virtualOperationsKeepTheirSlots_data() {
        QTest::addColumn<int>("slot");
        QTest::addColumn<int>("actual");
        QTest::newRow("StopService") << 2 << slotOf(&Service::StopService);
        QTest::newRow("SetTimeout") << 3 << slotOf(&Service::SetTimeout);
        QTest::newRow("HandlePackageUpgrade") << 4 << slotOf(&Service::HandlePackageUpgrade);
        QTest::newRow("PostUpgrade") << 5 << slotOf(&Service::PostUpgrade);
        QTest::newRow("PreUpgrade") << 6 << slotOf(&Service::PreUpgrade);
        QTest::newRow("IsNeedUpgrade") << 7 << slotOf(&Service::IsNeedUpgrade);
        QTest::newRow("ExtractPackage") << 8 << slotOf(&Service::ExtractPackage);
        QTest::newRow("LoadSourceVersion") << 9 << slotOf(&Service::LoadSourceVersion);
        QTest::newRow("LoadTargetVersion") << 10 << slotOf(&Service::LoadTargetVersion);
        QTest::newRow("PrepareUserEnv") << 11 << slotOf(&Service::PrepareUserEnv);
        QTest::newRow("MigrateService") << 12 << slotOf(&Service::MigrateService);
    }
    void virtualOperationsKeepTheirSlots() {
        QFETCH(int, slot);
        QTEST(slot, "actual");
    }

private:
    /// A pointer to a virtual member holds the byte offset of its slot, plus one; the two
    /// destructors take the first two slots.
    template <typename Result, typename... Arguments>
    static int slotOf(Result (Service::*operation)(Arguments...)) {
        std::ptrdiff_t offset = 0;
        memcpy(&offset, &operation, sizeof offset);
        return static_cast<int>((offset - 1) / static_cast<std::ptrdiff_t>(sizeof(void*)));
    }
};

QTEST_GUILESS_MAIN(CloudServiceVersionsTest)
#include "cloud-service_versions_test.moc"
