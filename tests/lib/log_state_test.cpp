#include "lib/log.h"
#include "tests/support/child.h"
#include "tests/support/files.h"

#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

const char* streamName() {
    if (Logger::log_fp == nullptr) {
        return "null";
    }
    if (Logger::log_fp == stderr) {
        return "stderr";
    }
    return Logger::log_fp == stdout ? "stdout" : "file";
}

template <typename Number>
QByteArray cell(const Number* number) {
    return number == nullptr ? QByteArray("null") : QByteArray::number(qlonglong(*number));
}

// Every member in the order of its declaration, the table last.
QByteArray state() {
    QByteArray text = "type " + QByteArray::number(int(Logger::log_type)) + ", " + streamName() +
                      ", size " + cell(Logger::log_size) + ", count " +
                      QByteArray::number(Logger::rotate_cnt) + ", path '" +
                      QByteArray::fromStdString(Logger::log_path) + "', lock " +
                      (Logger::log_lock == nullptr ? "no" : "yes") + ", flock " +
                      QByteArray::number(Logger::log_flock) + ", scope " +
                      QByteArray::number(int(Logger::safety_scope)) + ", rotated " +
                      cell(Logger::log_rotated_count_shared) + " and " +
                      QByteArray::number(qlonglong(Logger::log_rotated_count_private)) +
                      (Logger::log_initialized ? ", on" : ", off");
    for (const auto& [component, level] : Logger::log_level) {
        text += "; " + QByteArray::fromStdString(component) + "=" + QByteArray::number(level);
    }
    return text;
}

// The state that `work` leaves behind in a process that never logged before.
QByteArray stateAfter(const std::function<void()>& work) {
    const ChildRun run = observeChild([&work] {
        FILE* const report = fdopen(dup(STDOUT_FILENO), "w");
        work();
        fputs(state().constData(), report);
        return 0;
    });
    return run.status == 0 ? run.output : "the child ended with " + QByteArray::number(run.status);
}

bool needsNoLevelAtAll() {
    for (int level = 0; level <= 7; ++level) {
        if (Logger::IsNeedToLog(Logger::Level(level), "service_debug") ||
            Logger::IsNeedToLog(Logger::Level(level), "default_component")) {
            return false;
        }
    }
    return true;
}

bool ownsMutex() {
    return Logger::log_lock != nullptr;
}

} // namespace

// The private members are looked at as well: what a set-up leaves behind governs the next one.
// This process itself never touches the Logger.
class LogStateTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    std::string path(const QString& name) const { return m_folder.filePath(name).toStdString(); }
    QByteArray quoted(const QString& name) const {
        return "'" + m_folder.filePath(name).toUtf8() + "'";
    }
    int openFile(Logger::SafetyScope scope = Logger::ThreadSafe) const {
        return Logger::Initialize(Logger::FILE_LOGGER, path("log"), "", 7, scope);
    }

private slots:
    // Before Initialize

    void initialValuesLetLoggingWorkAtOnce() {
        QVERIFY(Logger::log_level.empty());
        QCOMPARE(Logger::log_type, Logger::STDOUT_LOGGER);
        QCOMPARE(Logger::log_fp, stderr);
        QVERIFY(Logger::log_size == nullptr);
        QCOMPARE(Logger::rotate_cnt, 50);
        QVERIFY(Logger::log_path.empty());
        QVERIFY(Logger::log_lock == nullptr);
        QCOMPARE(Logger::log_flock, -1);
        QCOMPARE(Logger::safety_scope, Logger::ThreadSafe);
        QVERIFY(Logger::log_rotated_count_shared == nullptr);
        QCOMPARE(Logger::log_rotated_count_private, uint64_t(0));
        QCOMPARE(Logger::log_initialized, true);
    }
    void loggingBeforeInitializeChangesNoState() {
        QCOMPARE(stateAfter([] { Logger::LogMsg(Logger::L_ERR, "service_debug", "text\n"); }),
                 QByteArray("type 2, stderr, size null, count 50, path '', lock no, flock -1, "
                            "scope 1, rotated null and 0, on"));
    }

    // Initialize

    void initializeSetsTheTypeUp_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("scope");
        QTest::addColumn<QByteArray>("expected");
        const auto row = [](const char* name, int type, int scope, const QByteArray& expected) {
            QTest::newRow(name) << type << scope << expected;
        };
        const QByteArray fileState = ", file, size 6, count 7, path " + quoted("log");
        const QByteArray tail = "rotated 0 and 0, on; default_component=4";
        for (const int scope : {0, 1, 2}) {
            const QByteArray number = QByteArray::number(scope);
            row("system log, scope " + number, 1, scope,
                "type 1, null, size -1, count 50, path '', lock no, flock -1, scope 0, " + tail);
            row("standard output, scope " + number, 2, scope,
                "type 2, stdout, size -1, count 50, path '', lock no, flock -1, scope 0, " + tail);
            row("standard error, scope " + number, 3, scope,
                "type 3, stderr, size -1, count 50, path '', lock no, flock -1, scope 0, " + tail);
            row("android, scope " + number, 0, scope,
                "type 0" + fileState + ", lock no, flock -1, scope 0, " + tail);
            row("unknown type, scope " + number, 9, scope,
                "type 9" + fileState + ", lock no, flock -1, scope 0, " + tail);
            row("negative type, scope " + number, -1, scope,
                "type -1" + fileState + ", lock no, flock -1, scope 0, " + tail);
            row("file, scope " + number, 4, scope,
                "type 4" + fileState + (scope == 0 ? ", lock no" : ", lock yes") +
                    ", flock -1, scope " + number + ", " + tail);
        }
    }
    void initializeSetsTheTypeUp() {
        QFETCH(int, type);
        QFETCH(int, scope);
        writeFile(m_folder.filePath("log"), "before");
        const QByteArray actual = stateAfter([&] {
            if (Logger::Initialize(Logger::Type(type), path("log"), "", 7,
                                   Logger::SafetyScope(scope)) != 0) {
                _exit(1);
            }
        });
        QTEST(actual, "expected");
        QCOMPARE(readFile(m_folder.filePath("log")), QByteArray("before"));
    }
    void fileIsMadeWhereThereIsNone() {
        QFile::remove(m_folder.filePath("log"));
        QCOMPARE(inChild([this] { return openFile(); }), 0);
        QCOMPARE(readFile(m_folder.filePath("log")), QByteArray());
    }
    void everySetUpResetsBothRotationCounters_data() {
        QTest::addColumn<int>("type");
        for (const int type : {0, 1, 2, 3, 4}) {
            QTest::newRow(QByteArray::number(type)) << type;
        }
    }
    void everySetUpResetsBothRotationCounters() {
        QFETCH(int, type);
        const QByteArray actual = stateAfter([&] {
            openFile();
            *Logger::log_rotated_count_shared = 3;
            Logger::log_rotated_count_private = 2;
            Logger::Initialize(Logger::Type(type), path("log"), "", 7, Logger::NonSafe);
        });
        QVERIFY2(actual.contains("rotated 0 and 0, on"), actual);
    }
    void levelFileFillsTheTable() {
        writeFile(m_folder.filePath("levels"), "b=7\na=x\n");
        const QByteArray actual = stateAfter([this] {
            Logger::Initialize(Logger::STDERR_LOGGER, "", path("levels"), 50, Logger::NonSafe);
        });
        QVERIFY2(actual.endsWith(", on; a=0; b=7; default_component=4"), actual);
    }
    void earlierStreamStaysOpen() {
        QCOMPARE(inChild([this] {
                     openFile();
                     FILE* const first = Logger::log_fp;
                     Logger::Initialize(Logger::FILE_LOGGER, path("second"), "", 7,
                                        Logger::ThreadSafe);
                     fputs("still open\n", first);
                     return fflush(first);
                 }),
                 0);
        QVERIFY(readFile(m_folder.filePath("log")).endsWith("still open\n"));
        QCOMPARE(readFile(m_folder.filePath("second")), QByteArray());
    }
    void logFileIsNotHandedToStartedPrograms() {
        QCOMPARE(inChild([this] {
                     openFile();
                     const std::string test =
                         "test ! -e /proc/self/fd/" + std::to_string(fileno(Logger::log_fp));
                     return system(test.c_str()) == 0 ? 0 : 1;
                 }),
                 0);
    }

    // Initialize that fails: type and path are changed already, logging is off

    void failedInitializeTurnsLoggingOff_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QByteArray>("expected");
        const QString missing = m_folder.filePath("missing/log");
        const QByteArray tail = ", flock -1, scope ";
        for (const int type : {4, 0, 9}) {
            const QByteArray number = QByteArray::number(type);
            const QByteArray head = "type " + number + ", stderr, size 0, count 50, path '";
            const QByteArray rest = QByteArray(type == 4 ? "lock yes, flock -1, scope 2"
                                                         : "lock no, flock -1, scope 0") +
                                    ", rotated 0 and 0, off; default_component=4";
            QTest::newRow("empty path, type " + number) << type << "" << head + "', " + rest;
            QTest::newRow("missing folder, type " + number)
                << type << missing << head + missing.toUtf8() + "', " + rest;
            QTest::newRow("a folder, type " + number)
                << type << m_folder.path() << head + m_folder.path().toUtf8() + "', " + rest;
        }
    }
    void failedInitializeTurnsLoggingOff() {
        QFETCH(int, type);
        QFETCH(QString, path);
        const QByteArray actual = stateAfter([&] {
            const int result = Logger::Initialize(Logger::Type(type), path.toStdString(), "", 7,
                                                  Logger::ProcessSafe);
            if (result != -1 || !needsNoLevelAtAll()) {
                _exit(1);
            }
        });
        QTEST(actual, "expected");
    }
    void nothingIsWrittenAfterAFailedInitialize() {
        const ChildRun run = observeChild([] {
            const int result = Logger::Initialize(Logger::FILE_LOGGER, "", "", 7, Logger::NonSafe);
            Logger::LogMsg(Logger::L_EMERG, "service_debug", "text\n");
            return result == -1 ? 0 : 1;
        });
        QCOMPARE(run.status, 0);
        QCOMPARE(run.output, QByteArray());
        QCOMPARE(run.errors, QByteArray());
    }
    void failedInitializeKeepsTheEarlierStream() {
        const QByteArray actual = stateAfter([this] {
            openFile();
            Logger::Initialize(Logger::FILE_LOGGER, "", "", 9, Logger::NonSafe);
        });
        QVERIFY2(actual.startsWith("type 4, file, size 0, count 7, path '', lock no"), actual);
    }
    void nextInitializeTurnsLoggingOnAgain() {
        QFile::remove(m_folder.filePath("log"));
        QCOMPARE(inChild([this] {
                     Logger::Initialize(Logger::FILE_LOGGER, "", "", 7, Logger::NonSafe);
                     const int result = openFile();
                     Logger::LogMsg(Logger::L_ERR, "service_debug", "text\n");
                     return result;
                 }),
                 0);
        QVERIFY(readFile(m_folder.filePath("log")).endsWith(" text\n"));
    }

    // Destroy

    void destroyLeavesItsOwnState_data() {
        QTest::addColumn<int>("type");
        QTest::addColumn<QByteArray>("expected");
        const QByteArray tail = "lock no, flock -1, scope 0, rotated null and 0, off; "
                                "default_component=4";
        QTest::newRow("file: type says standard error, stream is standard output")
            << 4 << "type 3, stdout, size null, count 32, path '', " + tail;
        QTest::newRow("android keeps file, count and path")
            << 0 << "type 0, file, size null, count 7, path " + quoted("log") + ", " + tail;
        QTest::newRow("system log") << 1 << "type 1, null, size null, count 50, path '', " + tail;
        QTest::newRow("standard output")
            << 2 << "type 2, stdout, size null, count 50, path '', " + tail;
        QTest::newRow("standard error")
            << 3 << "type 3, stderr, size null, count 50, path '', " + tail;
    }
    void destroyLeavesItsOwnState() {
        QFETCH(int, type);
        const QByteArray actual = stateAfter([&] {
            Logger::Initialize(Logger::Type(type), path("log"), "", 7, Logger::NonSafe);
            Logger::Destroy();
            if (!needsNoLevelAtAll()) {
                _exit(1);
            }
        });
        QTEST(actual, "expected");
    }
    void destroyKeepsScopeCounterAndTable() {
        writeFile(m_folder.filePath("levels"), "a=7\n");
        const QByteArray actual = stateAfter([this] {
            Logger::Initialize(Logger::FILE_LOGGER, path("log"), path("levels"), 7,
                               Logger::ProcessSafe);
            Logger::log_rotated_count_private = 5;
            Logger::Destroy();
        });
        QCOMPARE(actual, QByteArray("type 3, stdout, size null, count 32, path '', lock no, "
                                    "flock -1, scope 2, rotated null and 5, off; a=7; "
                                    "default_component=4"));
    }
    void destroyBeforeInitializeOnlyTurnsOff() {
        QCOMPARE(stateAfter(Logger::Destroy),
                 QByteArray("type 2, stderr, size null, count 50, path '', lock no, flock -1, "
                            "scope 1, rotated null and 0, off"));
    }
    void destroyTwiceIsHarmless() {
        const QByteArray actual = stateAfter([this] {
            openFile();
            Logger::Destroy();
            Logger::Destroy();
        });
        QVERIFY2(actual.startsWith("type 3, stdout, size null, count 32, path ''"), actual);
    }
    void destroyClosesTheFile() {
        QCOMPARE(inChild([this] {
                     openFile();
                     const int descriptor = fileno(Logger::log_fp);
                     Logger::Destroy();
                     return fcntl(descriptor, F_GETFD) == -1 && errno == EBADF ? 0 : 1;
                 }),
                 0);
    }
    void destroyWithoutAStreamIsHarmless() {
        const QByteArray actual = stateAfter([this] {
            openFile();
            Logger::log_fp = nullptr;
            Logger::Destroy();
        });
        QVERIFY2(actual.startsWith("type 3, stdout, size null, count 32, path ''"), actual);
    }
    void nothingIsWrittenAfterDestroy() {
        QFile::remove(m_folder.filePath("log"));
        const ChildRun run = observeChild([this] {
            openFile();
            Logger::Destroy();
            Logger::LogMsg(Logger::L_EMERG, "service_debug", "text\n");
            return 0;
        });
        QCOMPARE(run.output, QByteArray());
        QCOMPARE(run.errors, QByteArray());
        QCOMPARE(readFile(m_folder.filePath("log")), QByteArray());
    }
    void initializeAfterDestroyLogsAgain() {
        const QByteArray actual = stateAfter([this] {
            openFile();
            Logger::Destroy();
            Logger::Initialize(Logger::STDERR_LOGGER, "", "", 7, Logger::ThreadSafe);
        });
        QCOMPARE(actual, QByteArray("type 3, stderr, size -1, count 32, path '', lock no, "
                                    "flock -1, scope 0, rotated 0 and 0, on; "
                                    "default_component=4"));
    }

    // The mutex

    void mutexIsAPlainOne() {
        QCOMPARE(inChild([this] {
                     openFile();
                     const pthread_mutex_t plain = PTHREAD_MUTEX_INITIALIZER;
                     return memcmp(Logger::log_lock, &plain, sizeof plain) == 0 ? 0 : 1;
                 }),
                 0);
    }
    void lockHoldsTheMutexUntilUnlock() {
        QCOMPARE(inChild([this] {
                     openFile();
                     Logger::Lock();
                     const int held = pthread_mutex_trylock(Logger::log_lock);
                     Logger::Unlock();
                     const int freed = pthread_mutex_trylock(Logger::log_lock);
                     return held == EBUSY && freed == 0 ? 0 : 1;
                 }),
                 0);
    }
    void mutexIsFreeAfterAMessage() {
        QCOMPARE(inChild([this] {
                     openFile();
                     Logger::LogMsg(Logger::L_ERR, "service_debug", "text\n");
                     return pthread_mutex_trylock(Logger::log_lock);
                 }),
                 0);
    }
    void lockAndUnlockWithoutAMutexDoNothing() {
        QCOMPARE(inChild([] {
                     Logger::Lock();
                     Logger::Lock();
                     Logger::Unlock();
                     return ownsMutex() ? 1 : 0;
                 }),
                 0);
    }
    void initializeLockMakesOneMutexForASafeScopeAlone() {
        QCOMPARE(inChild([] {
                     Logger::safety_scope = Logger::NonSafe;
                     Logger::InitializeLock();
                     const bool unsafe = ownsMutex();
                     Logger::safety_scope = Logger::ThreadSafe;
                     Logger::InitializeLock();
                     const pthread_mutex_t* const made = Logger::log_lock;
                     Logger::InitializeLock();
                     return !unsafe && made != nullptr && Logger::log_lock == made ? 0 : 1;
                 }),
                 0);
    }
    void destroyLockForgetsTheMutex() {
        QCOMPARE(inChild([] {
                     Logger::InitializeLock();
                     Logger::DestroyLock();
                     const bool owned = ownsMutex();
                     Logger::DestroyLock();
                     return owned ? 1 : 0;
                 }),
                 0);
    }
    void fileLockIsAPlaceholder() {
        const QByteArray untouched = stateAfter([] {});
        QCOMPARE(stateAfter(Logger::InitializeFileLock), untouched);
        QCOMPARE(stateAfter(Logger::DestroyFileLock), untouched);
    }

    // The counter cells

    void sharedDataIsMadeOnce() {
        QCOMPARE(inChild([] {
                     Logger::InitializeSharedData();
                     *Logger::log_size = 11;
                     *Logger::log_rotated_count_shared = 12;
                     Logger::InitializeSharedData();
                     return *Logger::log_size == 11 && *Logger::log_rotated_count_shared == 12 ? 0
                                                                                               : 1;
                 }),
                 0);
    }
    void oneMissingCellMakesBothAnew() {
        QCOMPARE(inChild([] {
                     Logger::InitializeSharedData();
                     *Logger::log_size = 11;
                     delete Logger::log_rotated_count_shared;
                     Logger::log_rotated_count_shared = nullptr;
                     Logger::InitializeSharedData();
                     const bool size = *Logger::log_size == 0;
                     *Logger::log_rotated_count_shared = 12;
                     delete Logger::log_size;
                     Logger::log_size = nullptr;
                     Logger::InitializeSharedData();
                     return size && *Logger::log_rotated_count_shared == 0 ? 0 : 1;
                 }),
                 0);
    }
    void destroySharedDataForgetsBothCells() {
        QCOMPARE(stateAfter([] {
                     Logger::InitializeSharedData();
                     Logger::DestroySharedData();
                     Logger::DestroySharedData();
                 }),
                 stateAfter([] {}));
    }
};

QTEST_GUILESS_MAIN(LogStateTest)
#include "log_state_test.moc"
