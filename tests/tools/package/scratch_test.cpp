#include "tests/support/files.h"
#include "tests/tools/package/client-fixture.h"

#include <QtTest>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

/// Where a check unpacks, and what killed checks have left there.
class ScratchTest : public QObject {
    Q_OBJECT

private slots:
    void cleanup() { qunsetenv("TMPDIR"); }

    void checkLeavesNothing() {
        const ClientFixture fixture;
        QCOMPARE(linesOf(fixture.build()), QStringList());
        unpackHere();

        QCOMPARE(linesOf(fixture.checkPackage()), QStringList());

        QCOMPARE(listTree(m_temporary.path()), QStringList());
    }

    void checkRemovesWhatAKilledOneLeft() {
        const ClientFixture fixture;
        QCOMPARE(linesOf(fixture.build()), QStringList());
        unpackHere();
        writeFile(at("tessel-package.killed/lib/half"), "half");
        makeFolder(at("tessel-package.running"));
        writeFile(at("tessel-package.file"), "no folder");
        makeFolder(at("else"));
        makeLink("else", at("tessel-package.link"));
        const int running = open(QFile::encodeName(at("tessel-package.running")), O_RDONLY);
        QCOMPARE(flock(running, LOCK_EX), 0);
        QStringList kept{"else/", "tessel-package.file", "tessel-package.link -> else",
                         "tessel-package.running/"};
        if (geteuid() == 0) {
            makeFolder(at("tessel-package.another-user"));
            QCOMPARE(chown(QFile::encodeName(at("tessel-package.another-user")), 65534, 65534), 0);
            kept.insert(1, "tessel-package.another-user/");
        }

        QCOMPARE(linesOf(fixture.checkPackage()), QStringList());

        QCOMPARE(listTree(m_temporary.path()), kept);
        close(running);
    }

private:
    // The fixture has its place by then.
    void unpackHere() const { qputenv("TMPDIR", QFile::encodeName(m_temporary.path())); }
    QString at(const QString& relative) const { return m_temporary.filePath(relative); }

    QTemporaryDir m_temporary;
};

QTEST_GUILESS_MAIN(ScratchTest)
#include "scratch_test.moc"
