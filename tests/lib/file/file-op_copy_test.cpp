// Linked with the system calls of a copy wrapped: they pass through unless a test says otherwise.
#include "lib/file/file-op.h"
#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/paths.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <functional>
#include <optional>

namespace {

/// What the wrapped calls do and have seen.
struct Calls {
    size_t longest_read = SIZE_MAX;  // bytes that one call gives at most
    size_t longest_write = SIZE_MAX; // bytes that one call takes at most
    bool memory_is_short = false;
    bool sync_fails = false;
    std::vector<size_t> asked;     // bytes of each read
    QStringList synced;            // the files that fsync was called for
    bool all_close_on_exec = true; // of the descriptors read and written
    std::function<void()> at_sync = [] {};
    std::function<void()> at_removal = [] {};
};
Calls calls;

void lookAt(int fd) {
    calls.all_close_on_exec &= (fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0;
}

QByteArray randomBytes(int size) {
    QByteArray bytes(size, '\0');
    auto random = QRandomGenerator(42);
    std::generate(bytes.begin(), bytes.end(), [&random] { return char(random.generate()); });
    return bytes;
}

unsigned modeOf(const QString& path) {
    struct stat found = {};
    return stat(QFile::encodeName(path).constData(), &found) == 0 ? found.st_mode & 07777 : ~0U;
}

/// Lets files grow to `size` bytes and no further, without a signal.
void limitFiles(rlim_t size) {
    signal(SIGXFSZ, SIG_IGN);
    const struct rlimit limit = {size, size};
    setrlimit(RLIMIT_FSIZE, &limit);
}

} // namespace

extern "C" {

ssize_t __real_read(int fd, void* buffer, size_t size);
ssize_t __wrap_read(int fd, void* buffer, size_t size) {
    lookAt(fd);
    calls.asked.push_back(size);
    return __real_read(fd, buffer, std::min(size, calls.longest_read));
}

ssize_t __real_write(int fd, const void* buffer, size_t size);
ssize_t __wrap_write(int fd, const void* buffer, size_t size) {
    lookAt(fd);
    return __real_write(fd, buffer, std::min(size, calls.longest_write));
}

void* __real_malloc(size_t size);
void* __wrap_malloc(size_t size) {
    if (calls.memory_is_short && size == 8192) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_malloc(size);
}

int __real_remove(const char* path);
int __wrap_remove(const char* path) {
    calls.at_removal();
    return __real_remove(path);
}

int __real_fsync(int fd);
int __wrap_fsync(int fd) {
    calls.synced << QFileInfo(QString("/proc/self/fd/%1").arg(fd)).symLinkTarget();
    calls.at_sync();
    if (calls.sync_fails) {
        errno = EIO;
        return -1;
    }
    return __real_fsync(fd);
}
}

class FileOpCopyTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        calls = Calls();
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

    void contentIsCopiedWhole_data() {
        QTest::addColumn<int>("size");
        for (const int size : {0, 1, 8191, 8192, 8193, 16384, 1000003}) {
            QTest::newRow(QByteArray::number(size)) << size;
        }
    }
    void contentIsCopiedWhole() {
        QFETCH(int, size);
        const QByteArray content = randomBytes(size);
        writeFile(at("src"), content);
        QCOMPARE(copy("src", "dst"), 0);
        QCOMPARE(readFile(at("dst")), content);
        QCOMPARE(readFile(at("src")), content);
        QCOMPARE(calls.synced, QStringList(at("dst")));
        QVERIFY(calls.all_close_on_exec);
        QCOMPARE(m_log->lines(), QStringList());
    }

    void readsAreOfEightKilobytes() {
        writeFile(at("src"), QByteArray(20000, 'x'));
        QCOMPARE(copy("src", "dst"), 0);
        QCOMPARE(calls.asked, std::vector<size_t>(4, 8192)); // the last one finds the end
    }

    void shortReadsAndWritesAreGoneOnFrom() {
        const QByteArray content = randomBytes(50000);
        writeFile(at("src"), content);
        calls.longest_read = 5000;
        calls.longest_write = 777;
        QCOMPARE(copy("src", "dst"), 0);
        QCOMPARE(readFile(at("dst")), content);
    }

    void modeOfTheSourceStaysBehind() {
        writeFile(at("src"), "x", 0755);
        const struct timeval old[2] = {{1000, 0}, {1000, 0}};
        utimes(toPath(at("src")).c_str(), old);
        const mode_t saved = umask(017);
        const int result = copy("src", "dst");
        umask(saved);
        QCOMPARE(result, 0);
        QCOMPARE(modeOf(at("dst")), 0660U);
        QVERIFY(QFileInfo(at("dst")).lastModified() > QFileInfo(at("src")).lastModified());
    }

    void targetThatExistsIsReplacedInPlace() {
        writeFile(at("src"), "new");
        writeFile(at("dst"), "an older and longer content", 0600);
        QCOMPARE(link(toPath(at("dst")).c_str(), toPath(at("second name")).c_str()), 0);
        QCOMPARE(copy("src", "dst"), 0);
        QCOMPARE(readFile(at("second name")), QByteArray("new"));
        QCOMPARE(modeOf(at("dst")), 0600U);
    }

    void linksAreFollowedOnBothSides() {
        writeFile(at("src"), "content");
        QCOMPARE(symlink("src", toPath(at("src link")).c_str()), 0);
        QCOMPARE(symlink("dst", toPath(at("dst link")).c_str()), 0);
        QCOMPARE(copy("src link", "dst link"), 0);
        QCOMPARE(listTree(m_folder->path()),
                 (QStringList{"dst", "dst link -> dst", "src", "src link -> src"}));
        QCOMPARE(readFile(at("dst")), QByteArray("content"));
    }

    void sourceIsRemovedOnDemand() {
        writeFile(at("src"), "content");
        bool there_at_sync = true;
        int open_at_removal = 0;
        calls.at_sync = [&] { there_at_sync = QFile::exists(at("src")); };
        calls.at_removal = [&] { open_at_removal = openDescriptors(); };
        QCOMPARE(copy("src", "dst", true), 0);
        QCOMPARE(listTree(m_folder->path()), QStringList("dst"));
        QCOMPARE(readFile(at("dst")), QByteArray("content"));
        QCOMPARE(calls.synced, QStringList(at("dst")));
        QVERIFY(!there_at_sync);
        QCOMPARE(open_at_removal, m_descriptors + 1); // the target's alone
        QCOMPARE(m_log->lines(), QStringList());
    }

    void sourceIsClosedBeforeTheTargetIsSynced_data() {
        QTest::addColumn<bool>("readable");
        QTest::newRow("copied") << true;
        QTest::newRow("a folder, which does not read") << false;
    }
    void sourceIsClosedBeforeTheTargetIsSynced() {
        QFETCH(bool, readable);
        if (readable) {
            writeFile(at("src"), "content");
        } else {
            makeFolder(at("src"));
        }
        int open_at_sync = 0;
        calls.at_sync = [&] { open_at_sync = openDescriptors(); };
        QCOMPARE(copy("src", "dst"), readable ? 0 : -1);
        QCOMPARE(open_at_sync, m_descriptors + 1); // the target's alone
    }

    void removingTheSourceRemovesALinkItself() {
        writeFile(at("src"), "content");
        QCOMPARE(symlink("src", toPath(at("link")).c_str()), 0);
        QCOMPARE(copy("link", "dst", true), 0);
        QCOMPARE(listTree(m_folder->path()), (QStringList{"dst", "src"}));
    }

    void sourceThatStaysAnswersMinusOne() {
        writeFile(at("kept/src"), "content");
        QDir(m_folder->path()).mkdir("open");
        chmod(toPath(at("open")).c_str(), 0777);
        chmod(toPath(at("kept")).c_str(), 0555);
        calls.sync_fails = true; // must not hide why the source stayed
        QCOMPARE(asOrdinaryUser([this] {
                     return copy("kept/src", "open/dst", true) == -1 && errno == EACCES ? 0 : 1;
                 }),
                 0);
        chmod(toPath(at("kept")).c_str(), 0755);
        QCOMPARE(readFile(at("kept/src")), QByteArray("content"));
        QCOMPARE(readFile(at("open/dst")), QByteArray("content"));
        QCOMPARE(m_log->lines(), QStringList());
    }

    void sourceThatDoesNotOpenAnswersMinusOne() {
        QCOMPARE(copy("missing", "dst", true), -1);
        QCOMPARE(errno, ENOENT);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): CopyFile: open(" + at("missing") +
                             "): No such file or directory (2)"));
        QCOMPARE(listTree(m_folder->path()), QStringList());
    }

    void sourceThatMayNotBeReadAnswersMinusOne() {
        writeFile(at("src"), "content", 0);
        QCOMPARE(
            asOrdinaryUser([this] { return copy("src", "dst") == -1 && errno == EACCES ? 0 : 1; }),
            0);
        QCOMPARE(m_log->unnumbered(), QStringList("[ERROR] file-op(#): CopyFile: open(" +
                                                  at("src") + "): Permission denied (13)"));
    }

    void targetThatDoesNotOpenAnswersMinusOne_data() {
        QTest::addColumn<QString>("target");
        QTest::addColumn<int>("error");
        QTest::addColumn<QString>("text");
        QTest::newRow("folder") << "folder" << EISDIR << "Is a directory (21)";
        QTest::newRow("folder missing")
            << "missing/dst" << ENOENT << "No such file or directory (2)";
        QTest::newRow("empty") << "" << ENOENT << "No such file or directory (2)";
    }
    void targetThatDoesNotOpenAnswersMinusOne() {
        QFETCH(QString, target);
        QFETCH(int, error);
        QFETCH(QString, text);
        writeFile(at("src"), "content");
        QDir(m_folder->path()).mkdir("folder");
        const QString path = target.isEmpty() ? QString() : at(target);
        QCOMPARE(FSCopy(toPath(at("src")), toPath(path), true), -1);
        QCOMPARE(errno, error);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): CopyFile: open(" + path + "): " + text));
        QCOMPARE(readFile(at("src")), QByteArray("content"));
        QCOMPARE(calls.synced, QStringList());
    }

    void lackOfMemoryAnswersMinusOne() {
        writeFile(at("src"), "content");
        calls.memory_is_short = true;
        calls.sync_fails = true;
        QCOMPARE(copy("src", "dst", true), -1);
        QCOMPARE(errno, ENOMEM);
        QCOMPARE(
            m_log->unnumbered(),
            QStringList("[ERROR] file-op(#): FSCopy: malloc(8192): Cannot allocate memory (12)"));
        QCOMPARE(readFile(at("src")), QByteArray("content"));
        QCOMPARE(readFile(at("dst")), QByteArray());
        QCOMPARE(calls.synced, QStringList(at("dst")));
    }

    void readErrorAnswersMinusOne() {
        QDir(m_folder->path()).mkdir("folder");
        calls.sync_fails = true;
        QCOMPARE(copy("folder", "dst", true), -1);
        QCOMPARE(errno, EISDIR);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): CopyFile: read: Is a directory (21)"));
        QCOMPARE(listTree(m_folder->path()), (QStringList{"dst", "folder/"}));
        QCOMPARE(calls.synced, QStringList(at("dst")));
    }

    void fullDiskAnswersMinusOne() {
        writeFile(at("src"), "content");
        QCOMPARE(FSCopy(toPath(at("src")), "/dev/full", true), -1);
        QCOMPARE(errno, ENOSPC);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): CopyFile: write: No space left on device (28)"));
        QCOMPARE(readFile(at("src")), QByteArray("content"));
    }

    void failedCopyLeavesWhatItHasWritten() {
        const QByteArray content = randomBytes(50000);
        writeFile(at("src"), content);
        QCOMPARE(inChild([this] {
                     limitFiles(10000);
                     return copy("src", "dst", true) == -1 && errno == EFBIG ? 0 : 1;
                 }),
                 0);
        QCOMPARE(readFile(at("dst")), content.left(10000));
        QCOMPARE(readFile(at("src")), content);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): CopyFile: write: File too large (27)"));
    }

    void writeOfNothingIsAnError() {
        writeFile(at("src"), "content");
        calls.longest_write = 0;
        QCOMPARE(copy("src", "dst", true), -1);
        const QStringList lines = m_log->unnumbered();
        QCOMPARE(lines.size(), 1);
        QVERIFY(lines.first().startsWith("[ERROR] file-op(#): CopyFile: write: "));
        QCOMPARE(readFile(at("src")), QByteArray("content"));
    }

    void syncIsTriedAndNotAskedFor() {
        writeFile(at("src"), "content");
        calls.sync_fails = true;
        QCOMPARE(copy("src", "dst", true), 0);
        QCOMPARE(listTree(m_folder->path()), QStringList("dst"));
    }

    void fileIsNotCopiedOntoItself_data() {
        QTest::addColumn<QString>("src");
        QTest::addColumn<QString>("dst");
        QTest::newRow("same name") << "file"
                                   << "file";
        QTest::newRow("same name written otherwise") << "file"
                                                     << "folder/../file";
        QTest::newRow("second name") << "file"
                                     << "hard";
        QTest::newRow("link as target") << "file"
                                        << "link";
        QTest::newRow("link as source") << "link"
                                        << "file";
    }
    void fileIsNotCopiedOntoItself() {
        QFETCH(QString, src);
        QFETCH(QString, dst);
        writeFile(at("file"), "content");
        QDir(m_folder->path()).mkdir("folder");
        QCOMPARE(link(toPath(at("file")).c_str(), toPath(at("hard")).c_str()), 0);
        QCOMPARE(symlink("file", toPath(at("link")).c_str()), 0);
        const struct timeval old[2] = {{1000, 0}, {1000, 0}};
        utimes(toPath(at("file")).c_str(), old);
        const QStringList tree = listTree(m_folder->path());
        for (const bool remove_source : {false, true}) {
            QCOMPARE(copy(src, dst, remove_source), -1);
        }
        QCOMPARE(listTree(m_folder->path()), tree);
        QCOMPARE(QFileInfo(at("file")).lastModified().toSecsSinceEpoch(), 1000);
        QCOMPARE(readFile(at("file")), QByteArray("content"));
        const QString line =
            "[ERROR] file-op(#): FSCopy: '" + at(src) + "' and '" + at(dst) + "' are the same file";
        QCOMPARE(m_log->unnumbered(), (QStringList{line, line}));
        QCOMPARE(calls.synced, QStringList());
    }

    void fifoDoesNotOpenAndNobodyWaits() {
        QCOMPARE(mkfifo(toPath(at("fifo")).c_str(), 0600), 0);
        writeFile(at("src"), "content");
        QCOMPARE(copy("fifo", "dst", true), -1);
        QCOMPARE(errno, ENXIO);
        QCOMPARE(copy("src", "fifo", true), -1);
        QCOMPARE(errno, ENXIO);
        const QString line =
            "[ERROR] file-op(#): CopyFile: open(" + at("fifo") + "): No such device or address (6)";
        QCOMPARE(m_log->unnumbered(), (QStringList{line, line}));
        QCOMPARE(listTree(m_folder->path()), (QStringList{"fifo", "src"}));
    }

    void deviceIsReadToItsEnd() {
        QCOMPARE(FSCopy("/dev/null", toPath(at("dst")), false), 0);
        QCOMPARE(readFile(at("dst")), QByteArray());
        QCOMPARE(FSCopy(toPath(at("dst")), "/dev/null", false), 0);
    }

private:
    QString at(const QString& name) const { return m_folder->filePath(name); }

    int copy(const QString& src, const QString& dst, bool remove_source = false) const {
        return FSCopy(toPath(at(src)), toPath(at(dst)), remove_source);
    }

    std::optional<QTemporaryDir> m_folder;
    std::optional<LogCapture> m_log;
    int m_descriptors = 0;
};

QTEST_GUILESS_MAIN(FileOpCopyTest)
#include "file-op_copy_test.moc"
