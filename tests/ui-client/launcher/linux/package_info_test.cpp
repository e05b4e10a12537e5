#include "tests/support/home-fixture.h"
#include "tests/support/paths.h"
#include "ui-client/launcher/linux/package_info.h"

#include <QtTest>

class PackageInfoTest : public QObject {
    Q_OBJECT

private slots:
    void placesOfTheInstallationAreFixed() {
        const PackageInfo info;
        QCOMPARE(toText(info.GetImageFolder()), QString("/opt/Aldane/AldaneTessel/images"));
        QCOMPARE(toText(info.GetLogLevelPath()),
                 QString("/opt/Aldane/AldaneTessel/log/launcher.debug"));
        QCOMPARE(toText(info.GetPackagePath()),
                 QString("/opt/Aldane/AldaneTessel/package/skylark.tpx"));
        QCOMPARE(toText(info.GetConfigFolder()), QString("/opt/Aldane/AldaneTessel/conf"));
    }

    void logFolderLiesInTheHome() {
        const HomeFixture home;
        QCOMPARE(toText(PackageInfo().GetLogFolder()), home.path(".AldaneTessel"));
    }

    void instanceIsOneForTheProcess() {
        QCOMPARE(PackageInfo::GetInstance(), PackageInfo::GetInstance());
        QCOMPARE(toText(PackageInfo::GetInstance()->GetImageFolder()),
                 QString("/opt/Aldane/AldaneTessel/images"));
    }
};

QTEST_GUILESS_MAIN(PackageInfoTest)
#include "package_info_test.moc"
