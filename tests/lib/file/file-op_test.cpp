#include "lib/file/file-op.h"
#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/support/paths.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

namespace {

/// A record in which every field differs from what any test finds.
FILE_INFO untouchedInfo() {
    FILE_INFO info;
    info.path = "old path";
    info.name = "old name";
    info.type = FT_HLINK;
    info.mtime = 11;
    info.size = 12;
    info.isExist = true;
    info.uid = 13;
    info.gid = 14;
    info.mode = 15;
    info.dev_id = 16;
    return info;
}

bool isUntouched(const FILE_INFO& info) {
    const FILE_INFO old = untouchedInfo();
    return info == old && info.uid == old.uid && info.gid == old.gid && info.mode == old.mode &&
           info.dev_id == old.dev_id;
}

} // namespace

class FileOpTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        m_folder = std::make_unique<QTemporaryDir>();
        QVERIFY(m_folder->isValid());
    }

    void typesHaveFixedNumbersInThirtyTwoBits() {
        QCOMPARE(sizeof(FILE_TYPE), size_t(4));
        const QVector<int> numbers{FT_ERR,   FT_FILE, FT_DIR,  FT_SLINK,
                                   FT_HLINK, FT_DEV,  FT_FIFO, FT_SOCK};
        QCOMPARE(numbers, (QVector<int>{0, 1, 2, 3, 4, 5, 6, 7}));
    }

    void newRecordIsEmpty() {
        const FILE_INFO info;
        QVERIFY(info.path.empty() && info.name.empty());
        QCOMPARE(info.type, FT_ERR);
        QVERIFY(!info.isExist);
        QVERIFY(info.mtime == 0 && info.size == 0 && info.uid == 0 && info.gid == 0 &&
                info.mode == 0 && info.dev_id == 0);
        const DIR_HANDLE handle;
        QVERIFY(handle.path.empty() && handle.flag == 0 && handle.dp == nullptr);
        const DIR_ENTRY entry;
        QVERIFY(entry.name.empty() && entry.type == FT_ERR && entry.mtime == 0 && entry.size == 0);
    }

    void recordsWithTheSameOldNamesAreTheSameTypes() {
        QVERIFY((std::is_same<FILE_INFO, struct _FILE_INFO_tag>::value));
        QVERIFY((std::is_same<FILE_TYPE, enum _FILE_TYPE_tag>::value));
    }

    void equalityLooksAtSixFields_data() {
        QTest::addColumn<QString>("field");
        QTest::addColumn<bool>("equal");
        for (const char* field : {"isExist", "size", "mtime", "type", "path", "name"}) {
            QTest::newRow(field) << QString(field) << false;
        }
        for (const char* field : {"none", "uid", "gid", "mode", "dev_id"}) {
            QTest::newRow(field) << QString(field) << true;
        }
    }
    void equalityLooksAtSixFields() {
        QFETCH(QString, field);
        QFETCH(bool, equal);
        const FILE_INFO one = untouchedInfo();
        FILE_INFO other = one;
        other.isExist = field != "isExist";
        other.size += field == "size";
        other.mtime += field == "mtime";
        other.type = field == "type" ? FT_DIR : FT_HLINK;
        other.path += field == "path" ? "x" : "";
        other.name += field == "name" ? "x" : "";
        other.uid += field == "uid";
        other.gid += field == "gid";
        other.mode += field == "mode";
        other.dev_id += field == "dev_id";
        QCOMPARE(one == other, equal);
        QCOMPARE(one != other, !equal);
    }

    void infoIsWhatLstatTells_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<int>("type");
        QTest::newRow("file") << "file" << int(FT_FILE);
        QTest::newRow("folder") << "folder" << int(FT_DIR);
        QTest::newRow("link to a file") << "link" << int(FT_SLINK);
        QTest::newRow("link to a folder") << "folder-link" << int(FT_SLINK);
        QTest::newRow("link to nothing") << "dangling" << int(FT_SLINK);
        QTest::newRow("second name of a file") << "hard" << int(FT_FILE);
        QTest::newRow("FIFO") << "fifo" << int(FT_FIFO);
        QTest::newRow("socket") << "socket" << int(FT_SOCK);
        QTest::newRow("character device") << "/dev/null" << int(FT_DEV);
    }
    void infoIsWhatLstatTells() {
        QFETCH(QString, path);
        QFETCH(int, type);
        makeOneOfEach();
        const QString full = path.startsWith('/') ? path : at(path);
        FILE_INFO info = untouchedInfo();
        QCOMPARE(GetFileInfo(toPath(full), info), 0);
        struct stat expected = {};
        QCOMPARE(lstat(QFile::encodeName(full).constData(), &expected), 0);
        QVERIFY(info.isExist);
        QCOMPARE(toText(info.path), full);
        QCOMPARE(toText(info.name), QFileInfo(full).fileName());
        QCOMPARE(int(info.type), type);
        QCOMPARE(info.mtime, static_cast<uint32_t>(expected.st_mtime));
        QCOMPARE(info.size, static_cast<uint64_t>(expected.st_size));
        QCOMPARE(info.uid, expected.st_uid);
        QCOMPARE(info.gid, expected.st_gid);
        QCOMPARE(info.mode, expected.st_mode);
        QCOMPARE(info.dev_id, static_cast<uint64_t>(expected.st_dev));
    }

    void infoTellsTimeSizeAndMode() {
        writeFile(at("file"), QByteArray(12345, 'x'), 0640);
        const struct timeval times[2] = {{1000, 0}, {1234567890, 999999}};
        QCOMPARE(utimes(toPath(at("file")).c_str(), times), 0);
        FILE_INFO info;
        QCOMPARE(GetFileInfo(toPath(at("file")), info), 0);
        QCOMPARE(info.size, uint64_t(12345));
        QCOMPARE(info.mtime, uint32_t(1234567890));
        QCOMPARE(info.mode, uint32_t(S_IFREG | 0640));
        QCOMPARE(info.uid, static_cast<uint32_t>(geteuid()));
    }

    void sizeAboveFourGigabytesIsWhole() {
        writeFile(at("sparse"), "");
        const off_t size = 5LL << 30;
        QCOMPARE(truncate(toPath(at("sparse")).c_str(), size), 0);
        FILE_INFO info;
        QCOMPARE(GetFileInfo(toPath(at("sparse")), info), 0);
        QCOMPARE(info.size, static_cast<uint64_t>(size));
    }

    void timeAfter2106IsCutToThirtyTwoBits() {
        writeFile(at("late"), "");
        const time_t late = (time_t(1) << 32) + 77;
        const struct timeval times[2] = {{late, 0}, {late, 0}};
        QCOMPARE(utimes(toPath(at("late")).c_str(), times), 0);
        struct stat found = {};
        QCOMPARE(stat(toPath(at("late")).c_str(), &found), 0);
        if (found.st_mtime != late) {
            QSKIP("this file system keeps no such time");
        }
        FILE_INFO info;
        QCOMPARE(GetFileInfo(toPath(at("late")), info), 0);
        QCOMPARE(info.mtime, uint32_t(77));
    }

    void infoOfNothingIsZeroButForItsNames() {
        FILE_INFO info = untouchedInfo();
        QCOMPARE(GetFileInfo(toPath(at("missing")), info), 0);
        QVERIFY(!info.isExist);
        QCOMPARE(toText(info.path), at("missing"));
        QCOMPARE(toText(info.name), QString("missing"));
        QCOMPARE(info.type, FT_ERR);
        QVERIFY(info.mtime == 0 && info.size == 0 && info.uid == 0 && info.gid == 0 &&
                info.mode == 0 && info.dev_id == 0);
    }

    void infoOfAnEmptyPathIsNothing() {
        FILE_INFO info = untouchedInfo();
        QCOMPARE(GetFileInfo("", info), 0);
        QVERIFY(!info.isExist && info.path.empty() && info.name.empty());
    }

    void otherErrorsLeaveTheInfoUntouched() {
        writeFile(at("file"), "");
        FILE_INFO info = untouchedInfo();
        QCOMPARE(GetFileInfo(toPath(at("file/below")), info), -1);
        QCOMPARE(errno, ENOTDIR);
        QVERIFY(isUntouched(info));
        QCOMPARE(GetFileInfo(toPath(at(QString(256, 'n'))), info), -1);
        QCOMPARE(errno, ENAMETOOLONG);
        QVERIFY(isUntouched(info));
    }

    void infoMayBeReadIntoTheRecordThatHoldsThePath() {
        writeFile(at("file"), "abc");
        FILE_INFO info;
        info.path = toPath(at("file"));
        QCOMPARE(GetFileInfo(info.path, info), 0);
        QCOMPARE(toText(info.path), at("file"));
        QCOMPARE(toText(info.name), QString("file"));
        info.name = toPath(at("file"));
        QCOMPARE(GetFileInfo(info.name, info), 0);
        QCOMPARE(toText(info.path), at("file"));
        QCOMPARE(toText(info.name), QString("file"));
    }

    void statAnswersApartForEmptyAndUnreadable() {
        writeFile(at("file"), "");
        for (const bool flag : {false, true}) {
            FILE_INFO info = untouchedInfo();
            QCOMPARE(FSStat("", info, flag), -1);
            QVERIFY(isUntouched(info));
            QCOMPARE(FSStat(toPath(at("file/below")), info, flag), -2);
            QCOMPARE(errno, ENOTDIR);
            QVERIFY(isUntouched(info));
            QCOMPARE(FSStat(toPath(at("file")), info, flag), 0);
            QVERIFY(info.isExist);
            QCOMPARE(FSStat(toPath(at("missing")), info, flag), 0);
            QVERIFY(!info.isExist);
        }
    }

    void statBehindAClosedFolderAnswersMinusTwo() {
        writeFile(at("closed/file"), "");
        chmod(toPath(at("closed")).c_str(), 0);
        chmod(toPath(m_folder->path()).c_str(), 0755);
        QCOMPARE(asOrdinaryUser([this] {
                     FILE_INFO info;
                     const bool refused =
                         FSStat(toPath(at("closed/file")), info, false) == -2 && errno == EACCES;
                     return refused && !IsFileExist(toPath(at("closed/file")), false) ? 0 : 1;
                 }),
                 0);
        chmod(toPath(at("closed")).c_str(), 0755);
    }

    void existenceFollowsNoLink() {
        makeOneOfEach();
        for (const bool flag : {false, true}) {
            QVERIFY(IsFileExist(toPath(at("file")), flag));
            QVERIFY(IsFileExist(toPath(at("folder")), flag));
            QVERIFY(IsFileExist(toPath(at("dangling")), flag));
            QVERIFY(!IsFileExist(toPath(at("missing")), flag));
            QVERIFY(!IsFileExist(toPath(at("file/below")), flag));
            QVERIFY(!IsFileExist("", flag));
        }
    }

    void timesAreComparedWhole() {
        QVERIFY(FSTimeEqual(5, 5));
        QVERIFY(!FSTimeEqual(5, 6));
        QVERIFY(!FSTimeEqual((time_t(1) << 32) + 5, 5));
    }

    void baseNameIsTheTextAfterTheLastSlash_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("parent");
        QTest::newRow("absolute") << "/a/b/c"
                                  << "c"
                                  << "/a/b";
        QTest::newRow("relative") << "a/b"
                                  << "b"
                                  << "a";
        QTest::newRow("no slash") << "a"
                                  << "a"
                                  << "/";
        QTest::newRow("slash at the end") << "/a/b/"
                                          << ""
                                          << "/a/b";
        QTest::newRow("two slashes") << "/a//b"
                                     << "b"
                                     << "/a/";
        QTest::newRow("below the root") << "/a"
                                        << "a"
                                        << "/";
        QTest::newRow("root") << "/"
                              << ""
                              << "/";
        QTest::newRow("empty") << ""
                               << ""
                               << "/";
        QTest::newRow("UTF-8") << QString::fromUtf8("/ä/日本") << QString::fromUtf8("日本")
                               << QString::fromUtf8("/ä");
    }
    void baseNameIsTheTextAfterTheLastSlash() {
        QFETCH(QString, path);
        QFETCH(QString, name);
        QFETCH(QString, parent);
        QCOMPARE(toText(FSBaseName(toPath(path))), name);
        QCOMPARE(toText(FSParentPath(toPath(path))), parent);
    }

    void parentFolderIsAWholePrefix_data() {
        QTest::addColumn<QString>("parent");
        QTest::addColumn<QString>("child");
        QTest::addColumn<bool>("isParent");
        QTest::newRow("child") << "/a"
                               << "/a/b" << true;
        QTest::newRow("grandchild") << "/a"
                                    << "/a/b/c" << true;
        QTest::newRow("itself") << "/a"
                                << "/a" << true;
        QTest::newRow("itself with a slash") << "/a"
                                             << "/a/" << true;
        QTest::newRow("longer name") << "/a"
                                     << "/ab" << false;
        QTest::newRow("other name") << "/a"
                                    << "/b/a" << false;
        QTest::newRow("shorter child") << "/a/b"
                                       << "/a" << false;
        QTest::newRow("parent with a slash") << "/a/"
                                             << "/a/b" << false;
        QTest::newRow("root") << "/"
                              << "/a" << false;
        QTest::newRow("empty parent, absolute child") << ""
                                                      << "/a" << true;
        QTest::newRow("empty parent, relative child") << ""
                                                      << "a" << false;
        QTest::newRow("both empty") << ""
                                    << "" << true;
    }
    void parentFolderIsAWholePrefix() {
        QFETCH(QString, parent);
        QFETCH(QString, child);
        QFETCH(bool, isParent);
        QCOMPARE(FSIsParentFolder(toPath(parent), toPath(child)), isParent);
    }

private:
    QString at(const QString& name) const { return m_folder->filePath(name); }

    void makeOneOfEach() {
        writeFile(at("file"), "content");
        QVERIFY(QDir(m_folder->path()).mkdir("folder"));
        QCOMPARE(symlink("file", toPath(at("link")).c_str()), 0);
        QCOMPARE(symlink("folder", toPath(at("folder-link")).c_str()), 0);
        QCOMPARE(symlink("nowhere", toPath(at("dangling")).c_str()), 0);
        QCOMPARE(link(toPath(at("file")).c_str(), toPath(at("hard")).c_str()), 0);
        QCOMPARE(mkfifo(toPath(at("fifo")).c_str(), 0600), 0);
        const int end = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        struct sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const QByteArray path = QFile::encodeName(at("socket"));
        QVERIFY(path.size() < int(sizeof address.sun_path));
        memcpy(address.sun_path, path.constData(), size_t(path.size()));
        QCOMPARE(bind(end, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        close(end);
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_GUILESS_MAIN(FileOpTest)
#include "file-op_test.moc"
