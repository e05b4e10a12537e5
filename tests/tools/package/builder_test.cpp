#include "tests/support/child.h"
#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/tools/package/client-fixture.h"

#include <QtTest>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>

/// The program as an administrator calls it.
class BuilderTest : public QObject {
    Q_OBJECT

private:
    /// Runs the program; in the script it is $T, the client C and the tree R.
    static QByteArray tell(const ClientFixture& fixture, const QString& script) {
        return runCommand("T='" PACKAGE_PROGRAM "'; C='" + fixture.client() + "'; R='" +
                          fixture.root() + "'\n" + script);
    }
    static int status(const ClientFixture& fixture, const QString& call) {
        return tell(fixture, "(" + call + ") >/dev/null 2>&1 && echo 0 || echo $?")
            .trimmed()
            .toInt();
    }

private slots:
    void exitStatusTells_data() {
        QTest::addColumn<QString>("call");
        QTest::addColumn<int>("expected");
        QTest::newRow("built") << "$T build $C $R" << 0;
        QTest::newRow("sound") << "$T build $C $R; $T check $R" << 0;
        QTest::newRow("sound archive") << "$T build $C $R; $T check $R/package/skylark.tpx" << 0;
        QTest::newRow("newer") << "$T build --newer-than 6 $C $R" << 0;
        QTest::newRow("not newer") << "$T build --newer-than 7 $C $R" << 1;
        QTest::newRow("bad client") << "rm $C/INFO; $T build $C $R" << 1;
        QTest::newRow("no client") << "$T build $C/none $R" << 2;
        QTest::newRow("tree that is a file") << "rm -r $R; touch $R; $T build $C $R" << 1;
        QTest::newRow("place taken") << "mkdir -p $R/package/skylark.tpx.new; $T build $C $R" << 1;
        QTest::newRow("no package") << "$T check $R" << 1;
        QTest::newRow("archive cut short")
            << "$T build $C $R; truncate -s -9 $R/package/skylark.tpx; $T check $R" << 1;
        QTest::newRow("another INFO") << "$T build $C $R; echo >>$R/INFO; $T check $R" << 1;
        QTest::newRow("no words") << "$T" << 2;
        QTest::newRow("another word") << "$T pack $C $R" << 2;
        QTest::newRow("no tree") << "$T build $C" << 2;
        QTest::newRow("unknown option") << "$T build --fast $C $R" << 2;
        QTest::newRow("unknown format") << "$T build --format rar $C $R" << 2;
        QTest::newRow("level out of range") << "$T build --level 20 $C $R" << 2;
        QTest::newRow("number that is none") << "$T build --newer-than x $C $R" << 2;
    }
    void exitStatusTells() {
        QFETCH(QString, call);
        const ClientFixture fixture;
        QTEST(status(fixture, call), "expected");
    }

    void everyFormatAndLevelIsSound_data() {
        QTest::addColumn<QString>("options");
        for (const char* options :
             {"--level 1", "--level 19", "--format zip", "--format zip --level 0", "--format tar",
              "--format tar.zst --level 3"}) {
            QTest::newRow(options) << options;
        }
    }
    void everyFormatAndLevelIsSound() {
        QFETCH(QString, options);
        const ClientFixture fixture;
        QCOMPARE(status(fixture, "$T build " + options + " $C $R && $T check $R"), 0);
        QCOMPARE(fixture.names().mid(fixture.names().size() - 2),
                 (QStringList{"bin/cloud-tessel-ui", "INFO"}));
        QCOMPARE(readFile(fixture.root("INFO")),
                 runCommand("bsdtar -xOf '" + fixture.archive() + "' INFO"));
    }

    void sameClientGivesTheSameBytes() {
        const ClientFixture fixture;
        tell(fixture, "$T build $C $R");
        const QByteArray first = readFile(fixture.archive());
        // Another order of creation, other times, umask, locale and zone.
        tell(fixture, "cp -r --no-preserve=all $C $C.bak && rm -r $C && mkdir $C && cd $C.bak && "
                      "find . -mindepth 1 | tac | cpio -pdm --quiet $C && cd / && "
                      "chmod 755 $C/bin/cloud-tessel-ui $C/package/start-stop && "
                      "find $C -exec touch -h -d 2001-02-03 {} + && umask 077 && "
                      "LC_ALL=C TZ=Asia/Tokyo $T build $C $R");
        QVERIFY(readFile(fixture.archive()) == first);
    }

    void hardLinksArePackedAsCopiesAndSaidOnce() {
        const ClientFixture fixture;
        fixture.run("ln lib/module-a lib/b; ln lib/module-a lib/c");
        const QByteArray said = tell(fixture, "$T build $C $R 2>&1");
        QCOMPARE(said.count("hard link"), 1);
        QCOMPARE(status(fixture, "$T check $R"), 0);
        QCOMPARE(runCommand("bsdtar -xOf '" + fixture.archive() + "' lib/c"),
                 readFile(fixture.client("lib/c")));
    }

    void killedBuildLeavesTheOldPackage() {
        const ClientFixture fixture;
        tell(fixture, "$T build $C $R");
        const QByteArray package = readFile(fixture.archive());
        const QByteArray info = readFile(fixture.root("INFO"));
        fixture.run("sed -i s/=7/=8/ INFO; head -c 40M /dev/urandom >lib/large");
        // Killed while it writes: its file beside the package has begun to grow.
        tell(fixture, "$T build --level 19 $C $R >/dev/null 2>&1 & "
                      "while kill -0 $! && [ $(find $R/package -type f -size +0 | wc -l) -lt 2 ]; "
                      "do :; done 2>/dev/null; kill -9 $!; wait $! || [ $? = 137 ]");
        QVERIFY(readFile(fixture.archive()) == package);
        QCOMPARE(readFile(fixture.root("INFO")), info);
        QCOMPARE(status(fixture, "$T check $R"), 0);
        QCOMPARE(status(fixture, "$T build $C $R && $T check $R"), 0);
        QCOMPARE(listTree(fixture.root()),
                 (QStringList{"INFO", "package/", "package/skylark.tpx"}));
    }

    void fullDiskLeavesTheOldPackage() {
        const ClientFixture fixture;
        QDir().mkpath(fixture.root());
        const int outcome = inChild([&fixture] {
            if (unshare(CLONE_NEWNS) != 0 ||
                mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                mount("none", QFile::encodeName(fixture.root()).constData(), "tmpfs", 0,
                      "size=1m") != 0) {
                return 77;
            }
            tell(fixture, "$T build $C $R");
            const QByteArray package = readFile(fixture.archive());
            fixture.run("sed -i s/=7/=8/ INFO; head -c 4M /dev/urandom >lib/large");
            const bool isRefused = status(fixture, "$T build $C $R") == 1;
            return isRefused && readFile(fixture.archive()) == package &&
                           status(fixture, "$T check $R") == 0
                       ? 0
                       : 1;
        });
        if (outcome == 77) {
            QSKIP("this machine allows no private mounts");
        }
        QCOMPARE(outcome, 0);
    }

    void twoBuildersLeaveOneWholePackage() {
        const ClientFixture fixture;
        tell(fixture, "for i in 1 2 3 4; do $T build $C $R >/dev/null 2>&1 & done; wait");
        QCOMPARE(status(fixture, "$T check $R"), 0);
    }

    void builderKeepsOutOfAnothersTree() {
        const ClientFixture fixture;
        tell(fixture, "$T build $C $R");
        const QByteArray package = readFile(fixture.archive());
        fixture.run("sed -i s/=7/=8/ INFO");
        const QByteArray said = tell(fixture, "flock $R $T build $C $R 2>&1 || echo status $?");
        QVERIFY2(said.contains("R': it cannot be written: another build is writing there; ") &&
                     said.endsWith("status 1\n"),
                 said);
        QVERIFY(readFile(fixture.archive()) == package);
    }

    void progressIsForTerminals() {
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        if (terminal < 0) {
            QSKIP("this system has no terminals");
        }
        close(terminal);
        const ClientFixture fixture;
        fixture.run("head -c 30M /dev/urandom >lib/large");
        QCOMPARE(tell(fixture, "$T build $C $R 2>&1 >/dev/null"), QByteArray());
        const QByteArray seen =
            tell(fixture, "script -qec \"$T build $C $R >/dev/null\" /dev/null </dev/null");
        QVERIFY2(seen.contains("packing") && seen.contains(" MB, "), seen);
    }

    void summaryTellsWhatWasPacked() {
        const ClientFixture fixture;
        const QByteArray told = tell(fixture, "$T build $C $R");
        for (const char* word : {"entries", "bytes", "lib/module.so.7"}) {
            QVERIFY2(told.contains(word), told);
        }
        QVERIFY2(told.contains(runCommand("sha256sum <'" + fixture.archive() + "'").left(64)),
                 told);
    }
};

QTEST_GUILESS_MAIN(BuilderTest)
#include "builder_test.moc"
