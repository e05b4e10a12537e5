#include "lib/log.h"
#include "tests/support/child.h"
#include "tests/support/files.h"

#include <QTemporaryDir>
#include <QtTest>

#include <atomic>
#include <cstdlib>
#include <new>

#define LOG_SOURCE "log_memory_test"

// This program's own heap: it counts, and it can say no to one size.

namespace {

std::atomic<int> allocations{0};
std::atomic<size_t> refused{0};

void* allocate(size_t size) {
    ++allocations;
    return size == refused ? nullptr : malloc(size);
}

} // namespace

void* operator new(size_t size) {
    if (void* const memory = allocate(size)) {
        return memory;
    }
    throw std::bad_alloc();
}

void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return allocate(size);
}

void operator delete(void* memory) noexcept {
    free(memory);
}

void operator delete(void* memory, size_t /*size*/) noexcept {
    free(memory);
}

class LogMemoryTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    std::string path(const QString& name) const { return m_folder.filePath(name).toStdString(); }
    int openFile() const {
        return Logger::Initialize(Logger::FILE_LOGGER, path("log"), path("levels"), 50,
                                  Logger::ThreadSafe);
    }

private slots:
    void countersThatCannotBeHadFailInitialize_data() {
        QTest::addColumn<int>("size");
        QTest::newRow("byte count") << int(sizeof(int));
        QTest::newRow("rotation counter") << int(sizeof(uint64_t));
    }
    void countersThatCannotBeHadFailInitialize() {
        QFETCH(int, size);
        const ChildRun run = observeChild([&] {
            const std::string log = path("log");
            const std::string none;
            refused = size_t(size);
            const int result =
                Logger::Initialize(Logger::FILE_LOGGER, log, none, 7, Logger::NonSafe);
            refused = 0;
            const bool off = !Logger::IsNeedToLog(Logger::L_EMERG, "service_debug");
            Logger::LogMsg(Logger::L_EMERG, "service_debug", "text\n");
            // It stops before the table, the type and the stream.
            const bool early = Logger::log_level.empty() && Logger::log_path == log &&
                               Logger::log_type == Logger::STDOUT_LOGGER &&
                               Logger::log_fp == stderr && Logger::safety_scope == Logger::NonSafe;
            const int again = openFile();
            return result == -1 && off && early && again == 0 ? 0 : 1;
        });
        QCOMPARE(run.status, 0);
        QCOMPARE(run.errors, QByteArray());
    }
    void mutexThatCannotBeHadLeavesLoggingWithoutOne() {
        QCOMPARE(inChild([this] {
                     refused = sizeof(pthread_mutex_t);
                     const int result = openFile();
                     refused = 0;
                     Logger::LogMsg(Logger::L_ERR, "service_debug", "text\n");
                     return result == 0 && Logger::log_lock == nullptr ? 0 : 1;
                 }),
                 0);
        QVERIFY(readFile(m_folder.filePath("log")).endsWith(" text\n"));
    }

    void suppressedLineAllocatesNothing_data() {
        QTest::addColumn<int>("component");
        QTest::newRow("launcher_debug") << 0;
        QTest::newRow("service_debug") << 1;
        QTest::newRow("extractor_debug") << 2;
        QTest::newRow("file_op_debug") << 3;
    }
    void suppressedLineAllocatesNothing() {
        QFETCH(int, component);
        QCOMPARE(inChild([&] { return allocationsOf(component, Logger::L_WARNING); }), 0);
        QCOMPARE(readFile(m_folder.filePath("log")), QByteArray());
    }
    void writtenLineAllocatesNothing_data() { suppressedLineAllocatesNothing_data(); }
    void writtenLineAllocatesNothing() {
        QFETCH(int, component);
        QCOMPARE(inChild([&] { return allocationsOf(component, Logger::L_DEBUG); }), 0);
        QCOMPARE(readFile(m_folder.filePath("log")).count('\n'), 1001);
    }

private:
    // What the four names and a filled table cost in a thousand lines.
    int allocationsOf(int component, int level) const {
        const QByteArray value = "=" + QByteArray::number(level) + "\n";
        writeFile(m_folder.filePath("levels"), "launcher_debug" + value + "service_debug" + value +
                                                   "extractor_debug" + value + "file_op_debug" +
                                                   value);
        QFile::remove(m_folder.filePath("log"));
        openFile();
        logOne(component); // the first line sets up the time zone and the stream's buffer
        const int before = allocations;
        for (int i = 0; i < 1000; ++i) {
            logOne(component);
        }
        return qMin(allocations - before, 100);
    }
    static void logOne(int component) {
        switch (component) {
#define LOG_COMPONENT "launcher_debug"
        case 0:
            WRITE_LOG(L_INFO, LOG_HERE("%s %d\n"), "text", 1);
            break;
#undef LOG_COMPONENT
#define LOG_COMPONENT "service_debug"
        case 1:
            WRITE_LOG(L_INFO, LOG_HERE("%s %d\n"), "text", 1);
            break;
#undef LOG_COMPONENT
#define LOG_COMPONENT "extractor_debug"
        case 2:
            WRITE_LOG(L_INFO, LOG_HERE("%s %d\n"), "text", 1);
            break;
#undef LOG_COMPONENT
#define LOG_COMPONENT "file_op_debug"
        default:
            WRITE_LOG(L_INFO, LOG_HERE("%s %d\n"), "text", 1);
        }
    }
};

QTEST_GUILESS_MAIN(LogMemoryTest)
#include "log_memory_test.moc"
