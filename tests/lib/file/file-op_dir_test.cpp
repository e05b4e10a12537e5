// Linked with readdir_r wrapped: the test says which type an entry has.
#include "lib/file/file-op.h"
#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/paths.h"

#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

static int forced_type = -1;

extern "C" int __real_readdir_r(DIR* folder, struct dirent* storage, struct dirent** found);
extern "C" int __wrap_readdir_r(DIR* folder, struct dirent* storage, struct dirent** found) {
    const int error = __real_readdir_r(folder, storage, found);
    if (error == 0 && *found != nullptr && forced_type >= 0) {
        (*found)->d_type = static_cast<unsigned char>(forced_type);
    }
    return error;
}

class FileOpDirTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        forced_type = -1;
        m_folder.emplace();
        chmod(toPath(m_folder->path()).c_str(), 0755);
        m_log.emplace();
    }
    void cleanup() {
        m_log.reset();
        m_folder.reset();
    }

    void everyEntryIsReadOnceDotsIncluded() {
        QStringList expected{".", ".."};
        for (int i = 0; i < 500; ++i) { // more than the C library reads at a time
            expected << QString("entry number %1 ").arg(i).leftJustified(100, 'n');
            writeFile(at(expected.last()), "");
        }
        QStringList names;
        DIR_HANDLE folder;
        QCOMPARE(FSOpenDir(toPath(m_folder->path()), 0, folder), 0);
        QVERIFY(folder.dp != nullptr);
        QCOMPARE(toText(folder.path), m_folder->path());
        DIR_ENTRY entry;
        while (FSReadDir(folder, entry) == 1) {
            names << toText(entry.name);
        }
        QCOMPARE(FSReadDir(folder, entry), 0);
        FSCloseDir(folder);
        names.sort();
        expected.sort();
        QCOMPARE(names, expected);
        QCOMPARE(m_log->lines(), QStringList());
    }

    void namesOfAnyBytesAreKept_data() {
        QTest::addColumn<QByteArray>("name");
        QTest::newRow("UTF-8") << QByteArray("ä 日本.txt");
        QTest::newRow("longest") << QByteArray(255, 'n');
        QTest::newRow("longest in three-byte characters") << QByteArray("日").repeated(85);
        QTest::newRow("not UTF-8") << QByteArray("a\xff\xfe z");
        QTest::newRow("line feed") << QByteArray("a\nb");
        QTest::newRow("hidden") << QByteArray(".hidden");
        QTest::newRow("three dots") << QByteArray("...");
    }
    void namesOfAnyBytesAreKept() {
        QFETCH(QByteArray, name);
        const QByteArray path = QFile::encodeName(m_folder->path()) + "/" + name;
        const int fd = open(path.constData(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600);
        QVERIFY(fd >= 0);
        close(fd);
        QByteArray seen;
        DIR_HANDLE folder;
        QCOMPARE(FSOpenDir(toPath(m_folder->path()), 1, folder), 0);
        DIR_ENTRY entry;
        while (FSReadDir(folder, entry) == 1) {
            if (entry.name != "." && entry.name != "..") {
                seen += entry.name.c_str();
            }
        }
        FSCloseDir(folder);
        QCOMPARE(seen, name);
        unlink(path.constData());
    }

    void typesAreThoseOfTheFileSystem() {
        makeOneOfEach();
        const auto entries = read(m_folder->path(), 0);
        QCOMPARE(entries["file"].type, FT_FILE);
        QCOMPARE(entries["folder"].type, FT_DIR);
        QCOMPARE(entries["."].type, FT_DIR);
        QCOMPARE(entries[".."].type, FT_DIR);
        QCOMPARE(entries["link"].type, FT_SLINK);
        QCOMPARE(entries["fifo"].type, FT_FIFO);
        QCOMPARE(read("/dev", 0)["null"].type, FT_DEV);
    }

    void everyTypeOfTheSystemHasItsNumber_data() {
        QTest::addColumn<int>("systemType");
        QTest::addColumn<int>("type");
        QTest::newRow("FIFO") << int(DT_FIFO) << int(FT_FIFO);
        QTest::newRow("character device") << int(DT_CHR) << int(FT_DEV);
        QTest::newRow("block device") << int(DT_BLK) << int(FT_DEV);
        QTest::newRow("folder") << int(DT_DIR) << int(FT_DIR);
        QTest::newRow("file") << int(DT_REG) << int(FT_FILE);
        QTest::newRow("link") << int(DT_LNK) << int(FT_SLINK);
        QTest::newRow("socket") << int(DT_SOCK) << int(FT_SOCK);
        QTest::newRow("unknown") << int(DT_UNKNOWN) << int(FT_ERR);
        QTest::newRow("whiteout") << int(DT_WHT) << int(FT_ERR);
    }
    void everyTypeOfTheSystemHasItsNumber() {
        QFETCH(int, systemType);
        QFETCH(int, type);
        writeFile(at("entry"), "");
        forced_type = systemType;
        for (const int flag : {0, 1}) {
            QCOMPARE(int(read(m_folder->path(), flag)["entry"].type), type);
        }
    }

    void sizeAndTimeAreReadOnDemand_data() {
        QTest::addColumn<int>("flag");
        QTest::addColumn<bool>("filled");
        QTest::newRow("0") << 0 << false;
        QTest::newRow("1") << 1 << true;
        QTest::newRow("2") << 2 << false;
        QTest::newRow("3") << 3 << true;
        QTest::newRow("all bits") << -1 << true;
    }
    void sizeAndTimeAreReadOnDemand() {
        QFETCH(int, flag);
        QFETCH(bool, filled);
        makeOneOfEach();
        const auto entries = read(m_folder->path(), flag);
        QCOMPARE(entries.size(), 6);
        for (auto entry = entries.begin(); entry != entries.end(); ++entry) {
            struct stat found = {}; // a link's own size and time, too
            QCOMPARE(lstat(toPath(at(entry.key())).c_str(), &found), 0);
            QCOMPARE(entry->size, filled ? static_cast<uint64_t>(found.st_size) : 0);
            QCOMPARE(entry->mtime, filled ? static_cast<uint32_t>(found.st_mtime) : 0);
        }
    }

    void entryRecordIsFilledAnewEachTime() {
        writeFile(at("file"), "content");
        DIR_HANDLE folder;
        DIR_ENTRY entry;
        entry.size = 99;
        entry.mtime = 99;
        QCOMPARE(FSOpenDir(toPath(m_folder->path()), 0, folder), 0);
        QCOMPARE(FSReadDir(folder, entry), 1);
        QVERIFY(entry.size == 0 && entry.mtime == 0);
        FSCloseDir(folder);
    }

    void entryThatIsGoneHasNeitherSizeNorTime() {
        for (int i = 0; i < 20; ++i) {
            writeFile(at(QString::number(i)), "content");
        }
        DIR_HANDLE folder;
        DIR_ENTRY entry;
        QCOMPARE(FSOpenDir(toPath(m_folder->path()), 1, folder), 0);
        QCOMPARE(FSReadDir(folder, entry), 1);
        // The C library has read them all by now, and goes on telling of them.
        for (int i = 0; i < 20; ++i) {
            QVERIFY(QFile::remove(at(QString::number(i))));
        }
        int gone = 0;
        while (FSReadDir(folder, entry) == 1) {
            if (entry.type == FT_FILE) {
                ++gone;
                QVERIFY(entry.size == 0 && entry.mtime == 0);
            }
        }
        FSCloseDir(folder);
        QVERIFY(gone >= 19);
        QCOMPARE(m_log->lines(), QStringList());
    }

    void folderThatDoesNotOpenAnswersMinusOne_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("error");
        QTest::addColumn<QString>("text");
        QTest::newRow("missing") << "missing" << ENOENT << "No such file or directory";
        QTest::newRow("file") << "file" << ENOTDIR << "Not a directory";
        QTest::newRow("FIFO") << "fifo" << ENOTDIR << "Not a directory";
    }
    void folderThatDoesNotOpenAnswersMinusOne() {
        QFETCH(QString, name);
        QFETCH(int, error);
        QFETCH(QString, text);
        makeOneOfEach();
        DIR_HANDLE folder;
        folder.path = "old";
        folder.flag = 5;
        QCOMPARE(FSOpenDir(toPath(at(name)), 1, folder), -1);
        QCOMPARE(errno, error);
        QVERIFY(folder.dp == nullptr && folder.flag == 5);
        QCOMPARE(toText(folder.path), QString("old"));
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): FSOpenDir: Failed to open directory '" +
                             at(name) + "'. " + text));
    }

    void readErrorAnswersMinusOne() {
        DIR_HANDLE folder;
        DIR_ENTRY entry;
        QCOMPARE(FSOpenDir(toPath(m_folder->path()), 0, folder), 0);
        close(dirfd(folder.dp)); // what the folder lay on is gone
        QCOMPARE(FSReadDir(folder, entry), -1);
        QCOMPARE(errno, EBADF);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): FSOpenDir: Failed to read directory '" +
                             m_folder->path() + "'. Bad file descriptor"));
        FSCloseDir(folder);
        QVERIFY(folder.dp == nullptr);
    }

    void handleThatIsNotOpenReadsNothing() {
        DIR_HANDLE folder;
        DIR_ENTRY entry;
        QCOMPARE(FSReadDir(folder, entry), -1);
        QCOMPARE(errno, EBADF);
        QCOMPARE(m_log->unnumbered(),
                 QStringList("[ERROR] file-op(#): FSOpenDir: Failed to read directory ''. Bad file "
                             "descriptor"));
    }

    void entryWithoutInformationAnswersMinusOne() {
        writeFile(at("listed only/file"), "");
        chmod(toPath(at("listed only")).c_str(), 0444);
        QCOMPARE(asOrdinaryUser([this] {
                     DIR_HANDLE folder;
                     DIR_ENTRY entry;
                     if (FSOpenDir(toPath(at("listed only")), 1, folder) != 0) {
                         return 1;
                     }
                     const int result = FSReadDir(folder, entry);
                     const bool refused = result == -1 && errno == EACCES;
                     FSCloseDir(folder);
                     return refused ? 0 : 2;
                 }),
                 0);
        chmod(toPath(at("listed only")).c_str(), 0755);
        const QStringList lines = m_log->unnumbered();
        QCOMPARE(lines.size(), 1);
        const QString start = "[ERROR] file-op(#): FSOpenDir: Failed to get info for '";
        QStringList possible; // whichever entry comes first
        for (const char* name : {".", "..", "file"}) {
            possible << start + at("listed only/") + name + "'";
        }
        QVERIFY2(possible.contains(lines.first()), qPrintable(lines.first()));
    }

    void sameFolderIsListedWithoutInformation() {
        writeFile(at("listed only/file"), "");
        chmod(toPath(at("listed only")).c_str(), 0444);
        QCOMPARE(asOrdinaryUser([this] { return read(at("listed only"), 0).size() == 3 ? 0 : 1; }),
                 0);
        chmod(toPath(at("listed only")).c_str(), 0755);
    }

    void closeGivesEverythingBack() {
        DIR_HANDLE folder;
        QCOMPARE(FSOpenDir(toPath(m_folder->path()), 1, folder), 0);
        const int fd = dirfd(folder.dp);
        QVERIFY((fcntl(fd, F_GETFD) & FD_CLOEXEC) != 0);
        FSCloseDir(folder);
        QVERIFY(folder.dp == nullptr);
        QVERIFY(folder.path.empty());
        QCOMPARE(fcntl(fd, F_GETFD), -1);
        FSCloseDir(folder); // not open any more
    }

    void closeOfAHandleThatIsNotOpenDoesNothing() {
        DIR_HANDLE folder;
        folder.path = "kept";
        FSCloseDir(folder);
        QCOMPARE(toText(folder.path), QString("kept"));
        QVERIFY(folder.dp == nullptr);
    }

private:
    QString at(const QString& name) const { return m_folder->filePath(name); }

    void makeOneOfEach() {
        writeFile(at("file"), "content");
        QDir(m_folder->path()).mkdir("folder");
        QCOMPARE(symlink("file", toPath(at("link")).c_str()), 0);
        QCOMPARE(mkfifo(toPath(at("fifo")).c_str(), 0600), 0);
    }

    static QMap<QString, DIR_ENTRY> read(const QString& path, int flag) {
        QMap<QString, DIR_ENTRY> entries;
        DIR_HANDLE folder;
        DIR_ENTRY entry;
        FSOpenDir(toPath(path), flag, folder);
        while (FSReadDir(folder, entry) == 1) {
            entries[toText(entry.name)] = entry;
        }
        FSCloseDir(folder);
        return entries;
    }

    std::optional<QTemporaryDir> m_folder;
    std::optional<LogCapture> m_log;
};

QTEST_GUILESS_MAIN(FileOpDirTest)
#include "file-op_dir_test.moc"
