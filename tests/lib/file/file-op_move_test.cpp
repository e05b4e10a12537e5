// Linked with closedir and readdir_r wrapped: the test says what a folder tells of itself.
#include "lib/file/file-op.h"
#include "tests/lib/file/told-folder.h"
#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/other-file-system.h"
#include "tests/support/paths.h"

#include <QTemporaryDir>
#include <QtTest>

#include <dirent.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <optional>
#include <thread>
#include <vector>

// Whether or not closing fails, what the caller gets to see is why the walk has ended.
extern "C" int __real_closedir(DIR* folder);
extern "C" int __wrap_closedir(DIR* folder) {
    const int result = __real_closedir(folder);
    errno = EIO;
    return result;
}

namespace {

constexpr int unable = 77; // a child's answer where the machine does not let it arrange its case

int rename(const QString& src, const QString& dst, bool flag = false) {
    return FSRename(toPath(src), toPath(dst), flag);
}

} // namespace

class FileOpMoveTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { m_other.emplace(); }
    void cleanupTestCase() { m_other.reset(); }

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
        if (m_other->exists()) {
            for (const QString& name : QDir(m_other->path())
                                           .entryList(QDir::AllEntries | QDir::System |
                                                      QDir::Hidden | QDir::NoDotAndDotDot)) {
                std::filesystem::remove_all(m_other->path(name).toStdString());
            }
        }
    }

    void renameOfAnEmptyPathAnswersMinusOne() {
        writeFile(at("src"), "content");
        QCOMPARE(rename("", at("dst")), -1);
        QCOMPARE(rename(at("src"), ""), -1);
        QCOMPARE(rename("", ""), -1);
        QCOMPARE(listTree(m_folder->path()), QStringList("src"));
    }

    void renameOfMissingSourceAnswersMinusTwo() {
        QCOMPARE(rename(at("missing"), at("dst")), -2);
        QCOMPARE(errno, ENOENT);
        QCOMPARE(m_log->lines(), QStringList());
    }

    void renameOfUnreadableSourceAnswersMinusTwo() {
        writeFile(at("file"), "");
        QCOMPARE(rename(at("file/below"), at("dst")), -2);
        QCOMPARE(errno, ENOTDIR);
        QCOMPARE(rename(at(QString(256, 'n')), at("dst")), -2);
        QCOMPARE(errno, ENAMETOOLONG);
    }

    void renameToANameTooLongAnswersMinusHundred_data() {
        QTest::addColumn<QString>("target");
        QTest::newRow("component") << QString(256, 'n');
        QTest::newRow("path") << QString("./").repeated(2048) + "dst";
    }
    void renameToANameTooLongAnswersMinusHundred() {
        QFETCH(QString, target);
        writeFile(at("src"), "content");
        QCOMPARE(rename(at("src"), at(target)), -100);
        QCOMPARE(errno, ENAMETOOLONG);
        QCOMPARE(listTree(m_folder->path()), QStringList("src"));
    }

    void renameMovesAnythingWithinOneFileSystem_data() {
        QTest::addColumn<bool>("flag");
        QTest::newRow("flag false") << false;
        QTest::newRow("flag true, which is ignored") << true;
    }
    void renameMovesAnythingWithinOneFileSystem() {
        QFETCH(bool, flag);
        writeFile(at("file"), "content", 0750);
        writeFile(at("folder/below"), "below");
        makeLink("nowhere", at("link"));
        QCOMPARE(mkfifo(toPath(at("fifo")).c_str(), 0600), 0);
        for (const char* name : {"file", "folder", "link", "fifo"}) {
            QCOMPARE(rename(at(name), at(QString("new ") + name), flag), 0);
        }
        QCOMPARE(listTree(m_folder->path()),
                 (QStringList{"new fifo", "new file", "new folder/", "new folder/below",
                              "new link -> nowhere"}));
        QCOMPARE(readFile(at("new file")), QByteArray("content"));
        QCOMPARE(QFileInfo(at("new file")).permission(QFile::ExeOwner), true);
        QCOMPARE(m_log->lines(), QStringList());
    }

    void renameReplacesAFile() {
        writeFile(at("src"), "new");
        writeFile(at("dst"), "old");
        QCOMPARE(rename(at("src"), at("dst")), 0);
        QCOMPARE(listTree(m_folder->path()), QStringList("dst"));
        QCOMPARE(readFile(at("dst")), QByteArray("new"));
    }

    void renameThatFailsAnswersMinusThree_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<int>("error");
        QTest::newRow("folder that is not empty") << "full" << ENOTEMPTY;
        QTest::newRow("no such folder") << "missing/dst" << ENOENT;
        QTest::newRow("onto a file") << "file" << ENOTDIR;
        QTest::newRow("into itself") << "src/dst" << EINVAL;
    }
    void renameThatFailsAnswersMinusThree() {
        QFETCH(QString, target);
        QFETCH(int, error);
        writeFile(at("src/below"), "below");
        writeFile(at("full/below"), "other");
        writeFile(at("file"), "file");
        const QStringList tree = listTree(m_folder->path());
        QCOMPARE(rename(at("src"), at(target)), -3);
        QCOMPARE(errno, error);
        QCOMPARE(listTree(m_folder->path()), tree);
        QCOMPARE(readFile(at("full/below")), QByteArray("other"));
        QCOMPARE(m_log->lines(), QStringList());
    }

    void fileMovesAcrossFileSystems() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        const QByteArray content = QByteArray("content").repeated(5000);
        writeFile(at("src"), content, 0755);
        writeFile(m_other->path("dst"), "an old file", 0600);
        QCOMPARE(rename(at("src"), m_other->path("dst")), 0);
        QCOMPARE(listTree(m_folder->path()), QStringList());
        QCOMPARE(readFile(m_other->path("dst")), content);
        QCOMPARE(rename(m_other->path("dst"), at("back")), 0);
        QCOMPARE(listTree(m_other->path()), QStringList());
        QCOMPARE(readFile(at("back")), content);
        QVERIFY(!QFileInfo(at("back")).isExecutable()); // the mode stays behind
        QCOMPARE(m_log->lines(), QStringList());
    }

    void folderMovesAcrossFileSystemsEntryByEntry() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        writeFile(at("src/file"), "file");
        writeFile(at("src/.hidden"), "hidden");
        writeFile(at("src/a/b/c/deep"), "deep");
        makeFolder(at("src/empty"));
        const QStringList tree = listTree(at("src"));
        QCOMPARE(rename(at("src"), m_other->path("dst"), true), 0);
        QCOMPARE(listTree(m_folder->path()), QStringList());
        QCOMPARE(listTree(m_other->path("dst")), tree);
        QCOMPARE(readFile(m_other->path("dst/a/b/c/deep")), QByteArray("deep"));
        QCOMPARE(readFile(m_other->path("dst/.hidden")), QByteArray("hidden"));
    }

    void folderMovesIntoOneThatIsThere() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        writeFile(at("src/both"), "new");
        writeFile(at("src/sub/new"), "new");
        writeFile(m_other->path("dst/both"), "old");
        writeFile(m_other->path("dst/sub/old"), "old");
        QCOMPARE(rename(at("src"), m_other->path("dst")), 0);
        QCOMPARE(listTree(m_folder->path()), QStringList());
        QCOMPARE(listTree(m_other->path("dst")),
                 (QStringList{"both", "sub/", "sub/new", "sub/old"}));
        QCOMPARE(readFile(m_other->path("dst/both")), QByteArray("new"));
    }

    void otherTypesDoNotMoveAcrossFileSystems() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        writeFile(at("file"), "content");
        makeLink("file", at("link"));
        QCOMPARE(mkfifo(toPath(at("fifo")).c_str(), 0600), 0);
        for (const char* name : {"link", "fifo"}) {
            QCOMPARE(rename(at(name), m_other->path(name)), -3);
            QCOMPARE(errno, EXDEV);
        }
        QCOMPARE(listTree(m_folder->path()), (QStringList{"fifo", "file", "link -> file"}));
        QCOMPARE(listTree(m_other->path()), QStringList());
        QCOMPARE(m_log->lines(), QStringList());
    }

    void folderHoldingALinkMovesUpToTheLink() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        for (int i = 0; i < 20; ++i) {
            writeFile(at(QString("src/%1").arg(i)), QByteArray::number(i));
        }
        makeLink("0", at("src/link"));
        const QStringList order = inReadingOrder(at("src"));
        const int place = order.indexOf("link");
        QCOMPARE(rename(at("src"), m_other->path("dst")), -3);
        QCOMPARE(errno, EXDEV);
        QCOMPARE(sorted(inReadingOrder(m_other->path("dst"))), sorted(order.mid(0, place)));
        QCOMPARE(sorted(inReadingOrder(at("src"))), sorted(order.mid(place)));
    }

    void linkFurtherDownStopsTheWholeMove() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        makeFolder(at("src/a/b"));
        makeLink("nowhere", at("src/a/b/link"));
        QCOMPARE(rename(at("src"), m_other->path("dst")), -3);
        QCOMPARE(listTree(at("src")), (QStringList{"a/", "a/b/", "a/b/link -> nowhere"}));
        QCOMPARE(listTree(m_other->path("dst")), (QStringList{"a/", "a/b/"}));
    }

    void fileDoesNotMoveOntoAFolder() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        writeFile(at("src"), "content");
        makeFolder(m_other->path("dst"));
        QCOMPARE(rename(at("src"), m_other->path("dst")), -3);
        QCOMPARE(errno, EISDIR);
        QCOMPARE(readFile(at("src")), QByteArray("content"));
        QCOMPARE(m_log->unnumbered(), QStringList("[ERROR] file-op(#): CopyFile: open(" +
                                                  m_other->path("dst") + "): Is a directory (21)"));
    }

    void folderDoesNotMoveOntoAFile() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        writeFile(at("src/below"), "below");
        writeFile(m_other->path("dst"), "file");
        QCOMPARE(rename(at("src"), m_other->path("dst")), -3);
        QCOMPARE(listTree(m_folder->path()), (QStringList{"src/", "src/below"}));
        QCOMPARE(readFile(m_other->path("dst")), QByteArray("file"));
    }

    void emptyFolderDoesNotMoveOntoAFile() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        makeFolder(at("src"));
        writeFile(m_other->path("dst"), "file");
        QCOMPARE(rename(at("src"), m_other->path("dst")), -3);
        QCOMPARE(listTree(m_folder->path()), QStringList("src/"));
        QCOMPARE(readFile(m_other->path("dst")), QByteArray("file"));
    }

    void folderThatDoesNotOpenStays() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        writeFile(at("src/below"), "below");
        makeFolder(at("src"), 0);
        chmod(toPath(m_other->path()).c_str(), 0777);
        QCOMPARE(asOrdinaryUser([this] {
                     return rename(at("src"), m_other->path("dst")) == -3 && errno == EACCES ? 0
                                                                                             : 1;
                 }),
                 0);
        chmod(toPath(at("src")).c_str(), 0755);
        QCOMPARE(listTree(m_folder->path()), (QStringList{"src/", "src/below"}));
        QCOMPARE(listTree(m_other->path()), QStringList("dst/"));
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): FSOpenDir: Failed to open directory '" +
                             at("src") + "'. Permission denied"));
    }

    void emptiedFolderThatMayNotBeRemovedAnswersMinusThree() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        writeFile(at("kept/src/below"), "below");
        makeFolder(at("kept/src"), 0777);
        makeFolder(at("kept"), 0555);
        chmod(toPath(m_other->path()).c_str(), 0777);
        QCOMPARE(asOrdinaryUser([this] {
                     const int result = rename(at("kept/src"), m_other->path("dst"));
                     return result == -3 && errno == EACCES ? 0 : 1;
                 }),
                 0);
        chmod(toPath(at("kept")).c_str(), 0755);
        QCOMPARE(listTree(at("kept")), QStringList("src/"));
        QCOMPARE(listTree(m_other->path()), (QStringList{"dst/", "dst/below"}));
    }

    void nameTooLongFurtherDownAnswersMinusThree() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        const QString name(200, 'n');
        writeFile(at("src/" + name), "content");
        QString deep = m_other->path("d");
        while (deep.size() < 3800) {
            deep += "/" + name;
        }
        deep += "/" + QString(4000 - deep.size(), 'l'); // leaves no room for the name below it
        makeFolder(QFileInfo(deep).path());
        QCOMPARE(rename(at("src"), deep), -3);
        QCOMPARE(errno, ENAMETOOLONG);
        QCOMPARE(listTree(at("src")), QStringList(name));
    }

    void readErrorEndsAMoveLikeTheEndOfTheFolder() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        writeFile(at("src/below"), "below");
        reading = Reading::end_is_an_error;
        const int result = rename(at("src"), m_other->path("dst"));
        reading = Reading::usual;
        QCOMPARE(result, 0);
        QCOMPARE(listTree(m_folder->path()), QStringList());
        QCOMPARE(listTree(m_other->path()), (QStringList{"dst/", "dst/below"}));
    }

    // rename() refuses to move across two mounts even of one file system: the copy that follows
    // then meets its own source.
    void fileSeenThroughASecondMountIsNotLost() {
        writeFile(at("one/file"), "content");
        makeFolder(at("two"));
        const int outcome = inChild([this] {
            if (unshare(CLONE_NEWNS) != 0 ||
                mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                mount(toPath(at("one")).c_str(), toPath(at("two")).c_str(), nullptr, MS_BIND,
                      nullptr) != 0) {
                return unable;
            }
            return rename(at("one/file"), at("two/file")) == -3 ? 0 : 1;
        });
        if (outcome == unable) {
            QSKIP("this machine allows no private mounts");
        }
        QCOMPARE(outcome, 0);
        QCOMPARE(readFile(at("one/file")), QByteArray("content"));
    }

    void folderThatTellsNoTypesMovesAllTheSame() {
        if (!m_other->exists()) {
            QSKIP("one file system only");
        }
        writeFile(at("src/a/b/file"), "content");
        reading = Reading::types_are_unknown;
        const int result = rename(at("src"), m_other->path("dst"));
        reading = Reading::usual;
        QCOMPARE(result, 0);
        QCOMPARE(listTree(m_folder->path()), QStringList());
        QCOMPARE(readFile(m_other->path("dst/a/b/file")), QByteArray("content"));
    }

    void threadsWorkSideBySide() {
        std::vector<int> failures(4);
        std::vector<std::thread> threads;
        threads.reserve(failures.size());
        for (size_t i = 0; i < failures.size(); ++i) {
            threads.emplace_back([this, i, &failures] {
                const ustring own = toPath(at(QString::number(i)));
                for (int round = 0; round < 20; ++round) {
                    failures[i] += FSMKDir(own + "/a/b", true) != 0;
                    failures[i] += FSCopy("/proc/self/status", own + "/a/b/c", false) != 0;
                    failures[i] += FSCopy("/proc/missing", own + "/d", false) != -1;
                    failures[i] += FSRename(own + "/a", own + "/e", false) != 0;
                    failures[i] += !IsFileExist(own + "/e/b/c", false);
                    failures[i] += FSRemove(own, false) != 0;
                }
            });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        QCOMPARE(failures, std::vector<int>(4, 0));
        QCOMPARE(listTree(m_folder->path()), QStringList());
    }

private:
    QString at(const QString& name) const { return m_folder->filePath(name); }

    std::optional<QTemporaryDir> m_folder;
    std::optional<OtherFileSystem> m_other;
    std::optional<LogCapture> m_log;
    int m_descriptors = 0;
};

QTEST_GUILESS_MAIN(FileOpMoveTest)
#include "file-op_move_test.moc"
