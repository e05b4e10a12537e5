#include "lib/log.h"
#include "tests/support/files.h"

#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <thread>
#include <vector>

#define LOG_SOURCE "log_threads_test"
#define LOG_COMPONENT "service_debug"

namespace {

constexpr int threads = 8;
constexpr int limit = 1048576;
constexpr char letters[] =
    "abcdefghijklmnopqrstuvwxyz0123456789abcdefghijklmnopqrstuvwxyz0123456789"
    "abcdefghijklmnopqrstuvwxyz0123456789abcdefghijklmnopqrstuvwxyz0123456789";

// Lines of many lengths, so that a torn or mixed one does not look like another.
int payloadLength(int thread, int line) {
    return (thread * 37 + line * 11) % int(sizeof letters);
}

void rotate() {
    Logger::Lock();
    Logger::Rotate();
    Logger::Unlock();
}

// One thread's lines, with a rotation of its own after every `rotateEvery` lines where that is not
// 0; true where its errno was its own after each of them.
bool writeLines(int thread, int count, int rotateEvery) {
    bool own = true;
    for (int line = 0; line < count; ++line) {
        errno = 1000 + thread;
        WRITE_LOG(L_ERR, LOG_AT(1, "%d %d %.*s.\n"), thread, line, payloadLength(thread, line),
                  letters);
        WRITE_LOG(L_INFO, LOG_AT(2, "suppressed\n"));
        own = own && errno == 1000 + thread;
        if (rotateEvery > 0 && line % rotateEvery == rotateEvery - 1) {
            rotate();
        }
    }
    return own;
}

bool writeFromAllThreads(int count, int rotateEvery) {
    std::atomic<bool> own{true};
    std::vector<std::thread> writers;
    for (int thread = 0; thread < threads; ++thread) {
        writers.emplace_back([&, thread] {
            if (!writeLines(thread, count, rotateEvery)) {
                own = false;
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    return own;
}

// Follows a log from its oldest file to the live one: each thread's lines whole and in order.
class Follower {
public:
    /// \return an empty text, or the first line that is not as it must be.
    QByteArray follow(const QByteArray& text) {
        for (const QByteArray& line : text.split('\n')) {
            if (!line.isEmpty() && !isNext(line)) {
                return line;
            }
        }
        return text.isEmpty() || text.endsWith('\n') ? QByteArray() : "no line feed at the end";
    }
    bool saw(int count) const {
        return std::all_of(m_next.begin(), m_next.end(),
                           [count](int next) { return next == count; });
    }

private:
    bool isNext(const QByteArray& line) {
        static const QRegularExpression shape(
            "^\\S+ \\d\\d \\d\\d:\\d\\d:\\d\\d \\[ERROR\\] log_threads_test\\(1\\): "
            "(\\d) (\\d+) (\\w*)\\.$");
        const auto match = shape.match(QString::fromUtf8(line));
        const int thread = match.captured(1).toInt();
        if (!match.hasMatch() || thread >= threads) {
            return false;
        }
        const int number = m_next[size_t(thread)]++;
        return match.captured(2).toInt() == number &&
               match.captured(3) == QString::fromUtf8(letters, payloadLength(thread, number));
    }

    std::array<int, threads> m_next = {};
};

} // namespace

class LogThreadsTest : public QObject {
    Q_OBJECT

private:
    QScopedPointer<QTemporaryDir> m_folder;

    QString generation(int number) const {
        return m_folder->filePath(QString("log_%1").arg(number));
    }
    int generations() const { return listTree(m_folder->path()).size() - 1; }
    int open(int count, int scope) const {
        return Logger::Initialize(Logger::FILE_LOGGER, m_folder->filePath("log").toStdString(), "",
                                  count, Logger::SafetyScope(scope));
    }
    QByteArray followAll(int count) const {
        Follower follower;
        for (int number = generations() - 1; number >= 0; --number) {
            const QByteArray wrong = follower.follow(readFile(generation(number)));
            if (!wrong.isEmpty()) {
                return wrong;
            }
        }
        const QByteArray wrong = follower.follow(readFile(m_folder->filePath("log")));
        if (!wrong.isEmpty()) {
            return wrong;
        }
        return follower.saw(count) ? QByteArray() : "lines are missing";
    }

private slots:
    void init() { m_folder.reset(new QTemporaryDir); }
    void cleanup() { Logger::Destroy(); }

    void everyLineOfEightThreadsIsWholeAcrossRotations_data() {
        QTest::addColumn<int>("scope");
        QTest::newRow("thread safe") << int(Logger::ThreadSafe);
        QTest::newRow("process safe") << int(Logger::ProcessSafe);
    }
    void everyLineOfEightThreadsIsWholeAcrossRotations() {
        QFETCH(int, scope);
        constexpr int count = 12000;
        QCOMPARE(open(50, scope), 0);
        QVERIFY(writeFromAllThreads(count, 0));
        QCOMPARE(followAll(count), QByteArray());
        QVERIFY(generations() >= 8);
        for (int number = 0; number < generations(); ++number) {
            const QByteArray text = readFile(generation(number));
            const int lastLine = text.size() - text.lastIndexOf('\n', -2) - 1;
            QVERIFY(text.size() > limit);
            QVERIFY(text.size() - lastLine <= limit);
        }
        QVERIFY(QFileInfo(m_folder->filePath("log")).size() <= limit);
    }
    void rotationAtAnyMomentLosesNoLine() {
        constexpr int count = 2500;
        constexpr int rotations = threads * count / 50;
        // The size rotates a few times more: room for those is kept, so that nothing grows too old.
        constexpr int kept = rotations + 20;
        QCOMPARE(open(kept, Logger::ThreadSafe), 0);
        QVERIFY(writeFromAllThreads(count, 50));
        QVERIFY(generations() >= rotations && generations() < kept - 1);
        QCOMPARE(followAll(count), QByteArray());
    }
};

QTEST_GUILESS_MAIN(LogThreadsTest)
#include "log_threads_test.moc"
