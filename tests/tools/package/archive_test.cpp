#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/tools/package/client-fixture.h"

#include <QtTest>

/// What no folder holds and other people's archive tools pack all the same.
class ArchiveTest : public QObject {
    Q_OBJECT

private:
    static QByteArray contentOf(const ClientFixture& fixture) {
        return runCommand("bsdtar -cf - @'" + fixture.archive() + "' | sha256sum");
    }

private slots:
    void packageOfAnotherToolIsSound_data() {
        QTest::addColumn<QString>("pack");
        const QString all = " \"${others[@]}\" \"${last[@]}\"";
        QTest::newRow("tar") << "tar --no-recursion -cf $P" + all;
        QTest::newRow("gzip") << "tar --no-recursion -czf $P" + all;
        QTest::newRow("zip") << "zip -qy - -@ < <(printf '%s\\n'" + all + ") >$P";
    }
    void packageOfAnotherToolIsSound() {
        QFETCH(QString, pack);
        const ClientFixture fixture;
        fixture.run(pack);
        QCOMPARE(linesOf(fixture.checkPackage()), QStringList());
    }

    void packageThatBreaksARuleIsRefused_data() {
        QTest::addColumn<QString>("pack");
        QTest::addColumn<QStringList>("lines");
        const auto row = [](const char* name, const QString& pack, const QStringList& lines) {
            QTest::newRow(name) << pack << lines;
        };
        const QString tar = "tar --no-recursion -P --hard-dereference -cf $P ";
        const QString rest = " \"${others[@]}\" \"${last[@]}\"";
        row("name above the client", "touch ../evil; " + tar + "../evil" + rest,
            {"'../evil': the name holds \"..\"; name it from the client's folder on"});
        row("absolute name", tar + "/etc/hostname" + rest,
            {"'/etc/hostname': the name is absolute; name it from the client's folder on"});
        row("name with a dot", "touch lib/z; others+=(./lib/z); " + tar + rest,
            {"'./lib/z': the name holds an empty part or \".\"; "
             "pack the names as they stand below the client's folder"});
        row("one name twice", "others+=(lib/module-a); " + tar + rest,
            {"'lib/module-a': an entry before it has the same name: 'lib/module-a'; pack it once"});
        row("hard link", "ln lib/module-a lib/z; others+=(lib/z); tar --no-recursion -cf $P" + rest,
            {"'lib/z': it is a hard link, which the launcher does not unpack; "
             "pack a copy, as the builder does"});
        row("device",
            "mknod lib/null c 1 3 2>/dev/null || exit 0; others+=(lib/null); " + tar + rest,
            {"'lib/null': a device cannot be unpacked by an ordinary user; leave it out"});
        row("below a link", "ln -s lib alias; others+=(alias alias/module-a); " + tar + rest,
            {"'alias/module-a': it lies below 'alias', which is no folder; "
             "make that a folder, or move this one"});
        row("file before its folder",
            tar + "lib/module-a bin package share share/empty share/help"
                  " lib lib/module.so.7 package/start-stop"
                  " \"${last[@]}\"",
            {"'lib/module-a': it comes before its folder; pack folders before what they hold"});
    }
    void packageThatBreaksARuleIsRefused() {
        QFETCH(QString, pack);
        QFETCH(QStringList, lines);
        const ClientFixture fixture;
        fixture.run(pack);
        if (!QFileInfo::exists(fixture.archive())) {
            QSKIP("this user makes no devices");
        }
        QCOMPARE(linesOf(fixture.checkPackage()).join('\n'), lines.join('\n'));
    }

    void orderIsJudged_data() {
        QTest::addColumn<QString>("end");
        QTest::addColumn<QString>("name");
        QTest::newRow("INFO first") << "INFO \"${others[@]}\" bin/cloud-tessel-ui"
                                    << "INFO";
        QTest::newRow("executable last") << "\"${others[@]}\" INFO bin/cloud-tessel-ui"
                                         << "INFO";
        QTest::newRow("executable amid the others")
            << "bin bin/cloud-tessel-ui \"${others[@]:1}\" INFO"
            << "bin/cloud-tessel-ui";
    }
    void orderIsJudged() {
        QFETCH(QString, end);
        QFETCH(QString, name);
        const ClientFixture fixture;
        fixture.run("tar --no-recursion -cf $P " + end);
        const QStringList lines = linesOf(fixture.checkPackage());
        QVERIFY2(!lines.filter(QRegularExpression("^'" + name + "': .*(last|end)")).isEmpty(),
                 qPrintable(lines.join('\n')));
    }

    void infoBesideThePackageMustBeTheOneInside() {
        const ClientFixture fixture;
        QCOMPARE(linesOf(fixture.build()), QStringList());
        writeFile(fixture.root("INFO"), readFile(fixture.root("INFO")) + '\n');
        QCOMPARE(linesOf(fixture.checkPackage()), QStringList());
        QCOMPARE(linesOf(fixture.checkTree()),
                 QStringList("'" + fixture.root("INFO") +
                             "': it differs from the INFO in the package; "
                             "build the package again, which writes both"));
    }

    // Some bits of a frame's header, as that of the window's size, change nothing that is unpacked.
    void flippedBitThatMattersIsNoticed() {
        const ClientFixture fixture;
        QCOMPARE(linesOf(fixture.build()), QStringList());
        const QByteArray sound = readFile(fixture.archive());
        const QByteArray content = contentOf(fixture);
        int harmless = 0;
        for (int i = 0; i < 60; ++i) {
            QByteArray damaged = sound;
            const int at = int(qint64(damaged.size()) * i / 60);
            damaged[at] = char(damaged[at] ^ (1 << (i % 8)));
            writeFile(fixture.archive(), damaged);
            if (fixture.checkPackage().findings.empty()) {
                QCOMPARE(contentOf(fixture), content);
                ++harmless;
            }
        }
        QVERIFY(harmless < 5);
        writeFile(fixture.archive(), sound);
        QCOMPARE(linesOf(fixture.checkPackage()), QStringList());
    }
};

QTEST_GUILESS_MAIN(ArchiveTest)
#include "archive_test.moc"
