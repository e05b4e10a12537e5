#include "tests/support/command.h"
#include "tests/tools/package/client-fixture.h"
#include "tools/package/package-reader.h"
#include "tools/package/tree-compare.h"

#include <QtTest>

/// What would be said of an extractor that unpacks something else than the package tells.
class TreeCompareTest : public QObject {
    Q_OBJECT

private slots:
    void differenceIsFound_data() {
        QTest::addColumn<QString>("damage");
        QTest::addColumn<QString>("line");
        const auto row = [](const char* name, const QString& damage, const QString& line) {
            QTest::newRow(name) << damage << line;
        };
        const QString again = "; build the package again with tessel-package";
        row("none", "true", QString());
        row("other times", "touch -d 2001-02-03 lib/module-a", QString());
        row("changed content", "printf n | dd of=lib/module.so.7 bs=1 seek=77777 conv=notrunc",
            "'lib/module.so.7': the launcher unpacks other content" + again);
        row("shorter content", "truncate -s -1 lib/module.so.7",
            "'lib/module.so.7': the launcher unpacks other content" + again);
        row("other link", "ln -sfn module-a lib/module.so",
            "'lib/module.so': the launcher unpacks a link to 'module-a'" + again);
        row("link made a file", "rm lib/module.so; cp lib/module.so.7 lib/module.so",
            "'lib/module.so': the launcher unpacks another kind of entry" + again);
        row("run bit lost", "chmod a-x bin/cloud-tessel-ui",
            "'bin/cloud-tessel-ui': the launcher unpacks a file without its run bit" + again);
        row("run bit won", "chmod u+x lib/module-a",
            "'lib/module-a': the launcher unpacks a file with a run bit" + again);
        row("missing file", "rm lib/module-a",
            "'lib/module-a': the launcher unpacks nothing" + again);
        row("missing folder", "rmdir share/empty",
            "'share/empty': the launcher unpacks nothing" + again);
        row("more than told", "touch share/empty/more",
            "'share/empty/more': the launcher unpacks what was not told" + again);
    }
    void differenceIsFound() {
        QFETCH(QString, damage);
        QFETCH(QString, line);
        const ClientFixture fixture;
        QCOMPARE(linesOf(fixture.build()), QStringList());
        fixture.run("mkdir ../unpacked; bsdtar -xpf $P -C ../unpacked");
        runCommand("(" + damage + ") 2>/dev/null", fixture.path("unpacked"));

        package::Outcome outcome;
        outcome.findings =
            compareTree(package::readPackage(fixture.archive().toStdString()).entries,
                        fixture.path("unpacked").toStdString());

        QCOMPARE(linesOf(outcome).join('\n'), line);
    }
};

QTEST_GUILESS_MAIN(TreeCompareTest)
#include "tree-compare_test.moc"
