#include "lib/log.h"
#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

#define LOG_SOURCE "log_rotation_test"
#define LOG_COMPONENT "service_debug"

namespace {

constexpr int limit = 1048576;

// A file of `bytes` bytes that needs no space on the disk.
void makeSparse(const QString& path, qint64 bytes) {
    writeFile(path, "");
    QVERIFY(truncate(path.toLocal8Bit().constData(), bytes) == 0);
}

} // namespace

class LogRotationTest : public QObject {
    Q_OBJECT

private:
    QScopedPointer<QTemporaryDir> m_folder;

    QString path(const QString& name) const { return m_folder->filePath(name); }
    int open(int count, const QString& name = "log",
             Logger::SafetyScope scope = Logger::ThreadSafe) const {
        return Logger::Initialize(Logger::FILE_LOGGER, path(name).toStdString(), "", count, scope);
    }
    // "name=content" of every file below the folder.
    QByteArray files() const {
        QByteArrayList list;
        for (const QString& name : listTree(m_folder->path())) {
            list << name.toUtf8() + (name.endsWith('/') ? QByteArray()
                                                        : "=" + markStamps(readFile(path(name))));
        }
        return list.join(' ');
    }
    // Bytes that one line "x\n" takes, stamp included.
    int lineBytes() const {
        open(50, "probe");
        const int bytes = Logger::PrintToFilePointer("x\n");
        Logger::Destroy();
        QFile::remove(path("probe"));
        return bytes;
    }

private slots:
    void init() { m_folder.reset(new QTemporaryDir); }
    void cleanup() { Logger::Destroy(); }

    // The generations

    void oneRotationMovesTheGenerations_data() {
        QTest::addColumn<int>("count");
        QTest::addColumn<QByteArray>("after");
        // Of -3 .. 3 each generation holds its own number, the live file holds "live".
        QTest::newRow("4") << 4
                           << QByteArray("log= log_-1=-1 log_-2=-2 log_-3=-3 log_0=live "
                                         "log_1=0 log_2=1");
        QTest::newRow("3") << 3
                           << QByteArray("log= log_-1=-1 log_-2=-2 log_-3=-3 log_0=live "
                                         "log_1=0 log_3=3");
        QTest::newRow("2") << 2
                           << QByteArray("log= log_-1=-1 log_-2=-2 log_-3=-3 log_0=live "
                                         "log_2=2 log_3=3");
        QTest::newRow("1") << 1
                           << QByteArray("log= log_-1=-1 log_-2=-2 log_-3=-3 log_0=live "
                                         "log_1=1 log_2=2 log_3=3");
        QTest::newRow("0") << 0
                           << QByteArray("log= log_-2=-2 log_-3=-3 log_0=live "
                                         "log_1=1 log_2=2 log_3=3");
        QTest::newRow("-1") << -1
                            << QByteArray("log= log_-1=-1 log_-3=-3 log_0=live "
                                          "log_1=1 log_2=2 log_3=3");
    }
    void oneRotationMovesTheGenerations() {
        QFETCH(int, count);
        writeFile(path("log"), "live");
        for (int number = -3; number <= 3; ++number) {
            writeFile(path(QString("log_%1").arg(number)), QByteArray::number(number));
        }
        QCOMPARE(open(count), 0);
        QCOMPARE(Logger::Rotate(), 0);
        QTEST(files(), "after");
    }
    void fiftyKeepsFortyNineOldFiles() {
        QCOMPARE(open(50), 0);
        for (int number = 0; number < 60; ++number) {
            Logger::PrintToFilePointer("%d\n", number);
            QCOMPARE(Logger::Rotate(), 0);
            QVERIFY(!QFile::exists(path("log_49")));
            QCOMPARE(listTree(m_folder->path()).size(), 1 + qMin(number + 1, 49));
        }
        for (int generation = 0; generation <= 48; ++generation) {
            const QByteArray text = readFile(path(QString("log_%1").arg(generation)));
            QCOMPARE(markStamps(text), "@ " + QByteArray::number(59 - generation) + "\n");
        }
        QCOMPARE(readFile(path("log")), QByteArray());
    }
    void foreignFilesBesideTheLogStay() {
        for (const char* name : {"log_", "log_a", "log_00", "log_50", "log_51", "xlog_0"}) {
            writeFile(path(name), name);
        }
        QCOMPARE(open(50), 0);
        QCOMPARE(Logger::Rotate(), 0);
        QCOMPARE(files(), QByteArray("log= log_=log_ log_0= log_00=log_00 log_50=log_50 "
                                     "log_51=log_51 log_a=log_a xlog_0=xlog_0"));
    }
    void missingGenerationsAreNormal() {
        writeFile(path("log_1"), "1");
        QCOMPARE(open(4), 0);
        QCOMPARE(Logger::Rotate(), 0);
        QCOMPARE(files(), QByteArray("log= log_0= log_2=1"));
    }
    void generationsThatCannotMoveOrGoAreIgnored() {
        // A rename onto a full folder fails, as does the removal of one.
        writeFile(path("log"), "live");
        writeFile(path("log_0"), "0");
        writeFile(path("log_1"), "1");
        writeFile(path("log_2/full"), "2");
        QCOMPARE(open(3), 0);
        QCOMPARE(Logger::Rotate(), 0);
        QCOMPARE(files(), QByteArray("log= log_0=live log_1=0 log_2/ log_2/full=2"));
    }
    void logGoesOnInANewFile() {
        QCOMPARE(open(50), 0);
        WRITE_LOG(L_ERR, LOG_AT(1, "old\n"));
        QCOMPARE(Logger::Rotate(), 0);
        WRITE_LOG(L_ERR, LOG_AT(2, "new\n"));
        QCOMPARE(files(), QByteArray("log=@ [ERROR] log_rotation_test(2): new\n "
                                     "log_0=@ [ERROR] log_rotation_test(1): old\n"));
    }
    void rotationMovesBothCounters() {
        QCOMPARE(open(50), 0);
        QCOMPARE(Logger::Rotate(), 0);
        QCOMPARE(Logger::Rotate(), 0);
        QCOMPARE(*Logger::log_rotated_count_shared, uint64_t(2));
        QCOMPARE(Logger::log_rotated_count_private, uint64_t(2));
    }
    void oldStreamIsClosed() {
        QCOMPARE(open(50), 0);
        const int descriptor = fileno(Logger::log_fp);
        for (int i = 0; i < 20; ++i) {
            QCOMPARE(Logger::Rotate(), 0);
            QCOMPARE(fileno(Logger::log_fp), descriptor);
        }
    }

    // The size

    void fileRotatesOnceItExceedsOneMebibyte() {
        makeSparse(path("log"), limit - 10);
        QCOMPARE(open(50), 0);
        QCOMPARE(Logger::RotateIfFileBig(10), 0);
        QCOMPARE(*Logger::log_size, limit);
        QVERIFY(!QFile::exists(path("log_0")));
        QCOMPARE(Logger::RotateIfFileBig(0), 0);
        QVERIFY(!QFile::exists(path("log_0")));
        QCOMPARE(Logger::RotateIfFileBig(1), 0);
        QCOMPARE(*Logger::log_size, 0);
        QCOMPARE(QFileInfo(path("log_0")).size(), limit - 10);
        QCOMPARE(readFile(path("log")), QByteArray());
    }
    void lineThatExceedsTheLimitGoesToTheOldFile() {
        const int bytes = lineBytes();
        makeSparse(path("log"), limit - bytes);
        QCOMPARE(open(50), 0);
        Logger::LogMsg(Logger::L_ERR, "service_debug", "x\n");
        QCOMPARE(QFileInfo(path("log")).size(), limit);
        QVERIFY(!QFile::exists(path("log_0")));
        Logger::LogMsg(Logger::L_ERR, "service_debug", "y\n");
        QCOMPARE(readFile(path("log")), QByteArray());
        const QByteArray old = readFile(path("log_0"));
        QCOMPARE(old.size(), limit + bytes);
        QVERIFY(old.endsWith(" y\n"));
        QVERIFY(old.chopped(bytes).endsWith(" x\n"));
        QCOMPARE(*Logger::log_size, 0);
    }
    void countIncludesTheStampsAndStartsAgainAfterARotation() {
        writeFile(path("log"), "earlier\n");
        QCOMPARE(open(50), 0);
        for (int i = 0; i < 5; ++i) {
            WRITE_LOG(L_ERR, LOG_HERE("text %d\n"), i);
            QCOMPARE(qint64(*Logger::log_size), QFileInfo(path("log")).size());
        }
        QCOMPARE(Logger::RotateIfFileBig(limit), 0);
        WRITE_LOG(L_ERR, LOG_HERE("text\n"));
        QCOMPARE(qint64(*Logger::log_size), QFileInfo(path("log")).size());
        QVERIFY(*Logger::log_size > 0);
    }
    void overfullFileOfAnEarlierRunRotatesAfterTheFirstLine() {
        makeSparse(path("log"), 3 * limit);
        QCOMPARE(open(50), 0);
        QVERIFY(!QFile::exists(path("log_0")));
        WRITE_LOG(L_ERR, LOG_HERE("first\n"));
        QVERIFY(readFile(path("log_0")).endsWith("first\n"));
        WRITE_LOG(L_ERR, LOG_AT(1, "second\n"));
        QCOMPARE(markStamps(readFile(path("log"))),
                 QByteArray("@ [ERROR] log_rotation_test(1): second\n"));
    }
    void countOfZeroBytesIsTestedToo() {
        makeSparse(path("log"), limit + 1);
        QCOMPARE(open(50), 0);
        QCOMPARE(Logger::RotateIfFileBig(0), 0);
        QCOMPARE(QFileInfo(path("log_0")).size(), qint64(limit + 1));
    }
    void negativeCountIsIgnored() {
        makeSparse(path("log"), limit + 1);
        QCOMPARE(open(50), 0);
        QCOMPARE(Logger::RotateIfFileBig(-1), 0);
        QCOMPARE(*Logger::log_size, limit + 1);
        QVERIFY(!QFile::exists(path("log_0")));
    }
    void failedWritesAreNotCounted() {
        makeSparse(path("log"), limit + 1);
        QCOMPARE(open(50), 0);
        fclose(Logger::log_fp);
        Logger::log_fp = fopen(path("log").toLocal8Bit().constData(), "r"); // takes no output
        QCOMPARE(Logger::PrintToFilePointer("text\n"), -2);
        WRITE_LOG(L_ERR, LOG_HERE("text\n"));
        QCOMPARE(*Logger::log_size, limit + 1);
        QVERIFY(!QFile::exists(path("log_0")));
    }
    void onlyAFileRotates_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("size");
        QTest::newRow("android") << int(Logger::ANDROID_LOGGER) << limit + 1;
        QTest::newRow("system log") << int(Logger::SYSLOG_LOGGER) << -1;
        QTest::newRow("standard output") << int(Logger::STDOUT_LOGGER) << -1;
        QTest::newRow("standard error") << int(Logger::STDERR_LOGGER) << -1;
    }
    void onlyAFileRotates() {
        QFETCH(int, type);
        makeSparse(path("log"), limit + 1);
        QCOMPARE(Logger::Initialize(Logger::Type(type), path("log").toStdString(), "", 50,
                                    Logger::ThreadSafe),
                 0);
        QCOMPARE(Logger::RotateIfFileBig(2 * limit), 0);
        QTEST(*Logger::log_size, "size");
        QCOMPARE(listTree(m_folder->path()), QStringList{"log"});
    }
    void nothingRotatesBeforeInitialize() {
        QCOMPARE(inChild([] {
                     Logger::log_type = Logger::STDOUT_LOGGER; // as from the start
                     return Logger::log_size == nullptr ? Logger::RotateIfFileBig(2 * limit) : 1;
                 }),
                 0);
    }
    void countJustBelowTwoGibibytesDoesNotOverflow() {
        makeSparse(path("log"), INT_MAX);
        QCOMPARE(open(50), 0);
        QCOMPARE(*Logger::log_size, INT_MAX);
        QCOMPARE(Logger::RotateIfFileBig(100), 0);
        QCOMPARE(QFileInfo(path("log_0")).size(), qint64(INT_MAX));
        QCOMPARE(*Logger::log_size, 0);
    }

    // Rotations that fail: the stream is null, every later message is dropped

    void removedFolderEndsTheLog() {
        QVERIFY(QDir(m_folder->path()).mkdir("sub"));
        QCOMPARE(open(50, "sub/log"), 0);
        QVERIFY(QDir(path("sub")).removeRecursively());
        QCOMPARE(Logger::Rotate(), -1);
        QVERIFY(Logger::log_fp == nullptr);
        QCOMPARE(*Logger::log_rotated_count_shared, uint64_t(0));
        QCOMPARE(Logger::log_rotated_count_private, uint64_t(0));

        QVERIFY(QDir(m_folder->path()).mkdir("sub"));
        QVERIFY(Logger::IsNeedToLog(Logger::L_ERR, "service_debug"));
        WRITE_LOG(L_ERR, LOG_HERE("dropped\n"));
        QCOMPARE(Logger::PrintToFilePointer("dropped\n"), 0);
        QCOMPARE(files(), QByteArray("sub/"));
    }
    void failureIsAnsweredAndTheCountStartsAgain() {
        QVERIFY(QDir(m_folder->path()).mkdir("sub"));
        QCOMPARE(open(50, "sub/log"), 0);
        QVERIFY(QDir(path("sub")).removeRecursively());
        QCOMPARE(Logger::RotateIfFileBig(limit + 1), -1);
        QCOMPARE(*Logger::log_size, 0);
    }
    void messageWhoseRotationFailsLeavesTheErrorNumberOfTheCaller() {
        QVERIFY(QDir(m_folder->path()).mkdir("sub"));
        makeSparse(path("sub/log"), limit);
        QCOMPARE(open(50, "sub/log"), 0);
        QVERIFY(QDir(path("sub")).removeRecursively());
        errno = ECHILD;
        WRITE_LOG(L_ERR, LOG_HERE("text\n"));
        QCOMPARE(errno, ECHILD);
        QVERIFY(Logger::log_fp == nullptr);
        WRITE_LOG(L_ERR, LOG_HERE("dropped\n"));
        QCOMPARE(files(), QByteArray());
    }
    void folderWithoutWritePermissionEndsTheLog() {
        writeFile(path("log"), "earlier\n", 0666);
        QVERIFY(truncate(path("log").toLocal8Bit().constData(), limit) == 0);
        const auto readOnly =
            QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther | QFile::ExeOther;
        QVERIFY(QFile::setPermissions(m_folder->path(), readOnly));
        QCOMPARE(asOrdinaryUser([this] {
                     const int opened = open(50);
                     WRITE_LOG(L_ERR, LOG_HERE("last\n"));
                     const bool dead = Logger::log_fp == nullptr;
                     WRITE_LOG(L_ERR, LOG_HERE("dropped\n"));
                     return opened == 0 && dead && *Logger::log_size == 0 ? 0 : 1;
                 }),
                 0);
        QVERIFY(QFile::setPermissions(m_folder->path(), readOnly | QFile::WriteOwner));
        QCOMPARE(listTree(m_folder->path()), QStringList{"log"});
        QVERIFY(readFile(path("log")).endsWith("last\n"));
    }
    void folderInThePlaceOfGenerationZeroEndsTheLog() {
        writeFile(path("log"), "live");
        writeFile(path("log_0/full"), "0");
        QCOMPARE(open(1), 0);
        QCOMPARE(Logger::Rotate(), -1);
        QVERIFY(Logger::log_fp == nullptr);
        WRITE_LOG(L_ERR, LOG_HERE("dropped\n"));
        QCOMPARE(files(), QByteArray("log=live log_0/ log_0/full=0"));
    }
    void fileThatCannotBeReopenedEndsTheLog() {
        writeFile(path("log"), "live");
        QCOMPARE(inChild([this] {
                     open(50);
                     const struct rlimit none = {0, 0};
                     setrlimit(RLIMIT_NOFILE, &none);
                     const int result = Logger::Rotate();
                     WRITE_LOG(L_ERR, LOG_HERE("dropped\n"));
                     return result == -1 && Logger::log_fp == nullptr &&
                                    *Logger::log_rotated_count_shared == 0 &&
                                    Logger::log_rotated_count_private == 0
                                ? 0
                                : 1;
                 }),
                 0);
        QCOMPARE(files(), QByteArray("log_0=live"));
    }
    void initializeAfterAFailedRotationLogsAgain() {
        writeFile(path("log_0/full"), "0");
        QCOMPARE(open(1), 0);
        QCOMPARE(Logger::Rotate(), -1);
        QCOMPARE(open(1), 0);
        WRITE_LOG(L_ERR, LOG_AT(1, "again\n"));
        QCOMPARE(markStamps(readFile(path("log"))),
                 QByteArray("@ [ERROR] log_rotation_test(1): again\n"));
    }

    // Generation names end after 1023 bytes

    void nameThatWouldBeCutShortMovesNothing_data() {
        QTest::addColumn<int>("length"); // of the log's path
        QTest::addColumn<int>("result");
        QTest::newRow("all fit") << 1020 << 0; // "_49" ends at 1023
        QTest::newRow("the last does not") << 1021 << -1;
        QTest::newRow("none does") << 1100 << -1;
    }
    void nameThatWouldBeCutShortMovesNothing() {
        QFETCH(int, length);
        QFETCH(int, result);
        QString name;
        while (path(name).size() + 201 < length - 10) {
            name += QString(200, 'd') + '/';
        }
        QVERIFY(QDir(m_folder->path()).mkpath(name));
        name += QString(length - path(name).size(), 'f');
        QCOMPARE(path(name).size(), length);
        QCOMPARE(open(50, name), 0);
        WRITE_LOG(L_ERR, LOG_AT(1, "first\n"));
        QCOMPARE(Logger::Rotate(), result);
        WRITE_LOG(L_ERR, LOG_AT(2, "second\n"));
        const QByteArray first = "@ [ERROR] log_rotation_test(1): first\n";
        const QByteArray second = "@ [ERROR] log_rotation_test(2): second\n";
        QCOMPARE(markStamps(readFile(path(name))), result == 0 ? second : first + second);
        QCOMPARE(QFile::exists(path(name) + "_0"), result == 0);
    }

    // A file that somebody else rotated

    void movedCounterMakesAProcessSafeWriterOpenTheFileAnew() {
        QCOMPARE(open(50, "log", Logger::ProcessSafe), 0);
        WRITE_LOG(L_ERR, LOG_AT(1, "before\n"));
        QVERIFY(QFile::rename(path("log"), path("log_0")));
        writeFile(path("log"), "theirs\n");
        *Logger::log_rotated_count_shared = 5;
        WRITE_LOG(L_ERR, LOG_AT(2, "after\n"));
        QCOMPARE(files(), QByteArray("log=theirs\n@ [ERROR] log_rotation_test(2): after\n "
                                     "log_0=@ [ERROR] log_rotation_test(1): before\n"));
        QCOMPARE(Logger::log_rotated_count_private, uint64_t(5));
        QCOMPARE(*Logger::log_rotated_count_shared, uint64_t(5));
        QCOMPARE(qint64(*Logger::log_size), QFileInfo(path("log")).size());
    }
    void equalCountersOpenNothing() {
        QCOMPARE(open(50, "log", Logger::ProcessSafe), 0);
        QVERIFY(QFile::rename(path("log"), path("log_0")));
        WRITE_LOG(L_ERR, LOG_AT(1, "text\n"));
        QCOMPARE(files(), QByteArray("log_0=@ [ERROR] log_rotation_test(1): text\n"));
    }
    void otherScopesOpenNothing_data() {
        QTest::addColumn<int>("scope");
        QTest::newRow("thread safe") << int(Logger::ThreadSafe);
        QTest::newRow("not safe") << int(Logger::NonSafe);
    }
    void otherScopesOpenNothing() {
        QFETCH(int, scope);
        QCOMPARE(open(50, "log", Logger::SafetyScope(scope)), 0);
        QVERIFY(QFile::rename(path("log"), path("log_0")));
        *Logger::log_rotated_count_shared = 5;
        WRITE_LOG(L_ERR, LOG_AT(1, "text\n"));
        QCOMPARE(files(), QByteArray("log_0=@ [ERROR] log_rotation_test(1): text\n"));
        QCOMPARE(Logger::log_rotated_count_private, uint64_t(0));
    }
    void otherTypesOpenNothing() {
        QCOMPARE(Logger::Initialize(Logger::ANDROID_LOGGER, path("log").toStdString(), "", 50,
                                    Logger::ProcessSafe),
                 0);
        Logger::safety_scope = Logger::ProcessSafe;
        *Logger::log_rotated_count_shared = 5;
        FILE* const before = Logger::log_fp;
        QFile::remove(path("log"));
        Logger::ReloadLogFile();
        QCOMPARE(Logger::log_fp, before);
        QCOMPARE(files(), QByteArray());
        fclose(before);
    }
    void fileThatCannotBeOpenedAnewLeavesNoStream() {
        QVERIFY(QDir(m_folder->path()).mkdir("sub"));
        QCOMPARE(open(50, "sub/log", Logger::ProcessSafe), 0);
        QVERIFY(QDir(path("sub")).removeRecursively());
        *Logger::log_rotated_count_shared = 5;
        WRITE_LOG(L_ERR, LOG_HERE("dropped\n"));
        QVERIFY(Logger::log_fp == nullptr);
        QCOMPARE(Logger::log_rotated_count_private, uint64_t(0));
        QCOMPARE(files(), QByteArray());
    }
    void reloadWithoutAStreamOpensOne() {
        QCOMPARE(open(50, "log", Logger::ProcessSafe), 0);
        fclose(Logger::log_fp);
        Logger::log_fp = nullptr;
        *Logger::log_rotated_count_shared = 5;
        WRITE_LOG(L_ERR, LOG_HERE("dropped before anything is opened\n"));
        QVERIFY(Logger::log_fp == nullptr);
        Logger::ReloadLogFile();
        WRITE_LOG(L_ERR, LOG_AT(1, "text\n"));
        QCOMPARE(files(), QByteArray("log=@ [ERROR] log_rotation_test(1): text\n"));
    }
};

QTEST_GUILESS_MAIN(LogRotationTest)
#include "log_rotation_test.moc"
