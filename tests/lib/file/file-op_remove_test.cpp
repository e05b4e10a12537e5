// Linked with readdir_r wrapped: the test says what a folder tells of itself.
#include "lib/file/file-op.h"
#include "tests/lib/file/told-folder.h"
#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/other-file-system.h"
#include "tests/support/paths.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

namespace {

int remove(const QString& path, bool flag = false) {
    return FSRemove(toPath(path), flag);
}

} // namespace

class FileOpRemoveTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        m_folder.emplace();
        chmod(toPath(m_folder->path()).c_str(), 0755);
        m_log.emplace();
        m_descriptors = openDescriptors();
    }
    void cleanup() {
        QCOMPARE(openDescriptors(), m_descriptors);
        m_log.reset();
        m_folder.reset();
    }

    void removeOfAnEmptyPathAnswersMinusOne() { QCOMPARE(remove(""), -1); }

    void removeWithoutInformationAnswersMinusOne() {
        writeFile(at("file"), "content");
        QCOMPARE(remove(at("file/below")), -1);
        QCOMPARE(errno, ENOTDIR);
        QCOMPARE(readFile(at("file")), QByteArray("content"));
    }

    void removeOfNothingIsSuccess() {
        QCOMPARE(remove(at("missing")), 0);
        QCOMPARE(remove(at("missing/below")), 0);
        QCOMPARE(m_log->lines(), QStringList());
    }

    void removeTakesTheThingItselfAndFollowsNoLink() {
        writeFile(at("kept/file"), "content");
        writeFile(at("file"), "content");
        makeLink("kept", at("link to a folder"));
        makeLink("kept/file", at("link to a file"));
        makeLink("nowhere", at("link to nothing"));
        QCOMPARE(mkfifo(toPath(at("fifo")).c_str(), 0600), 0);
        for (const char* name :
             {"file", "link to a folder", "link to a file", "link to nothing", "fifo"}) {
            QCOMPARE(remove(at(name), true), 0);
        }
        QCOMPARE(listTree(m_folder->path()), (QStringList{"kept/", "kept/file"}));
    }

    void removeTakesAWholeFolder() {
        writeFile(at("kept/file"), "content");
        writeFile(at("tree/.hidden"), "");
        writeFile(at("tree/ blank "), "");
        writeFile(at("tree/line\nfeed"), "");
        writeFile(at("tree/" + QString::fromUtf8("日").repeated(85)), "");
        writeFile(at("tree/..."), "");
        writeFile(at("tree/a/b/c/d/e/deep"), "");
        writeFile(at("tree/read only"), "", 0);
        makeFolder(at("tree/empty"));
        makeLink(at("kept"), at("tree/a/link to a folder"));
        makeLink("..", at("tree/link upwards"));
        const QByteArray odd = QFile::encodeName(at("tree")) + "/\xff\xfe";
        QCOMPARE(symlink("x", odd.constData()), 0);
        QCOMPARE(remove(at("tree")), 0);
        QCOMPARE(listTree(m_folder->path()), (QStringList{"kept/", "kept/file"}));
        QCOMPARE(m_log->lines(), QStringList());
    }

    void removeTakesMoreEntriesThanAreReadAtATime() {
        const OtherFileSystem other; // file systems differ in what one read gives
        if (!other.exists()) {
            QSKIP("one file system only");
        }
        for (int i = 0; i < 3000; ++i) {
            writeFile(other.path(QString("many/%1").arg(i, 60)), "");
        }
        QCOMPARE(remove(other.path("many")), 0);
        QCOMPARE(listTree(other.path()), QStringList());
    }

    void folderThatDoesNotOpenIsLeftAndThatIsSuccess() {
        writeFile(at("closed/file"), "content");
        makeFolder(at("closed"), 0);
        QCOMPARE(asOrdinaryUser([this] { return remove(at("closed")) == 0 ? 0 : 1; }), 0);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): FSOpenDir: Failed to open directory '" +
                             at("closed") + "'. Permission denied"));
        chmod(toPath(at("closed")).c_str(), 0755);
        QCOMPARE(listTree(m_folder->path()), (QStringList{"closed/", "closed/file"}));
    }

    void folderThatDoesNotOpenKeepsItsParent() {
        makeFolder(at("open/tree/closed"), 0);
        makeFolder(at("open/tree"), 0777);
        makeFolder(at("open"), 0777);
        QCOMPARE(asOrdinaryUser([this] {
                     return remove(at("open/tree")) == -3 && errno == ENOTEMPTY ? 0 : 1;
                 }),
                 0);
        QCOMPARE(listTree(at("open")), (QStringList{"tree/", "tree/closed/"}));
    }

    void fileThatMayNotBeRemovedAnswersMinusThree() {
        writeFile(at("kept/file"), "content");
        makeFolder(at("kept"), 0555);
        QCOMPARE(asOrdinaryUser([this] {
                     const bool file = remove(at("kept/file")) == -3 && errno == EACCES;
                     const bool folder = remove(at("kept")) == -3 && errno == EACCES;
                     return file && folder ? 0 : 1;
                 }),
                 0);
        QCOMPARE(listTree(m_folder->path()), (QStringList{"kept/", "kept/file"}));
    }

    void entryThatMayNotBeRemovedStopsTheWalk() {
        for (int i = 0; i < 20; ++i) {
            writeFile(at(QString("tree/%1").arg(i)), "");
        }
        writeFile(at("tree/kept/file"), "content");
        makeFolder(at("tree/kept"), 0555);
        makeFolder(at("tree"), 0777);
        const QStringList order = inReadingOrder(at("tree"));
        QCOMPARE(
            asOrdinaryUser([this] { return remove(at("tree")) == -3 && errno == EACCES ? 0 : 1; }),
            0);
        QCOMPARE(sorted(inReadingOrder(at("tree"))), sorted(order.mid(order.indexOf("kept"))));
        QCOMPARE(readFile(at("tree/kept/file")), QByteArray("content"));
    }

    void readErrorEndsARemovalLikeTheEndOfTheFolder() {
        writeFile(at("tree/file"), "");
        reading = Reading::end_is_an_error;
        const int result = remove(at("tree"));
        reading = Reading::usual;
        QCOMPARE(result, 0);
        QCOMPARE(listTree(m_folder->path()), QStringList());
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): FSOpenDir: Failed to read directory '" +
                             at("tree") + "'. Input/output error"));
    }

    void folderThatTellsNoTypesIsRemovedAllTheSame() {
        writeFile(at("kept/file"), "content");
        writeFile(at("tree/a/b/file"), "");
        makeFolder(at("tree/empty"));
        makeLink(at("kept"), at("tree/a/link"));
        reading = Reading::types_are_unknown;
        const int result = remove(at("tree"));
        reading = Reading::usual;
        QCOMPARE(result, 0);
        QCOMPARE(listTree(m_folder->path()), (QStringList{"kept/", "kept/file"}));
    }

    void entryThatVanishesIsRemovedToo_data() {
        QTest::addColumn<QString>("name");
        QTest::newRow("file") << "tree/file";
        QTest::newRow("folder") << "tree/folder/file";
    }
    void entryThatVanishesIsRemovedToo() {
        QFETCH(QString, name);
        writeFile(at(name), "");
        reading = Reading::entries_vanish;
        const int result = remove(at("tree"));
        reading = Reading::usual;
        QCOMPARE(result, 0);
        QCOMPARE(listTree(m_folder->path()), QStringList());
    }

private:
    QString at(const QString& name) const { return m_folder->filePath(name); }

    std::optional<QTemporaryDir> m_folder;
    std::optional<LogCapture> m_log;
    int m_descriptors = 0;
};

QTEST_GUILESS_MAIN(FileOpRemoveTest)
#include "file-op_remove_test.moc"
