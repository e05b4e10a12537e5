#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/tools/package/client-fixture.h"

#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

namespace {

const QString bad = QString::fromUtf8("'lib/caf\\xc3\\xa9'");

/// What breaks a rule in the client's folder, and what is said of it.
void addDamages() {
    QTest::addColumn<QString>("damage");
    QTest::addColumn<QStringList>("lines");
    const auto row = [](const char* name, const QString& damage, const QStringList& lines) {
        QTest::newRow(name) << damage << lines;
    };
    row("FIFO", "mkfifo lib/pipe",
        {"'lib/pipe': a FIFO has no place in a package; let the client make it"});
    row("name beyond ASCII", "touch lib/$'caf\\xc3\\xa9'",
        {bad + ": the name is not printable ASCII; rename it"});
    row("name of another character set", "touch lib/$'caf\\xe9'",
        {"'lib/caf\\xe9': the name is not printable ASCII; rename it"});
    row("name with a line feed", "touch $'lib/a\\nb'",
        {"'lib/a\\x0ab': the name is not printable ASCII; rename it"});
    row("name with an escape", "touch $'lib/a\\x1b[2Jb'",
        {"'lib/a\\x1b[2Jb': the name is not printable ASCII; rename it"});
    row("folder's name beyond ASCII", "mkdir lib/$'\\x7f'; touch lib/$'\\x7f'/x",
        {"'lib/\\x7f': the name is not printable ASCII; rename it",
         "'lib/\\x7f/x': the name is not printable ASCII; rename it"});
    row("set-user-id", "chmod 4755 lib/module-a",
        {"'lib/module-a': a set-id bit means nothing in a user's home; chmod a-s"});
    row("set-group-id", "chmod 2755 lib/module-a",
        {"'lib/module-a': a set-id bit means nothing in a user's home; chmod a-s"});
    row("folder with set-group-id", "chmod 2755 lib",
        {"'lib': a set-id bit means nothing in a user's home; chmod a-s"});
    for (const char* mode : {"0555", "0677", "0377"}) {
        row(qPrintable(QString("folder of mode ") + mode),
            QString("chmod %1 share/empty").arg(mode),
            {"'share/empty': the folder is not readable, writable and searchable for its owner; "
             "chmod u+rwx"});
    }
    for (const char* mode : {"0455", "0277"}) {
        row(qPrintable(QString("file of mode ") + mode), QString("chmod %1 lib/module-a").arg(mode),
            {"'lib/module-a': the file is not readable and writable for its owner; chmod u+rw"});
    }
    row("absolute link", "ln -s /etc/passwd lib/link",
        {"'lib/link': the link names an absolute path: /etc/passwd; "
         "let it name a relative one inside the client"});
    row("link that leads out", "ln -s ../../x lib/link",
        {"'lib/link': the link leads out of the client: ../../x; "
         "let it name something inside the client"});
    row("link to what holds the client", "ln -s .. lib/../link",
        {"'link': the link leads out of the client: ..; let it name something inside the client"});
    row("link that leads out and back in", "ln -s ../../client/lib lib/link",
        {"'lib/link': the link leads out of the client: ../../client/lib; "
         "let it name something inside the client"});
    row("link that leads out through another link", "ln -s .. share/up; ln -s share/up/../x link",
        {"'link': the link leads out of the client: share/up/../x; "
         "let it name something inside the client"});
    row("link to a name beyond ASCII", "ln -s $'caf\\xc3\\xa9' lib/link",
        {"'lib/link': what the link names is not printable ASCII: caf\\xc3\\xa9; "
         "rename what it names"});
    row("no INFO", "rm INFO",
        {"'INFO': it is missing; "
         "put a text file there: the line [Version], then build_version=N"});
    row("INFO is a folder", "rm INFO; mkdir INFO",
        {"'INFO': it is not a file; "
         "put a text file there: the line [Version], then build_version=N"});
    row("INFO is a link", "mv INFO lib/INFO; ln -s lib/INFO INFO",
        {"'INFO': it is not a file; "
         "put a text file there: the line [Version], then build_version=N"});
    row("INFO is huge", "head -c 1048577 /dev/zero >>INFO",
        {"'INFO': it is larger than 1 MiB and cannot be what its name says; "
         "put the right file there"});
    row("INFO without the group", "echo build_version=7 >INFO",
        {"'INFO': it has no keys in a group \"Version\"; "
         "put the line [Version] in front of the keys",
         "'INFO': its build_version is not a number of 1 to 2147483647: ''; "
         "set build_version=N in group \"Version\""});
    const QString noNumber = "'INFO': its build_version is not a number of 1 to 2147483647: '%1'; "
                             "set build_version=N in group \"Version\"";
    row("INFO without build", "printf '[Version]\\nmajor_version=4\\n' >INFO", {noNumber.arg("")});
    row("build in another group", "printf '[Version]\\na=1\\n[B]\\nbuild_version=7\\n' >INFO",
        {noNumber.arg("")});
    for (const char* build :
         {"0", "-1", "2147483648", "99999999999999999999", "7x", "x", "+7", "7.0", "0x7"}) {
        row(qPrintable(QString("build ") + build),
            QString("printf '[Version]\\nbuild_version=%1\\n' >INFO").arg(build),
            {noNumber.arg(build)});
    }
    row("build that reads as a list", "printf '[Version]\\nbuild_version=7,8\\n' >INFO",
        {noNumber.arg("")});
    const QString noClient = "put the client's executable there, not a link to it";
    row("no client", "rm bin/cloud-tessel-ui",
        {"'bin/cloud-tessel-ui': it is missing; " + noClient});
    row("client is a link", "mv bin/cloud-tessel-ui lib/ui; ln -s ../lib/ui bin/cloud-tessel-ui",
        {"'bin/cloud-tessel-ui': it is not a file; " + noClient});
    row("client's folder is a link", "mv bin sbin; ln -s sbin bin",
        {"'bin/cloud-tessel-ui': it is missing; " + noClient});
    row("client without its run bit", "chmod 0655 bin/cloud-tessel-ui",
        {"'bin/cloud-tessel-ui': its owner may not run it; chmod u+x"});
    const QString noScript = "put the script there that starts and stops the client";
    row("no start-stop", "rm package/start-stop",
        {"'package/start-stop': it is missing; " + noScript});
    row("start-stop is a folder", "rm package/start-stop; mkdir package/start-stop",
        {"'package/start-stop': it is not a file; " + noScript});
    row("start-stop without its run bit", "chmod 0655 package/start-stop",
        {"'package/start-stop': its owner may not run it; chmod u+x"});
    const QString noInterpreter = "'package/start-stop': it does not begin with \"#!\"; "
                                  "name its interpreter in the first line, such as #!/bin/sh";
    row("start-stop is empty", ": >package/start-stop", {noInterpreter});
    row("start-stop begins with a blank", "echo ' #!/bin/sh' >package/start-stop", {noInterpreter});
    row("start-stop with a carriage return", "printf '#!/bin/sh\\r\\n' >package/start-stop",
        {"'package/start-stop': it holds carriage returns; save it with Unix line ends"});
    row("start-stop with one in a late line",
        "seq 9999 >>package/start-stop; "
        "printf 'exit\\r\\n' >>package/start-stop",
        {"'package/start-stop': it holds carriage returns; save it with Unix line ends"});
    row("start-stop is huge", "head -c 1M /dev/zero >>package/start-stop",
        {"'package/start-stop': it is larger than 1 MiB and cannot be what its name says; "
         "put the right file there"});
    row("everything at once", "mkfifo lib/pipe; chmod 0555 lib; rm INFO; ln -s / root",
        {"'INFO': it is missing; put a text file there: the line [Version], then build_version=N",
         "'lib': the folder is not readable, writable and searchable for its owner; chmod u+rwx",
         "'lib/pipe': a FIFO has no place in a package; let the client make it",
         "'root': the link names an absolute path: /; "
         "let it name a relative one inside the client"});
}

} // namespace

class RulesTest : public QObject {
    Q_OBJECT

private slots:
    void soundClientHasNoFindings() {
        const ClientFixture fixture;
        QCOMPARE(linesOf(fixture.build()), QStringList());
        QCOMPARE(linesOf(fixture.checkTree()), QStringList());
    }

    void damagedClientIsRefusedAndNothingWritten_data() { addDamages(); }
    void damagedClientIsRefusedAndNothingWritten() {
        QFETCH(QString, damage);
        QFETCH(QStringList, lines);
        const ClientFixture fixture;
        QVERIFY(fixture.build().findings.empty());
        const QByteArray package = readFile(fixture.archive());
        const QStringList before = listTree(fixture.root());
        fixture.run(damage);

        const QStringList found = linesOf(fixture.build());

        QCOMPARE(found, lines);
        QCOMPARE(listTree(fixture.root()), before);
        QCOMPARE(readFile(fixture.archive()), package);
    }

    void damagedPackageIsRefused_data() { addDamages(); }
    void damagedPackageIsRefused() {
        QFETCH(QString, damage);
        QFETCH(QStringList, lines);
        const ClientFixture fixture;
        fixture.run(damage);
        fixture.run("tar --no-recursion -cf $P \"${others[@]}\" \"${last[@]}\"");

        const QStringList found = linesOf(fixture.checkPackage());

        QCOMPARE(found, lines);
    }

    void nameThatLeavesNoRoomForAHomeFolderIsRefused() {
        const ClientFixture fixture;
        const QString part(250, 'd');
        QString name = "lib";
        while (name.size() + part.size() < 3072) {
            name += '/' + part;
        }
        const QString longest = name + '/' + QString(3071 - name.size() - 1, 'x');
        fixture.run("mkdir -p " + name + "; touch " + longest);
        QCOMPARE(linesOf(fixture.build()), QStringList());
        QVERIFY(fixture.names().contains(longest));
        QCOMPARE(linesOf(fixture.checkTree()), QStringList());

        fixture.run("touch " + longest + "x");

        QCOMPARE(linesOf(fixture.build()),
                 QStringList("'" + longest +
                             "x': the name is too long: at most 255 bytes between "
                             "slashes and 3071 in all leave room for a home "
                             "folder; shorten it"));
    }
};

QTEST_GUILESS_MAIN(RulesTest)
#include "rules_test.moc"
