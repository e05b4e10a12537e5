#include "tests/support/child.h"
#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/paths.h"
#include "tests/ui-client/launcher/plain-service.h"

#include <QtTest>

#include <memory>

class CloudServiceCopyTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        m_folder = std::make_unique<QTemporaryDir>();
        m_log = std::make_unique<LogCapture>(7);
    }

    void cleanup() {
        m_log.reset();
        m_folder.reset();
    }

    void fileIsCopied() {
        writeFile(path("a"), "text");
        QCOMPARE(copy("a", "b"), 0);
        QCOMPARE(readFile(path("b")), QByteArray("text"));
        QCOMPARE(m_log->unnumbered(), QStringList{copying("a", "b")});
    }

    void folderIsCopiedWithAllItHolds() {
        run("mkdir -p a/sub/deeper a/empty; echo 1 > a/one; echo 2 > a/sub/two; echo 3 > "
            "a/sub/deeper/three; touch a/.hidden 'a/with blank'");
        QCOMPARE(copy("a", "new/b"), 0);
        run("diff -r a new/b");
        QCOMPARE(listTree(path("new/b")), listTree(path("a")));
    }

    void folderIsCopiedIntoAnExistingOne() {
        run("mkdir a b; echo new > a/x; echo old > b/x; echo kept > b/y");
        QCOMPARE(copy("a", "b"), 0);
        QCOMPARE(readFile(path("b/x")), QByteArray("new\n"));
        QCOMPARE(readFile(path("b/y")), QByteArray("kept\n"));
    }

    void eachFolderIsToldOnce() {
        run("mkdir -p a/sub; touch a/sub/x");
        QCOMPARE(copy("a", "b"), 0);
        QCOMPARE(m_log->unnumbered(), (QStringList{copying("a", "b"), copying("a/sub", "b/sub")}));
    }

    void linkToAFileIsCopiedAsTheFile() {
        run("mkdir a; echo text > kept; ln -s ../kept a/link");
        QCOMPARE(copy("a", "b"), 0);
        QCOMPARE(listTree(path("b")), QStringList{"link"});
        QCOMPARE(readFile(path("b/link")), QByteArray("text\n"));
    }

    void sourceThatCannotBeLookedAtFails_data() {
        QTest::addColumn<QString>("source");
        QTest::newRow("no path") << QString();
        QTest::newRow("name too long") << "/" + QString(300, 'x');
        QTest::newRow("below a file") << "/etc/passwd/x";
    }
    void sourceThatCannotBeLookedAtFails() {
        QFETCH(QString, source);
        QCOMPARE(PlainService().FSCopyPath(toPath(source), toPath(path("b"))), -1);
        QCOMPARE(m_log->unnumbered().last(),
                 "[ERROR] cloud-service(#): FSCopyPath: failed to stat source '" + source + "'");
        QVERIFY(!QFileInfo::exists(path("b")));
    }

    void missingSourceFails() {
        QCOMPARE(copy("a", "b"), -1);
        QCOMPARE(m_log->unnumbered(),
                 (QStringList{copying("a", "b"), "[ERROR] cloud-service(#): FSCopyPath: source "
                                                 "path '" +
                                                     path("a") + "' does not exist"}));
    }

    void singleFileThatFailsIsASuccessAllTheSame() {
        writeFile(path("a"), "text");
        QCOMPARE(copy("a", "missing/b"), 0);
        QVERIFY(!QFileInfo::exists(path("missing")));
        QCOMPARE(m_log->unnumbered().filter(" cloud-service("),
                 QStringList{copying("a", "missing/b")});
    }

    void linkThatLeadsNowhereIsASuccessAllTheSame() {
        run("ln -s nowhere a");
        QCOMPARE(copy("a", "b"), 0);
        QVERIFY(!QFileInfo::exists(path("b")));
    }

    void destinationThatCannotBeAFolderFails() {
        run("mkdir a; touch a/x b");
        QCOMPARE(copy("a", "b"), -1);
        QCOMPARE(m_log->unnumbered().last(), "[ERROR] cloud-service(#): FSCopyPath: failed to "
                                             "create dest folder '" +
                                                 path("b") + "'");
    }

    void folderThatDoesNotOpenIsLeftOut() {
        run("mkdir -p a/closed b; touch a/closed/x a/open; chmod 755 . a; chmod 777 b; "
            "chmod 000 a/closed");
        const int result = asOrdinaryUser([this] { return copy("a", "b") == 0 ? 0 : 1; });
        run("chmod 700 a/closed");
        QCOMPARE(result, 0);
        QCOMPARE(listTree(path("b")), (QStringList{"closed/", "open"}));
        // Two blanks behind "handle", and "failed" twice.
        QVERIFY(m_log->unnumbered().contains("[WARNING] cloud-service(#): FSCopyPath: failed to "
                                             "create handle  for src '" +
                                             path("a/closed") + "' failed"));
    }

    void entryThatFailsStopsTheWalk() {
        run("mkdir a; ln -s nowhere a/link");
        QCOMPARE(copy("a", "b"), -1);
        QCOMPARE(m_log->unnumbered().last(), failed("a/link", "b/link"));
    }

    void failureIsToldOnEachLevel() {
        run("mkdir -p a/one/two; ln -s nowhere a/one/two/link");
        QCOMPARE(copy("a", "b"), -1);
        QCOMPARE(m_log->unnumbered().filter("failed to copy"),
                 (QStringList{failed("a/one/two/link", "b/one/two/link"),
                              failed("a/one/two", "b/one/two"), failed("a/one", "b/one")}));
        QCOMPARE(listTree(path("b")), (QStringList{"one/", "one/two/"}));
    }

    void nothingStaysOpen() {
        run("mkdir -p a/sub; ln -s nowhere a/sub/link; mkdir c; touch c/x");
        const int before = openHandles();
        copy("a", "b");
        copy("c", "d");
        QCOMPARE(openHandles(), before);
    }

private:
    QString path(const QString& name) const { return m_folder->filePath(name); }
    void run(const QString& script) const { runCommand(script, m_folder->path()); }
    int copy(const QString& from, const QString& to) const {
        return PlainService().FSCopyPath(toPath(path(from)), toPath(path(to)));
    }

    QString copying(const QString& from, const QString& to) const {
        return "[DEBUG] cloud-service(#): copy from '" + path(from) + "' to '" + path(to) + "'";
    }
    QString failed(const QString& from, const QString& to) const {
        return "[ERROR] cloud-service(#): FSCopyPath: failed to copy from '" + path(from) +
               "' to '" + path(to) + "'";
    }

    static int openHandles() {
        return QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System).size();
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<LogCapture> m_log;
};

QTEST_GUILESS_MAIN(CloudServiceCopyTest)
#include "cloud-service_copy_test.moc"
