// Linked with access, lstat and statfs wrapped: the test says what the system refuses, and which
// file type and file system it tells of.
#include "lib/file/file-op.h"
#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/paths.h"

#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

static int access_error = 0;
static std::optional<unsigned long> file_system_type;
static std::optional<mode_t> type_bits;

extern "C" int __real_access(const char* path, int mode);
extern "C" int __wrap_access(const char* path, int mode) {
    if (access_error != 0) {
        errno = access_error;
        return -1;
    }
    return __real_access(path, mode);
}

extern "C" int __real_lstat(const char* path, struct stat* found);
extern "C" int __wrap_lstat(const char* path, struct stat* found) {
    const int result = __real_lstat(path, found);
    if (result == 0 && type_bits) {
        found->st_mode = *type_bits | (found->st_mode & 07777);
    }
    return result;
}

extern "C" int __real_statfs(const char* path, struct statfs* found);
extern "C" int __wrap_statfs(const char* path, struct statfs* found) {
    const int result = __real_statfs(path, found);
    if (result == 0 && file_system_type) {
        found->f_type = static_cast<decltype(found->f_type)>(*file_system_type);
    }
    return result;
}

class FileOpAttributesTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        access_error = 0;
        file_system_type.reset();
        type_bits.reset();
        m_folder.emplace();
        chmod(toPath(m_folder->path()).c_str(), 0755);
        writeFile(at("file"), "content");
        m_log.emplace();
    }
    void cleanup() {
        m_log.reset();
        m_folder.reset();
    }

    void blockDeviceIsADevice() {
        FILE_INFO found;
        type_bits = S_IFBLK;
        QCOMPARE(GetFileInfo(toPath(at("file")), found), 0);
        QCOMPARE(found.type, FT_DEV);
    }

    void unknownTypeAnswersMinusOneWithTheOtherFieldsFilled() {
        FILE_INFO found;
        type_bits = S_IFMT; // no type has these bits
        QCOMPARE(GetFileInfo(toPath(at("file")), found), -1);
        QVERIFY(found.isExist);
        QCOMPARE(toText(found.name), QString("file"));
        QCOMPARE(toText(found.path), at("file"));
        QCOMPARE(found.size, uint64_t(7));
        QCOMPARE(found.mode & 07777U, 0644U);
        QCOMPARE(FSStat(toPath(at("file")), found, false), -2);
    }

    void timesAreSetInSeconds() {
        QCOMPARE(FSUTime(toPath(at("file")), 1000000001, 1234567890), 0);
        const struct stat found = info("file");
        QCOMPARE(found.st_atim.tv_sec, time_t(1000000001));
        QCOMPARE(found.st_mtim.tv_sec, time_t(1234567890));
        QCOMPARE(found.st_atim.tv_nsec, 0L);
        QCOMPARE(found.st_mtim.tv_nsec, 0L);
    }

    void timesOfALinkAreItsOwn() {
        QCOMPARE(symlink("file", toPath(at("link")).c_str()), 0);
        const time_t before = info("file").st_mtime;
        QCOMPARE(FSUTime(toPath(at("link")), 1000, 2000), 0);
        QCOMPARE(info("link").st_mtime, time_t(2000));
        QCOMPARE(info("file").st_mtime, before);
    }

    void timesOfNothingAnswerMinusOne() {
        QCOMPARE(FSUTime(toPath(at("missing")), 1000, 2000), -1);
        QCOMPARE(errno, ENOENT);
        QCOMPARE(m_log->lines(), QStringList());
    }

    void ownerIsSet() {
        if (geteuid() != 0) {
            QSKIP("only root gives files away");
        }
        QCOMPARE(symlink("file", toPath(at("link")).c_str()), 0);
        QCOMPARE(FSChown(toPath(at("file")), 1234, 5678), 0);
        QCOMPARE(FSChown(toPath(at("link")), 4321, 8765), 0);
        QCOMPARE(info("file").st_uid, 1234U);
        QCOMPARE(info("file").st_gid, 5678U);
        QCOMPARE(info("link").st_uid, 4321U);
        QCOMPARE(info("link").st_gid, 8765U);
    }

    void allOnesLeaveTheOwnerAsItIs() {
        QCOMPARE(FSChown(toPath(at("file")), ~0U, ~0U), 0);
        QCOMPARE(info("file").st_uid, static_cast<uid_t>(geteuid()));
    }

    void ownerThatMayNotBeSetAnswersMinusOne() {
        QCOMPARE(asOrdinaryUser([this] {
                     return FSChown(toPath(at("file")), 0, 0) == -1 && errno == EPERM ? 0 : 1;
                 }),
                 0);
        QCOMPARE(FSChown(toPath(at("missing")), 0, 0), -1);
        QCOMPARE(errno, ENOENT);
        const QString start = "[ERROR] file-op(#): FSChown: Failed to chown '";
        QCOMPARE(
            m_log->unnumbered(),
            (QStringList{start + at("file") + "' (code: 1, msg: Operation not permitted)",
                         start + at("missing") + "' (code: 2, msg: No such file or directory)"}));
    }

    // Standard input stands in for the current folder, and is none.
    void ownerOfARelativePathIsNotSet() {
        QCOMPARE(inChild([this] {
                     const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
                     dup2(null, 0);
                     return chdir(toPath(m_folder->path()).c_str()) == 0 &&
                                    FSChown("file", ~0U, ~0U) == -1 && errno == ENOTDIR
                                ? 0
                                : 1;
                 }),
                 0);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): FSChown: Failed to chown 'file' (code: 20, msg: "
                             "Not a directory)"));
    }

    void onlyRefusedPermissionCountsAsLocked_data() {
        QTest::addColumn<int>("error");
        QTest::addColumn<bool>("locked");
        QTest::newRow("no error") << 0 << false;
        QTest::newRow("EPERM") << EPERM << true;
        QTest::newRow("EACCES") << EACCES << true;
        QTest::newRow("ENOENT") << ENOENT << false;
        QTest::newRow("EROFS") << EROFS << false;
        QTest::newRow("ETXTBSY") << ETXTBSY << false;
        QTest::newRow("ELOOP") << ELOOP << false;
        QTest::newRow("EIO") << EIO << false;
    }
    void onlyRefusedPermissionCountsAsLocked() {
        QFETCH(int, error);
        QFETCH(bool, locked);
        access_error = error;
        QCOMPARE(isFileLocked(toPath(at("file")), R_OK), locked);
        QCOMPARE(hasFilePermission(toPath(at("file")), R_OK), !locked);
        QCOMPARE(m_log->lines(), QStringList());
    }

    void permissionIsAskedForInTheGivenMode() {
        chmod(toPath(at("file")).c_str(), 0444);
        writeFile(at("closed/file"), "");
        chmod(toPath(at("closed")).c_str(), 0);
        QCOMPARE(asOrdinaryUser([this] {
                     const ustring file = toPath(at("file"));
                     const bool read = hasFilePermission(file, R_OK) &&
                                       hasFilePermission(file, F_OK) && !isFileLocked(file, R_OK);
                     const bool write = isFileLocked(file, W_OK) && isFileLocked(file, X_OK) &&
                                        isFileLocked(file, R_OK | W_OK);
                     const bool closed = isFileLocked(toPath(at("closed/file")), F_OK);
                     return read && write && closed ? 0 : 1;
                 }),
                 0);
        chmod(toPath(at("closed")).c_str(), 0755);
    }

    void missingFileCountsAsPermitted() {
        QVERIFY(hasFilePermission(toPath(at("missing")), W_OK));
        QVERIFY(hasFilePermission(toPath(at("file/below")), R_OK));
        QVERIFY(hasFilePermission("", R_OK));
    }

    void fileSystemsAreKnownByTheirNumbers_data() {
        QTest::addColumn<quint64>("type");
        QTest::addColumn<bool>("network");
        QTest::addColumn<bool>("fat");
        QTest::newRow("NFS") << quint64(0x6969) << true << false;
        QTest::newRow("CIFS") << quint64(0xFF534D42) << true << false;
        QTest::newRow("CIFS, sign extended") << quint64(0xFFFFFFFFFF534D42) << true << false;
        QTest::newRow("FAT") << quint64(0x4D44) << false << true;
        QTest::newRow("ext4") << quint64(0xEF53) << false << false;
        QTest::newRow("tmpfs") << quint64(0x01021994) << false << false;
        QTest::newRow("none") << quint64(0) << false << false;
    }
    void fileSystemsAreKnownByTheirNumbers() {
        QFETCH(quint64, type);
        QFETCH(bool, network);
        QFETCH(bool, fat);
        file_system_type = type;
        QCOMPARE(isMountPoint(toPath(at("file"))), network);
        QCOMPARE(m_log->lines(), QStringList());
        QCOMPARE(IsMSDOS(toPath(at("file"))), fat);
        QStringList expected;
        if (fat) {
            expected << "[WARNING] file-op(#): Detect a MSDOS platform for path '" + at("file") +
                            "'.";
        }
        QCOMPARE(m_log->unnumbered(), expected);
    }

    void processFileSystemIsNeitherNetworkNorFat() {
        QVERIFY(!isMountPoint("/proc"));
        QVERIFY(!IsMSDOS("/proc"));
        QCOMPARE(m_log->lines(), QStringList());
    }

    void missingPathLiesOnNoFileSystem() {
        QVERIFY(!isMountPoint(toPath(at("missing"))));
        QCOMPARE(errno, ENOENT);
        QVERIFY(!IsMSDOS(toPath(at("missing"))));
        QCOMPARE(errno, ENOENT);
        const QString end =
            ": Failed to get file system info '" + at("missing") + "'. No such file or directory";
        QCOMPARE(m_log->unnumbered(),
                 (QStringList{"[ERROR] file-op(#): isMountPoint" + end,
                              "[ERROR] file-op(#): IsSupportLargeFile" + end}));
    }

private:
    QString at(const QString& name) const { return m_folder->filePath(name); }

    struct stat info(const QString& name) const {
        struct stat found = {};
        lstat(toPath(at(name)).c_str(), &found);
        return found;
    }

    std::optional<QTemporaryDir> m_folder;
    std::optional<LogCapture> m_log;
};

QTEST_GUILESS_MAIN(FileOpAttributesTest)
#include "file-op_attributes_test.moc"
