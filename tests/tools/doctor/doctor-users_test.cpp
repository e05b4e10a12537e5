#include "tests/tools/doctor/doctor-fixture.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTest>

#include <unistd.h>

/// The program over homes whose things are not all their user's.
class DoctorUsersTest : public QObject, protected DoctorFixture {
    Q_OBJECT

private slots:
    void init() { make(); }

    void foreignThingIsFound_data();
    void foreignThingIsFound();
    void repairRefusesAForeignHome();
    void everyFaultInJsonHasItsRemedy();
    void allUsersAreThoseOfTheUserTableWithAFolder();
    void diskThatIsTooSmallForAnUpgradeIsFound_data();
    void diskThatIsTooSmallForAnUpgradeIsFound();
};

void DoctorUsersTest::foreignThingIsFound_data() {
    QTest::addColumn<QString>("place");
    QTest::newRow("folder") << ".AldaneTessel";
    QTest::newRow("copy") << ".AldaneTessel/AldaneTessel.app";
    QTest::newRow("log folder") << ".AldaneTessel/log";
}

void DoctorUsersTest::foreignThingIsFound() {
    QFETCH(QString, place);
    if (geteuid() != 0) {
        QSKIP("only root can give a folder away");
    }
    shell("chown 12345 home/" + place);
    const Answer answer = run({});
    QCOMPARE(answer.status, 1);
    const QString told = home(place) + " belongs to user 12345, not to the home's user 0";
    QVERIFY2(answer.out.contains(told), qPrintable(answer.out));
    QVERIFY(answer.out.contains("remedy: chown -R 0 " + home(place)));
}

void DoctorUsersTest::repairRefusesAForeignHome() {
    if (geteuid() != 0) {
        QSKIP("only root can give a folder away");
    }
    shell("cd home/.AldaneTessel; mv AldaneTessel.app AldaneTessel.app_tmp; chown 12345 ..");
    const QByteArray before = snapshot();
    const Answer answer = run({"--repair"}, "yes\n");
    QCOMPARE(answer.status, 2);
    QCOMPARE(answer.out, QString());
    QVERIFY(answer.err.contains("--repair is for the home's own user"));
    QCOMPARE(snapshot(), before);
}

void DoctorUsersTest::everyFaultInJsonHasItsRemedy() {
    shell("rm R/INFO home/.AldaneTessel/AldaneTessel.app/package/start-stop");
    const Answer answer = run({"--json"});
    QCOMPARE(answer.status, 1);
    const QJsonObject document = QJsonDocument::fromJson(answer.out.toUtf8()).object();
    QJsonArray all = document["installation"].toObject()["findings"].toArray();
    for (const QJsonValue& value :
         document["homes"].toArray().at(0).toObject()["findings"].toArray()) {
        all.append(value);
    }
    int faults = 0;
    for (const QJsonValue& value : all) {
        const QJsonObject finding = value.toObject();
        const bool isFault = finding["level"] == "fault";
        QVERIFY(!finding["check"].toString().isEmpty() && !finding["text"].toString().isEmpty());
        QCOMPARE(!finding["remedy"].toString().isEmpty(), isFault);
        faults += isFault ? 1 : 0;
    }
    QVERIFY(faults >= 2);
}

// A user table of the test's own, seen by the program alone: two users of one home, one without a
// folder of the launcher's.
void DoctorUsersTest::allUsersAreThoseOfTheUserTableWithAFolder() {
    if (geteuid() != 0) {
        QSKIP("only root can mount a user table");
    }
    shell(R"(mkdir other; for home in home other home; do
                 echo "user:x:0:0::$PWD/$home:/bin/sh" >>passwd; done)");
    QProcess process;
    process.setWorkingDirectory(m_folder->path());
    process.start("unshare", {"--mount", "sh", "-c",
                              "mount --bind passwd /etc/passwd && "
                              "exec \"$0\" --installation R --all-users --json",
                              DOCTOR_PROGRAM});
    QVERIFY(process.waitForFinished());
    const QJsonObject document = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
    const QJsonArray homes = document["homes"].toArray();
    QCOMPARE(homes.size(), 1);
    QCOMPARE(homes.at(0).toObject()["home"].toString(), m_folder->filePath("home"));
    QCOMPARE(process.exitCode(), 0);
}

void DoctorUsersTest::diskThatIsTooSmallForAnUpgradeIsFound_data() {
    QTest::addColumn<QString>("options");
    QTest::addColumn<bool>("isFound");
    QTest::newRow("blocks") << "size=1m" << true;
    QTest::newRow("inodes") << "size=9m,nr_inodes=2" << true;
    QTest::newRow("neither") << "size=9m" << false;
}

// A disk of the test's own in the home's place, seen by the program alone.
void DoctorUsersTest::diskThatIsTooSmallForAnUpgradeIsFound() {
    if (geteuid() != 0) {
        QSKIP("only root can mount a disk");
    }
    QFETCH(QString, options);
    QFETCH(bool, isFound);
    shell("cd client; head -c 2M /dev/zero >bin/large; "
          "bsdtar -cf ../R/package/skylark.tpx package bin INFO");
    QProcess process;
    process.setWorkingDirectory(m_folder->path());
    process.start("unshare", {"--mount", "sh", "-c",
                              "mount -t tmpfs -o " + options +
                                  " none home && "
                                  "exec \"$0\" --installation R --home home",
                              DOCTOR_PROGRAM});
    QVERIFY(process.waitForFinished());
    const QByteArray told = process.readAllStandardOutput();
    QVERIFY2(told.contains("unpacking the package takes 2.0 MiB"), told);
    QCOMPARE(told.contains("free space on the disk of the home folder"), isFound);
    QCOMPARE(told.contains("out of inodes"), options.contains("nr_inodes"));
}

QTEST_GUILESS_MAIN(DoctorUsersTest)
#include "doctor-users_test.moc"
