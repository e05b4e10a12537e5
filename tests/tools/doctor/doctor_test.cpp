#include "tests/support/files.h"
#include "tests/tools/doctor/doctor-fixture.h"
#include "tools/doctor/known-errors.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <sys/file.h>
#include <unistd.h>

/// The program over real homes. Each test starts from a healthy home and spoils one thing.
class DoctorTest : public QObject, protected DoctorFixture {
    Q_OBJECT

private slots:
    void init() { make(); }

    void healthyHomeAnswersZeroAndChangesNothing();
    void faultIsFound_data();
    void faultIsFound();
    void nextStartIsTold_data();
    void nextStartIsTold();
    void lowerPackagedBuildIsNamed();
    void installationThatIsClosedToTheUserIsNamed_data();
    void installationThatIsClosedToTheUserIsNamed();
    void runningLauncherIsSeen();
    void liveProcessThatIsNoClientIsNamed();
    void errorsOfAWholeCopyAreFactsAlone();
    void controlCharactersDoNotReachTheTerminal();
    void unusableArgumentsAnswerTwo_data();
    void unusableArgumentsAnswerTwo();
    void helpAndErrorsGoToStandardOutput();

    void repairWithoutAYesChangesNothing_data();
    void repairWithoutAYesChangesNothing();
    void repairGivesACompleteBackupItsNameBack();
    void repairRemovesWhatAVerifiedCopySupersedes();
    void repairKeepsABackupThatMayStillBeWanted_data();
    void repairKeepsABackupThatMayStillBeWanted();
    void repairIsRefusedWhileALauncherRuns();
};

void DoctorTest::healthyHomeAnswersZeroAndChangesNothing() {
    const QByteArray before = snapshot();
    const Answer answer = run({});
    QCOMPARE(answer.err, QString());
    QVERIFY2(answer.out.endsWith("\nhealthy\n"), qPrintable(answer.out));
    QVERIFY(!answer.out.contains("FAULT"));
    QCOMPARE(answer.status, 0);
    const Answer json = run({"--json"});
    QCOMPARE(json.status, 0);
    QVERIFY(QJsonDocument::fromJson(json.out.toUtf8()).object()["healthy"].toBool());
    QCOMPARE(snapshot(), before);
}

void DoctorTest::faultIsFound_data() {
    QTest::addColumn<QString>("spoil");
    QTest::addColumn<QString>("check");
    QTest::addColumn<QString>("text");
    const auto row = [](const char* name, const char* spoil, const char* check, const char* text) {
        QTest::newRow(name) << QString(spoil) << QString(check) << QString(text);
    };
    row("launcher missing", "rm R/bin/launcher", "installation", "bin/launcher is missing");
    row("plug-in missing", "rm R/lib/plugins/platforms/*", "installation", "libqxcb.so is missing");
    row("INFO missing", "rm R/INFO", "package", "INFO is missing");
    row("INFO differs", "echo x=1 >>R/INFO", "package", "INFO differs");
    row("INFO closed", "chmod 600 R/INFO", "package", "INFO is not readable for all");
    row("no build", "printf '[Version]\\n' >R/INFO", "versions", "no whole number");
    row("package missing", "rm R/package/skylark.tpx", "package", "missing");
    row("package closed", "chmod 600 R/package/skylark.tpx", "package", "not readable for all");
    row("package cut short", "truncate -s -20 R/package/skylark.tpx", "package", "every install");
    row("package is a FIFO", "rm R/package/skylark.tpx; mkfifo R/package/skylark.tpx", "package",
        "no regular file");
    row("hard link in the package",
        "cd client; ln INFO twin; bsdtar -cf ../R/package/skylark.tpx bin package INFO twin",
        "package", "hard link");
    row("package without a script", "cd client; bsdtar -cf ../R/package/skylark.tpx bin INFO",
        "package", "'package/start-stop': it is missing");
    row("package with INFO first",
        "cd client; bsdtar -cf ../R/package/skylark.tpx INFO package bin", "package", "'INFO': ");
    row("package with many broken rules",
        "cd client; mkfifo {1..7}; bsdtar -cf ../R/package/skylark.tpx ? package bin INFO",
        "package", "2 more broken rules");
    row("malformed switch", "echo nonsense >R/log/launcher.debug", "verbosity", "malformed");
    row("switch without a number", "echo a=b >R/log/launcher.debug", "verbosity", "silences");
    row("pid of nobody", "echo pid=99999999 >home/.AldaneTessel/ui.pid", "client", "does not live");
    row("pid 0", "echo pid=0 >home/.AldaneTessel/ui.pid", "client", "names no process");
    row("malformed pid file",
        "echo pid >home/.AldaneTessel/ui.pid; echo 'x y' "
        ">>home/.AldaneTessel/ui.pid",
        "client", "cannot be read");
    row("backup left", "cp -a client home/.AldaneTessel/AldaneTessel.app_tmp3", "copies",
        "left behind");
    row("backup is a file", "touch home/.AldaneTessel/AldaneTessel.app_tmp", "copies",
        "takes a backup's name");
    row("all backup names taken",
        "cd home/.AldaneTessel; mkdir AldaneTessel.app_tmp AldaneTessel.app_tmp{1..9}", "copies",
        "all ten");
    row("copy without its script", "rm home/.AldaneTessel/AldaneTessel.app/package/start-stop",
        "copies", "package/start-stop");
    row("copy's run bit", "chmod -x home/.AldaneTessel/AldaneTessel.app/bin/cloud-tessel-ui",
        "copies", "run bit of bin/cloud-tessel-ui");
    row("copy's shorter file", "echo >home/.AldaneTessel/AldaneTessel.app/bin/cloud-tessel-ui",
        "copies", "entries of the package");
    row("folder without rwx", "chmod 555 home/.AldaneTessel/AldaneTessel.app/bin", "copies",
        "neither list, empty nor remove");
    row("folder is a link", "cd home; mv .AldaneTessel x; ln -s x .AldaneTessel", "path",
        "is a link");
    row("folder is closed", "chmod 500 home/.AldaneTessel/log", "path", "mode 0500");
    row("log is a folder", "mkdir home/.AldaneTessel/log/launcher.log", "path", "wrong kind");
}

void DoctorTest::faultIsFound() {
    QFETCH(QString, spoil);
    QFETCH(QString, check);
    QFETCH(QString, text);
    shell(spoil);
    const QByteArray before = snapshot();
    const Answer answer = run({"--json"});
    QCOMPARE(answer.status, 1);
    QCOMPARE(answer.err, QString());
    const QJsonObject document = QJsonDocument::fromJson(answer.out.toUtf8()).object();
    QVERIFY(!document["healthy"].toBool());
    const QJsonObject first = document["homes"].toArray().at(0).toObject();
    bool isFound = false;
    for (const QJsonArray& list :
         {document["installation"].toObject()["findings"].toArray(), first["findings"].toArray()}) {
        for (const QJsonValue& value : list) {
            const QJsonObject finding = value.toObject();
            isFound = isFound || (finding["level"] == "fault" && finding["check"] == check &&
                                  finding["text"].toString().contains(text) &&
                                  !finding["remedy"].toString().isEmpty());
        }
    }
    QVERIFY2(isFound, qPrintable(answer.out));
    QCOMPARE(snapshot(), before);
}

void DoctorTest::nextStartIsTold_data() {
    QTest::addColumn<QString>("arrange");
    QTest::addColumn<QString>("told");
    QTest::newRow("equal") << "true"
                           << "start";
    QTest::newRow("older copy") << "sed -i s/=5/=4/ home/.AldaneTessel/AldaneTessel.app/INFO"
                                << "upgrade";
    QTest::newRow("newer copy") << "sed -i s/=5/=6/ home/.AldaneTessel/AldaneTessel.app/INFO"
                                << "start";
    QTest::newRow("newer copy without its executable")
        << "cd home/.AldaneTessel/AldaneTessel.app; sed -i s/=5/=6/ INFO; rm bin/cloud-tessel-ui"
        << "upgrade";
    QTest::newRow("empty home") << "rm -r home/.AldaneTessel"
                                << "install";
}

void DoctorTest::nextStartIsTold() {
    QFETCH(QString, arrange);
    QFETCH(QString, told);
    shell(arrange);
    const QJsonObject document = QJsonDocument::fromJson(run({"--json"}).out.toUtf8()).object();
    const QJsonObject first = document["homes"].toArray().at(0).toObject();
    QCOMPARE(first["next_start"].toString(), told);
    QCOMPARE(first["home"].toString(), m_folder->filePath("home"));
    QVERIFY(first["healthy"].toBool());
}

void DoctorTest::lowerPackagedBuildIsNamed() {
    shell("sed -i s/=5/=6/ home/.AldaneTessel/AldaneTessel.app/INFO");
    const Answer answer = run({});
    QVERIFY2(answer.out.contains("the packaged build is below the installed one"),
             qPrintable(answer.out));
    QCOMPARE(answer.status, 0);
}

void DoctorTest::installationThatIsClosedToTheUserIsNamed_data() {
    QTest::addColumn<QString>("mode");
    QTest::addColumn<QString>("place");
    QTest::newRow("tree") << "750"
                          << "R";
    QTest::newRow("folder of the programs") << "700"
                                            << "R/bin";
    QTest::newRow("launcher") << "700"
                              << "R/bin/launcher";
    QTest::newRow("folder of the package") << "700"
                                           << "R/package";
    QTest::newRow("plug-ins that cannot be listed") << "711"
                                                    << "R/lib/plugins/platforms";
    QTest::newRow("plug-in") << "600"
                             << "R/lib/plugins/platforms/libqxcb.so";
    QTest::newRow("folder above") << "700"
                                  << ".";
}

void DoctorTest::installationThatIsClosedToTheUserIsNamed() {
    if (geteuid() != 0) {
        QSKIP("only root can give a home to another user");
    }
    QFETCH(QString, mode);
    QFETCH(QString, place);
    shell("chmod 755 . R/bin/launcher; chown -R 65534:65534 home");
    QCOMPARE(run({}).status, 0);
    shell("chmod " + mode + ' ' + place);
    const Answer answer = run({});
    const QString path = QFileInfo(m_folder->filePath(place)).canonicalFilePath();
    QVERIFY2(answer.out.contains("FAULT  installation: " + path + " is closed to this user"),
             qPrintable(answer.out));
    QCOMPARE(answer.out.count("is closed to this user"), 1);
    QCOMPARE(answer.status, 1);
}

void DoctorTest::runningLauncherIsSeen() {
    const QString path = home(QString(".AldaneTessel/launcher-%1.lock").arg(getuid()));
    writeFile(path, "", 0600);
    QFile lock(path);
    QVERIFY(lock.open(QIODevice::ReadWrite));
    QVERIFY(run({}).out.contains("launcher: none runs\n"));
    QCOMPARE(flock(lock.handle(), LOCK_EX | LOCK_NB), 0);
    const Answer answer = run({});
    QVERIFY2(answer.out.contains(QString("launcher: runs as process %1:").arg(getpid())),
             qPrintable(answer.out));
    QCOMPARE(answer.status, 0);
}

void DoctorTest::liveProcessThatIsNoClientIsNamed() {
    writeFile(home(".AldaneTessel/ui.pid"), QString("pid=%1\n").arg(getpid()).toUtf8());
    const Answer answer = run({});
    QCOMPARE(answer.status, 1);
    QVERIFY2(answer.out.contains("not the user's client") && answer.out.contains("doctor_test"),
             qPrintable(answer.out));
}

void DoctorTest::errorsOfAWholeCopyAreFactsAlone() {
    writeFile(home(".AldaneTessel/log/launcher.log_0"),
              "Nov 21 01:02:03 [ERROR] launcher(100): Failed to upgrade package\n");
    writeFile(home(".AldaneTessel/log/launcher.log"),
              "Nov 21 01:02:04 [ERROR] extractor(213): archive_entry_pathname failed"
              "Nov 21 01:02:04 [ERROR] cloud-service(1): Failed to extract package, rollback to "
              "old installation\n");
    Answer answer = run({});
    QCOMPARE(answer.status, 0);
    QVERIFY(answer.out.contains("overcome since"));
    shell("rm home/.AldaneTessel/AldaneTessel.app/INFO");
    answer = run({});
    QCOMPARE(answer.status, 1);
    QVERIFY2(answer.out.contains("remedy: a package with ASCII names"), qPrintable(answer.out));
    QVERIFY(answer.out.contains("remedy: see that line; the user's old copy is back"));
    QVERIFY(answer.out.contains("remedy: as they say"));
    // In the order of the log: what caused it stands above what followed.
    QVERIFY(answer.out.indexOf("archive_entry_pathname") <
            answer.out.indexOf("rollback to old installation"));
    QVERIFY(answer.out.indexOf("launcher(100)") < answer.out.indexOf("archive_entry_pathname"));
}

void DoctorTest::controlCharactersDoNotReachTheTerminal() {
    writeFile(home(".AldaneTessel/log/launcher.log"), "[ERROR] \x1b[31mred\n");
    const QString out = run({}).out;
    QVERIFY(!out.contains('\x1b'));
    QVERIFY(out.contains("\\x1b[31mred"));
}

void DoctorTest::unusableArgumentsAnswerTwo_data() {
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("unknown option") << QStringList{"--nonsense"};
    QTest::newRow("a path") << QStringList{"path"};
    QTest::newRow("two kinds of homes") << QStringList{"--all-users"};
    QTest::newRow("repair in JSON") << QStringList{"--repair", "--json"};
    QTest::newRow("no such home") << QStringList{"--home", "/dev/null/none"};
    QTest::newRow("no such installation") << QStringList{"--installation", "/dev/null/none"};
    QTest::newRow("empty home") << QStringList{"--home", ""};
}

void DoctorTest::unusableArgumentsAnswerTwo() {
    QFETCH(QStringList, arguments);
    const Answer answer = run(arguments);
    QCOMPARE(answer.status, 2);
    QCOMPARE(answer.out, QString());
    QVERIFY(answer.err.startsWith("tessel-doctor: "));
}

void DoctorTest::helpAndErrorsGoToStandardOutput() {
    const Answer help = run({"--help"});
    QCOMPARE(help.status, 0);
    QVERIFY(help.out.contains("Exit status:"));
    const Answer errors = run({"--errors"});
    QCOMPARE(errors.status, 0);
    QCOMPARE(errors.out.count('\n'), int(doctor::knownErrors().size()) + 2);
}

void DoctorTest::repairWithoutAYesChangesNothing_data() {
    QTest::addColumn<QByteArray>("input");
    QTest::newRow("no") << QByteArray("no\n");
    QTest::newRow("y") << QByteArray("y\n");
    QTest::newRow("closed input") << QByteArray();
}

void DoctorTest::repairWithoutAYesChangesNothing() {
    QFETCH(QByteArray, input);
    shell("cd home/.AldaneTessel; mv AldaneTessel.app AldaneTessel.app_tmp");
    const QByteArray before = snapshot();
    const Answer answer = run({"--repair"}, input);
    QCOMPARE(answer.status, 1);
    QVERIFY(answer.out.contains("The repair would:\n  move "));
    QVERIFY(answer.out.contains("Nothing was changed."));
    QCOMPARE(snapshot(), before);
}

void DoctorTest::repairGivesACompleteBackupItsNameBack() {
    shell(R"(cd home/.AldaneTessel; mv AldaneTessel.app AldaneTessel.app_tmp1
             mkdir AldaneTessel.app_tmp AldaneTessel.app; touch AldaneTessel.app/partial)");
    run({"--repair"}, "yes\n");
    QVERIFY(QFile::exists(app("INFO")));
    QVERIFY(!QFile::exists(home(".AldaneTessel/AldaneTessel.app_tmp1")));
    QVERIFY(QFile::exists(home(".AldaneTessel/AldaneTessel.app_tmp2/partial")));
    QVERIFY(QFile::exists(home(".AldaneTessel/AldaneTessel.app_tmp")));
}

void DoctorTest::repairRemovesWhatAVerifiedCopySupersedes() {
    shell(R"(cd home/.AldaneTessel; cp -a AldaneTessel.app AldaneTessel.app_tmp
             mkdir AldaneTessel.app_tmp7)");
    const QStringList copy = listTree(app(QString()));
    const Answer answer = run({"--repair"}, "yes\n");
    QCOMPARE(answer.status, 0);
    QVERIFY(!QFile::exists(home(".AldaneTessel/AldaneTessel.app_tmp")));
    QVERIFY(!QFile::exists(home(".AldaneTessel/AldaneTessel.app_tmp7")));
    QCOMPARE(listTree(app(QString())), copy);
    QVERIFY(run({"--repair"}).out.contains("Nothing to repair here."));
}

void DoctorTest::repairKeepsABackupThatMayStillBeWanted_data() {
    QTest::addColumn<QString>("arrange");
    QTest::newRow("newer backup") << "sed -i s/=5/=6/ home/.AldaneTessel/AldaneTessel.app_tmp/INFO";
    QTest::newRow("damaged package") << "truncate -s -20 R/package/skylark.tpx";
    QTest::newRow("copy of another build")
        << "sed -i s/=5/=6/ home/.AldaneTessel/AldaneTessel.app/INFO";
}

void DoctorTest::repairKeepsABackupThatMayStillBeWanted() {
    QFETCH(QString, arrange);
    shell("cd home/.AldaneTessel; cp -a AldaneTessel.app AldaneTessel.app_tmp");
    shell(arrange);
    const QByteArray before = snapshot();
    const Answer answer = run({"--repair"}, "yes\n");
    QCOMPARE(answer.status, 1);
    QVERIFY(answer.out.contains("Nothing to repair here."));
    QCOMPARE(snapshot(), before);
}

void DoctorTest::repairIsRefusedWhileALauncherRuns() {
    const QString path = home(QString(".AldaneTessel/launcher-%1.lock").arg(getuid()));
    writeFile(path, "", 0600);
    shell("cd home/.AldaneTessel; mv AldaneTessel.app AldaneTessel.app_tmp");
    QFile lock(path);
    QVERIFY(lock.open(QIODevice::ReadWrite));
    QCOMPARE(flock(lock.handle(), LOCK_EX | LOCK_NB), 0);
    const QByteArray before = snapshot();
    const Answer answer = run({"--repair"}, "yes\n");
    QCOMPARE(answer.status, 1);
    QVERIFY(answer.out.contains("Refused: a launcher runs."));
    QCOMPARE(snapshot(), before);
}

QTEST_GUILESS_MAIN(DoctorTest)
#include "doctor_test.moc"
