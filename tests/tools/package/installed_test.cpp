#include "tests/tools/package/client-fixture.h"

#include <QFile>
#include <QFileInfo>
#include <QTest>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

/// What concerns the tree that a package is installed in, and what no archive brings.
class InstalledTest : public QObject {
    Q_OBJECT

private slots:
    void installedPackageThatIsClosedToUsersIsRefused() {
        const ClientFixture fixture;
        QCOMPARE(linesOf(fixture.build()), QStringList());
        fixture.run("chmod 640 $P; chmod 600 ../R/INFO; chmod 750 ../R/package");
        const QString line = "'%1': not every user may read it; chmod a+r%2";
        QStringList lines{line.arg(fixture.root("INFO"), ""),
                          line.arg(fixture.root("package"), "x"), line.arg(fixture.archive(), "")};
        QCOMPARE(linesOf(fixture.checkTree()), lines);
        QCOMPARE(linesOf(fixture.checkPackage()), QStringList());
    }

    void socketInTheClientIsRefused() {
        const ClientFixture fixture;
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        qstrncpy(address.sun_path, QFile::encodeName(fixture.client("lib/s")).constData(),
                 sizeof address.sun_path);
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        QCOMPARE(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        const QStringList found = linesOf(fixture.build());
        close(fd);
        QCOMPARE(found, QStringList("'lib/s': a socket has no place in a package; "
                                    "let the client make it"));
        QVERIFY(!QFileInfo::exists(fixture.archive()));
    }

    void missingPackageIsCalledMissing() {
        const ClientFixture fixture;
        QCOMPARE(linesOf(fixture.checkPackage()),
                 QStringList("'" + fixture.archive() +
                             "': it cannot be read: No such file or directory; build the package "
                             "again from its client"));
    }

    void buildThatIsNotRaisedIsNoted_data() {
        QTest::addColumn<QString>("change");
        QTest::addColumn<int>("notes");
        QTest::newRow("same client") << "true" << 0;
        QTest::newRow("other client, same build") << "echo x >news" << 1;
        QTest::newRow("other client, lower build") << "echo x >news; sed -i s/=7/=6/ INFO" << 1;
        QTest::newRow("other client, higher build") << "echo x >news; sed -i s/=7/=8/ INFO" << 0;
    }
    void buildThatIsNotRaisedIsNoted() {
        QFETCH(QString, change);
        QFETCH(int, notes);
        const ClientFixture fixture;
        QCOMPARE(int(fixture.build().notes.size()), 0);
        fixture.run(change);

        const package::Outcome outcome = fixture.build();

        QCOMPARE(linesOf(outcome), QStringList());
        QCOMPARE(int(outcome.notes.size()), notes);
        QVERIFY(notes == 0 || QString::fromStdString(outcome.notes[0])
                                  .endsWith("raise "
                                            "build_version"));
    }
};

QTEST_GUILESS_MAIN(InstalledTest)
#include "installed_test.moc"
