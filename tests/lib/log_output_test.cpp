#include "lib/log.h"
#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"

#include <QTemporaryDir>
#include <QtTest>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>

#define LOG_SOURCE "log_output_test"
#define LOG_COMPONENT "service_debug"

namespace {

constexpr int no_namespace = 77;

// A datagram socket as /dev/log of this process alone; -1 where the system grants no private
// mounts.
int ownSystemLog() {
    if (unshare(CLONE_NEWNS) != 0 && unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0) {
        return -1;
    }
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/dev", "tmpfs", 0, nullptr) != 0) {
        return -1;
    }
    const int server = socket(AF_UNIX, SOCK_DGRAM, 0);
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    qstrcpy(address.sun_path, "/dev/log");
    const auto* const name = reinterpret_cast<const struct sockaddr*>(&address);
    return bind(server, name, sizeof address) == 0 ? server : -1;
}

// One datagram of the system log a line, as far as they have come.
void printDatagrams(int server) {
    char datagram[4096] = {};
    while (true) {
        const auto length = recv(server, datagram, sizeof datagram, MSG_DONTWAIT);
        if (length < 0) {
            return;
        }
        printf("%.*s\n", static_cast<int>(length), datagram);
    }
}

qint64 sizeOfStream(int descriptor) {
    struct stat info = {};
    return fstat(descriptor, &info) == 0 ? info.st_size : -1;
}

} // namespace

class LogOutputTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    std::string path(const QString& name) const { return m_folder.filePath(name).toStdString(); }
    int initialize(int type) const {
        return Logger::Initialize(Logger::Type(type), path("log"), path("levels"), 50,
                                  Logger::ThreadSafe);
    }
    ChildRun logEveryLevel(int type) const {
        return observeChild([&] {
            const int result = initialize(type);
            for (int level = 0; level <= 7; ++level) {
                Logger::LogMsg(Logger::Level(level), "service_debug", "%s %d\n", "level", level);
            }
            return result;
        });
    }

private slots:
    void init() {
        QFile::remove(m_folder.filePath("log"));
        writeFile(m_folder.filePath("levels"), "service_debug=5\n");
    }

    // Before Initialize

    void warningsBeforeInitializeReachStandardErrorWithTheirTime_data() {
        QTest::addColumn<QByteArray>("component");
        for (const char* component :
             {"launcher_debug", "service_debug", "default_component", "unheard_of", ""}) {
            QTest::newRow(component) << QByteArray(component);
        }
    }
    void warningsBeforeInitializeReachStandardErrorWithTheirTime() {
        QFETCH(QByteArray, component);
        const ChildRun run = observeChild([&] {
            for (int level = 0; level <= 7; ++level) {
                Logger::LogMsg(Logger::Level(level), component.toStdString(), "%d\n", level);
            }
            return 0;
        });
        QCOMPARE(markStamps(run.errors), QByteArray("@ 0\n@ 1\n@ 2\n@ 3\n@ 4\n"));
        QCOMPARE(run.output, QByteArray());
    }

    // The five outputs; the component is at L_NOTICE

    void standardOutputTakesStampedLines() {
        const ChildRun run = logEveryLevel(Logger::STDOUT_LOGGER);
        QCOMPARE(run.status, 0);
        QCOMPARE(markStamps(run.output),
                 QByteArray("@ level 0\n@ level 1\n@ level 2\n@ level 3\n@ level 4\n@ level 5\n"));
        QCOMPARE(run.errors, QByteArray());
        QVERIFY(!QFile::exists(m_folder.filePath("log")));
    }
    void standardErrorTakesStampedLines() {
        const ChildRun run = logEveryLevel(Logger::STDERR_LOGGER);
        QCOMPARE(run.status, 0);
        QCOMPARE(markStamps(run.errors),
                 QByteArray("@ level 0\n@ level 1\n@ level 2\n@ level 3\n@ level 4\n@ level 5\n"));
        QCOMPARE(run.output, QByteArray());
        QVERIFY(!QFile::exists(m_folder.filePath("log")));
    }
    void fileTakesStampedLinesBehindWhatItHolds() {
        writeFile(m_folder.filePath("log"), "earlier run\n");
        const ChildRun run = logEveryLevel(Logger::FILE_LOGGER);
        QCOMPARE(run.status, 0);
        QCOMPARE(markStamps(readFile(m_folder.filePath("log"))),
                 QByteArray("earlier run\n@ level 0\n@ level 1\n@ level 2\n@ level 3\n@ level 4\n"
                            "@ level 5\n"));
        QCOMPARE(run.output, QByteArray());
        QCOMPARE(run.errors, QByteArray());
    }
    void otherTypesOpenTheFileButWriteBareLinesToStandardError_data() {
        QTest::addColumn<int>("type");
        QTest::newRow("android") << int(Logger::ANDROID_LOGGER);
        QTest::newRow("unknown") << 5;
        QTest::newRow("negative") << -1;
    }
    void otherTypesOpenTheFileButWriteBareLinesToStandardError() {
        QFETCH(int, type);
        const ChildRun run = logEveryLevel(type);
        QCOMPARE(run.status, 0);
        QCOMPARE(run.errors, QByteArray("level 0\nlevel 1\nlevel 2\nlevel 3\nlevel 4\nlevel 5\n"));
        QCOMPARE(run.output, QByteArray());
        QCOMPARE(readFile(m_folder.filePath("log")), QByteArray());
    }
    void systemLogTakesEveryLevelWithErrorPriority() {
        writeFile(m_folder.filePath("levels"), "service_debug=7\n");
        const ChildRun run = observeChild([this] {
            const int server = ownSystemLog();
            if (server < 0) {
                return no_namespace;
            }
            initialize(Logger::SYSLOG_LOGGER);
            for (int level = 0; level <= 7; ++level) {
                Logger::LogMsg(Logger::Level(level), "service_debug", "%s %d\n", "level", level);
            }
            printDatagrams(server);
            return 0;
        });
        if (run.status == no_namespace) {
            QSKIP("the system grants no mounts of one's own: no /dev/log to read from");
        }
        QCOMPARE(run.status, 0);
        // The system log's own header: priority and the program's name, since nobody opened it with
        // an identity; 11 is the facility LOG_USER and the priority LOG_ERR.
        QCOMPARE(LOG_USER | LOG_ERR, 11);
        const QString header = "^<11>\\w{3} [ \\d]\\d \\d\\d:\\d\\d:\\d\\d lib\\.log_output_test: ";
        const QByteArrayList lines = run.output.trimmed().split('\n');
        QByteArrayList messages;
        for (const QByteArray& line : lines) {
            if (!line.isEmpty()) {
                messages << QString(line).replace(QRegularExpression(header), "@ ").toUtf8();
            }
        }
        QByteArrayList expected;
        for (int level = 0; level <= 7; ++level) {
            expected << "@ level " + QByteArray::number(level);
        }
        QCOMPARE(messages, expected);
        QCOMPARE(run.errors, QByteArray());
        QVERIFY(!QFile::exists(m_folder.filePath("log")));
    }
    void systemLogTakesTheBareMessageUpToTheLevel() {
        const ChildRun run = observeChild([this] {
            openlog("identity", LOG_PERROR, LOG_USER); // what goes to the system log shows here too
            initialize(Logger::SYSLOG_LOGGER);
            WRITE_LOG(L_ERR, LOG_AT(1, "text %d\n"), 1);
            WRITE_LOG(L_NOTICE, LOG_AT(2, "text %d\n"), 2);
            WRITE_LOG(L_INFO, LOG_AT(3, "text %d\n"), 3);
            return 0;
        });
        QCOMPARE(run.errors, QByteArray("identity: [ERROR] log_output_test(1): text 1\n"
                                        "identity: [NOTE] log_output_test(2): text 2\n"));
        QCOMPARE(run.output, QByteArray());
    }

    // Each line reaches the kernel at once

    void lineIsInTheFileWhenTheCallReturns() {
        QCOMPARE(inChild([this] {
                     initialize(Logger::FILE_LOGGER);
                     for (int i = 1; i <= 3; ++i) {
                         WRITE_LOG(L_ERR, LOG_HERE("text\n"));
                         if (readFile(m_folder.filePath("log")).count('\n') != i) {
                             return i;
                         }
                     }
                     return 0;
                 }),
                 0);
    }
    void lineIsInStandardOutputWhenTheCallReturns() {
        const ChildRun run = observeChild([this] {
            initialize(Logger::STDOUT_LOGGER);
            WRITE_LOG(L_ERR, LOG_HERE("text\n"));
            return sizeOfStream(STDOUT_FILENO) > 0 ? 0 : 1;
        });
        QCOMPARE(run.status, 0);
    }
    void killedProcessLosesNoLine() {
        QCOMPARE(inChild([this] {
                     initialize(Logger::FILE_LOGGER);
                     WRITE_LOG(L_ERR, LOG_AT(7, "last words\n"));
                     return raise(SIGKILL);
                 }),
                 128 + SIGKILL);
        QCOMPARE(markStamps(readFile(m_folder.filePath("log"))),
                 QByteArray("@ [ERROR] log_output_test(7): last words\n"));
    }

    // The file's size

    void sizeOfAFileIsItsByteCount() {
        writeFile(m_folder.filePath("some"), "12345");
        writeFile(m_folder.filePath("empty"), "");
        QCOMPARE(Logger::GetFileSize(path("some")), 5);
        QCOMPARE(Logger::GetFileSize(path("empty")), 0);
    }
    void sizeOfAFileIsCutTo32Bits_data() {
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<int>("size");
        const qint64 gib = qint64(1) << 30;
        QTest::newRow("just below 2 GiB") << 2 * gib - 1 << INT_MAX;
        QTest::newRow("2 GiB") << 2 * gib << INT_MIN;
        QTest::newRow("3 GiB") << 3 * gib << -int(gib);
        QTest::newRow("4 GiB") << 4 * gib << 0;
        QTest::newRow("5 GiB and 7") << 5 * gib + 7 << int(gib) + 7;
    }
    void sizeOfAFileIsCutTo32Bits() {
        QFETCH(qint64, bytes);
        writeFile(m_folder.filePath("sparse"), "");
        QVERIFY(truncate(path("sparse").c_str(), bytes) == 0);
        QTEST(Logger::GetFileSize(path("sparse")), "size");
    }
    void sizeThatCannotBeHadIsZeroAndALine_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("error");
        QTest::newRow("missing") << "missing" << QByteArray("No such file or directory (2)");
        QTest::newRow("below a file") << "levels/log" << QByteArray("Not a directory (20)");
        QTest::newRow("name too long")
            << QString(256, 'n') << QByteArray("File name too long (36)");
    }
    void sizeThatCannotBeHadIsZeroAndALine() {
        QFETCH(QString, name);
        QFETCH(QByteArray, error);
        const QByteArray line = "@ stat(" + m_folder.filePath(name).toUtf8() + "): " + error + "\n";
        QCOMPARE(inChild([&] {
                     initialize(Logger::FILE_LOGGER);
                     return Logger::GetFileSize(path(name));
                 }),
                 0);
        QCOMPARE(markStamps(readFile(m_folder.filePath("log"))), line);

        const ChildRun unprepared = observeChild([&] { return Logger::GetFileSize(path(name)); });
        QCOMPARE(unprepared.status, 0);
        QCOMPARE(markStamps(unprepared.errors), line);
    }
    void sizeThatCannotBeHadIsSilentWithoutAStream() {
        const ChildRun run = observeChild([this] {
            initialize(Logger::SYSLOG_LOGGER);
            return Logger::GetFileSize(path("missing"));
        });
        QCOMPARE(run.status, 0);
        QCOMPARE(run.errors, QByteArray());
        QCOMPARE(run.output, QByteArray());
    }

    // Failing writes

    void failingStreamLeavesTheErrorNumberOfTheCaller() {
        QCOMPARE(inChild([this] {
                     dup2(open("/dev/full", O_WRONLY), STDERR_FILENO);
                     errno = 0;
                     fputs("this sets the error number\n", stderr);
                     const bool sets = errno == ENOSPC;
                     initialize(Logger::STDERR_LOGGER);
                     errno = ECHILD;
                     WRITE_LOG(L_ERR, LOG_HERE("text\n"));
                     return sets && errno == ECHILD ? 0 : 1;
                 }),
                 0);
    }
};

QTEST_GUILESS_MAIN(LogOutputTest)
#include "log_output_test.moc"
