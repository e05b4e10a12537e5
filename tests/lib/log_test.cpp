#include "lib/log.h"
#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <climits>

#define LOG_SOURCE "log_test"
#define LOG_COMPONENT "service_debug"

namespace {

void logWithList(Logger::Level level, const std::string& component, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
void logWithList(Logger::Level level, const std::string& component, const char* format, ...) {
    va_list args;
    va_start(args, format);
    Logger::LogMsg2(level, component, format, args);
    va_end(args);
}

void logPlainly(int level, const char* component, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
void logPlainly(int level, const char* component, const char* format, ...) {
    va_list args;
    va_start(args, format);
    LogMSG_c(level, component, format, args);
    va_end(args);
}

int printWithList(const char* format, ...) __attribute__((format(printf, 1, 2)));
int printWithList(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int written = Logger::PrintToFilePointerV(format, args);
    va_end(args);
    return written;
}

} // namespace

// Each case runs in a child: the level table is never cleared.
class LogTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_folder;

    std::string levelFile(const QByteArray& content) const {
        const QString path = m_folder.filePath("levels");
        writeFile(path, content);
        return path.toStdString();
    }
    static int initialize(const std::string& levels) {
        return Logger::Initialize(Logger::STDERR_LOGGER, "", levels, 50, Logger::NonSafe);
    }
    // What `work` logs, every stamp as "@ ", where service_debug is at `level`.
    QByteArray logged(int level, const std::function<void()>& work) const {
        const std::string levels = levelFile("service_debug=" + QByteArray::number(level));
        const ChildRun run = observeChild([&] {
            initialize(levels);
            work();
            return 0;
        });
        return run.status == 0 ? markStamps(run.errors) : "the child failed";
    }
    // The component's level in a process that was set up with a level file of this content.
    QByteArray levelOf(const std::string& component, const QByteArray& content) const {
        const std::string levels = levelFile(content);
        return observeChild([&] {
                   initialize(levels);
                   return printf("%d", Logger::GetCompLevel(component));
               })
            .output;
    }

private slots:
    // The macro that everybody logs with

    void lineCarriesTagSourceAndFixedNumber() {
        const QByteArray text = logged(Logger::L_DEBUG, [] {
            WRITE_LOG(L_ERR, LOG_AT(11, "e %d\n"), 1);
            WRITE_LOG(L_WARNING, LOG_AT(12, "w %s\n"), "two");
            WRITE_LOG(L_NOTICE, LOG_AT(13, "n %d %d\n"), 3, 4);
            WRITE_LOG(L_INFO, LOG_AT(14, "i\n"));
            WRITE_LOG(L_DEBUG, LOG_AT(15, "d\n"));
        });
        QCOMPARE(text, QByteArray("@ [ERROR] log_test(11): e 1\n"
                                  "@ [WARNING] log_test(12): w two\n"
                                  "@ [NOTE] log_test(13): n 3 4\n"
                                  "@ [INFO] log_test(14): i\n"
                                  "@ [DEBUG] log_test(15): d\n"));
    }
    void lineCarriesItsOwnSourceLine() {
        const int line = __LINE__ + 1;
        const auto work = [] { WRITE_LOG(L_ERR, LOG_HERE("no arguments\n")); };
        QCOMPARE(logged(Logger::L_ERR, work),
                 "@ [ERROR] log_test(" + QByteArray::number(line) + "): no arguments\n");
    }
    void argumentsOfASuppressedLineAreNotEvaluated() {
        const QByteArray text = logged(Logger::L_NOTICE, [] {
            int evaluated = 0;
            WRITE_LOG(L_INFO, LOG_AT(1, "%d\n"), ++evaluated);
            WRITE_LOG(L_NOTICE, LOG_AT(2, "%d\n"), evaluated);
            WRITE_LOG(L_NOTICE, LOG_AT(3, "%d\n"), ++evaluated);
            WRITE_LOG(L_NOTICE, LOG_AT(4, "%d\n"), evaluated);
        });
        QCOMPARE(text, QByteArray("@ [NOTE] log_test(2): 0\n"
                                  "@ [NOTE] log_test(3): 1\n"
                                  "@ [NOTE] log_test(4): 1\n"));
    }
    void argumentsAreNotEvaluatedWhileLoggingIsOff() {
        const ChildRun run = observeChild([] {
            int evaluated = 0;
            Logger::Destroy();
            WRITE_LOG(L_ERR, LOG_HERE("%d\n"), ++evaluated);
            return evaluated;
        });
        QCOMPARE(run.status, 0);
        QCOMPARE(run.errors, QByteArray());
    }
    void macroIsOneStatementInABracelessIf() {
        const QByteArray text = logged(Logger::L_DEBUG, [] {
            for (const bool error : {true, false})
                if (error)
                    WRITE_LOG(L_ERR, LOG_AT(1, "then\n"));
                else
                    WRITE_LOG(L_NOTICE, LOG_AT(2, "else\n"));
        });
        QCOMPARE(text, QByteArray("@ [ERROR] log_test(1): then\n@ [NOTE] log_test(2): else\n"));
    }

    // Levels

    void levelsAreNumberedAsTheSystemLogDoes() {
        QCOMPARE(int(Logger::L_EMERG), 0);
        QCOMPARE(int(Logger::L_ALERT), 1);
        QCOMPARE(int(Logger::L_CRIT), 2);
        QCOMPARE(int(Logger::L_ERR), 3);
        QCOMPARE(int(Logger::L_WARNING), 4);
        QCOMPARE(int(Logger::L_NOTICE), 5);
        QCOMPARE(int(Logger::L_INFO), 6);
        QCOMPARE(int(Logger::L_DEBUG), 7);
    }
    void typesAndScopesKeepTheirNumbers() {
        QCOMPARE(int(Logger::ANDROID_LOGGER), 0);
        QCOMPARE(int(Logger::SYSLOG_LOGGER), 1);
        QCOMPARE(int(Logger::STDOUT_LOGGER), 2);
        QCOMPARE(int(Logger::STDERR_LOGGER), 3);
        QCOMPARE(int(Logger::FILE_LOGGER), 4);
        QCOMPARE(int(Logger::NonSafe), 0);
        QCOMPARE(int(Logger::ThreadSafe), 1);
        QCOMPARE(int(Logger::ProcessSafe), 2);
    }
    void levelUpToTheComponentsOwnIsWritten() {
        QByteArray content;
        for (int own = -1; own <= 8; ++own) {
            content += QString("c%1=%1\n").arg(own).toUtf8();
        }
        const std::string levels = levelFile(content);
        const ChildRun run = observeChild([&] {
            initialize(levels);
            for (int own = -1; own <= 8; ++own) {
                const std::string component = "c" + std::to_string(own);
                for (int level = 0; level <= 7; ++level) {
                    const bool needed = Logger::IsNeedToLog(Logger::Level(level), component);
                    if (needed != (level <= own)) {
                        return 1;
                    }
                    Logger::LogMsg(Logger::Level(level), component, "%s:%d\n", component.c_str(),
                                   level);
                }
            }
            return 0;
        });
        QCOMPARE(run.status, 0);
        QByteArray expected;
        for (int own = 0; own <= 8; ++own) {
            for (int level = 0; level <= qMin(own, 7); ++level) {
                expected += QString("@ c%1:%2\n").arg(own).arg(level).toUtf8();
            }
        }
        QCOMPARE(markStamps(run.errors), expected);
    }

    void levelFileGivesAComponentItsLevel_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QByteArray>("level");
        QTest::newRow("digit") << QByteArray("file_op_debug=7\n") << QByteArray("7");
        QTest::newRow("without line feed") << QByteArray("file_op_debug=6") << QByteArray("6");
        QTest::newRow("blanks and carriage return")
            << QByteArray(" file_op_debug = 5 \r\n") << QByteArray("5");
        QTest::newRow("quoted, with a comment")
            << QByteArray("# on\nfile_op_debug='7' # all\n") << QByteArray("7");
        QTest::newRow("last of two")
            << QByteArray("file_op_debug=7\nfile_op_debug=3\n") << QByteArray("3");
        QTest::newRow("letter behind") << QByteArray("file_op_debug=7x\n") << QByteArray("7");
        QTest::newRow("blank before, letter behind")
            << QByteArray("file_op_debug=' 7x'\n") << QByteArray("7");
        QTest::newRow("second word") << QByteArray("file_op_debug='6 7'\n") << QByteArray("6");
        QTest::newRow("letter first") << QByteArray("file_op_debug=x7\n") << QByteArray("0");
        QTest::newRow("level's name") << QByteArray("file_op_debug=L_DEBUG\n") << QByteArray("0");
        QTest::newRow("blank, letter first")
            << QByteArray("file_op_debug=' x7'\n") << QByteArray("0");
        QTest::newRow("empty") << QByteArray("file_op_debug=''\n") << QByteArray("0");
        QTest::newRow("sign alone") << QByteArray("file_op_debug=-\n") << QByteArray("0");
        QTest::newRow("plus sign") << QByteArray("file_op_debug=+6\n") << QByteArray("6");
        QTest::newRow("negative") << QByteArray("file_op_debug=-1\n") << QByteArray("-1");
        QTest::newRow("leading zeros are decimal")
            << QByteArray("file_op_debug=010\n") << QByteArray("10");
        QTest::newRow("no hexadecimals") << QByteArray("file_op_debug=0x7\n") << QByteArray("0");
        QTest::newRow("fraction") << QByteArray("file_op_debug=3.9\n") << QByteArray("3");
        QTest::newRow("too big") << QByteArray("file_op_debug=99999999999\n")
                                 << QByteArray::number(INT_MAX);
        QTest::newRow("other component") << QByteArray("launcher_debug=7\n") << QByteArray("4");
        QTest::newRow("other case") << QByteArray("File_op_debug=7\n") << QByteArray("4");
        QTest::newRow("longer name") << QByteArray("file_op_debug2=7\n") << QByteArray("4");
        QTest::newRow("shorter name") << QByteArray("file_op=7\n") << QByteArray("4");
        QTest::newRow("empty file") << QByteArray() << QByteArray("4");
        QTest::newRow("malformed line behind it")
            << QByteArray("file_op_debug=7\n[levels]\n") << QByteArray("4");
        QTest::newRow("default component is no fallback")
            << QByteArray("default_component=7\n") << QByteArray("4");
    }
    void levelFileGivesAComponentItsLevel() {
        QFETCH(QByteArray, content);
        QTEST(levelOf("file_op_debug", content), "level");
    }
    void everyComponentOfTheLevelFileIsSet() {
        const QByteArray content = "launcher_debug=7\nservice_debug=3\nextractor_debug=5\n";
        QCOMPARE(levelOf("launcher_debug", content), QByteArray("7"));
        QCOMPARE(levelOf("service_debug", content), QByteArray("3"));
        QCOMPARE(levelOf("extractor_debug", content), QByteArray("5"));
        QCOMPARE(levelOf("file_op_debug", content), QByteArray("4"));
    }
    void defaultComponentGovernsOnlyItself() {
        QCOMPARE(levelOf("default_component", ""), QByteArray("4"));
        QCOMPARE(levelOf("default_component", "default_component=7\n"), QByteArray("7"));
        QCOMPARE(levelOf("unheard_of", "default_component=2\n"), QByteArray("4"));
    }
    void missingOrUnnamedLevelFileAddsNothing() {
        const ChildRun run = observeChild([&] {
            const int unnamed = initialize("");
            const int missing = initialize(m_folder.filePath("missing").toStdString());
            return printf("%d %d %d", unnamed, missing, Logger::GetCompLevel("service_debug"));
        });
        QCOMPARE(run.output, QByteArray("0 0 4"));
    }
    void levelsOfAnEarlierSetUpStayUnlessSetAgain() {
        const ChildRun run = observeChild([&] {
            initialize(levelFile("a=7\nb=6\ndefault_component=7\n"));
            initialize(levelFile("b=3\n"));
            return printf("%d %d %d", Logger::GetCompLevel("a"), Logger::GetCompLevel("b"),
                          Logger::GetCompLevel("default_component"));
        });
        QCOMPARE(run.output, QByteArray("7 3 4"));
    }

    // The other entry points

    void directMessageIsTestedAgainstTheLevelToo() {
        const QByteArray text = logged(Logger::L_NOTICE, [] {
            Logger::LogMsg(Logger::L_INFO, "service_debug", "info %d\n", 1);
            Logger::LogMsg(Logger::L_NOTICE, "service_debug", "note %d %s\n", 2, "two");
        });
        QCOMPARE(text, QByteArray("@ note 2 two\n"));
    }
    void argumentListIsWrittenAlike() {
        const QByteArray text = logged(Logger::L_NOTICE, [] {
            logWithList(Logger::L_INFO, "service_debug", "info %d\n", 1);
            logWithList(Logger::L_NOTICE, "service_debug", "note %d %s\n", 2, "two");
        });
        QCOMPARE(text, QByteArray("@ note 2 two\n"));
    }
    void plainFunctionIsWrittenAlike() {
        const QByteArray text = logged(Logger::L_NOTICE, [] {
            logPlainly(6, "service_debug", "info %d\n", 1);
            logPlainly(5, "service_debug", "note %d %s\n", 2, "two");
            logPlainly(5, "unheard_of", "note\n");
            logPlainly(4, "unheard_of", "warning\n");
            logPlainly(99, "unheard_of", "above the greatest level\n");
            logPlainly(-3, "unheard_of", "below the smallest level\n");
        });
        QCOMPARE(text, QByteArray("@ note 2 two\n@ warning\n@ below the smallest level\n"));
    }
    void printedLineIsStampedAndCounted() {
        const ChildRun run = observeChild([] {
            const int direct = Logger::PrintToFilePointer("%s %d\n", "text", 1);
            const int list = printWithList("%s %d\n", "text", 22);
            return printf("%d %d", direct, list);
        });
        QCOMPARE(markStamps(run.errors), QByteArray("@ text 1\n@ text 22\n"));
        const QByteArrayList lines = run.errors.split('\n');
        QCOMPARE(run.output, QByteArray::number(lines[0].size() + 1) + ' ' +
                                 QByteArray::number(lines[1].size() + 1));
    }
    void printedLineNeedsNoLevel() {
        const ChildRun run = observeChild([] {
            initialize("");
            Logger::Destroy();
            return Logger::PrintToFilePointer("text\n") == 0;
        });
        QCOMPARE(run.status, 0);
        QCOMPARE(markStamps(run.errors), QByteArray("@ text\n"));
    }
    void printingWithoutAStreamAnswersZero() {
        const ChildRun run = observeChild([] {
            Logger::Initialize(Logger::SYSLOG_LOGGER, "", "", 50, Logger::NonSafe);
            return printf("%d %d", Logger::PrintToFilePointer("text\n"), printWithList("text\n"));
        });
        QCOMPARE(run.output, QByteArray("0 0"));
        QCOMPARE(run.errors, QByteArray());
    }
    void errorNumberOfTheCallerStays() {
        const QByteArray text = logged(Logger::L_NOTICE, [] {
            for (const int number : {ENOENT, 0, 4711}) {
                errno = number;
                WRITE_LOG(L_ERR, LOG_AT(1, "%d\n"), errno);
                WRITE_LOG(L_ERR, LOG_AT(2, "%d\n"), errno);
                Logger::LogMsg(Logger::L_INFO, "service_debug", "suppressed\n");
                WRITE_LOG(L_ERR, LOG_AT(3, "%d\n"), errno);
            }
        });
        QByteArray expected;
        for (const int number : {ENOENT, 0, 4711}) {
            for (const int line : {1, 2, 3}) {
                expected += QString("@ [ERROR] log_test(%1): %2\n").arg(line).arg(number).toUtf8();
            }
        }
        QCOMPARE(text, expected);
    }
};

QTEST_GUILESS_MAIN(LogTest)
#include "log_test.moc"
