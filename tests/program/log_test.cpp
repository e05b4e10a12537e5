// What the installed program logs, and how its log is kept from one run to the next.
#include "tests/support/files.h"
#include "tests/support/log-capture.h"
#include "tests/support/program.h"

#include <QtTest>

namespace {

constexpr int rotationLimit = 1048576;

} // namespace

class LogTest : public QObject {
    Q_OBJECT

private slots:
    void levelFileSaysWhatIsLogged_data() {
        QTest::addColumn<QByteArray>("levels");
        QTest::addColumn<QStringList>("tags");
        QTest::newRow("none") << QByteArray() << QStringList();
        QTest::newRow("all notes")
            << QByteArray("launcher_debug=5\nservice_debug=5\n") << QStringList();
        QTest::newRow("launcher's information")
            << QByteArray("launcher_debug=6\n") << QStringList{"[INFO] main"};
        QTest::newRow("launcher's steps")
            << QByteArray("launcher_debug=7\n") << QStringList{"[DEBUG] launcher", "[INFO] main"};
        QTest::newRow("service's information")
            << QByteArray("service_debug=6\n") << QStringList{"[INFO] cloud-service"};
        QTest::newRow("extractor's steps") << QByteArray("extractor_debug = '7' # all of it\n")
                                           << QStringList{"[DEBUG] extractor"};
        QTest::newRow("malformed")
            << QByteArray("launcher_debug=7\nservice_debug\n") << QStringList();
        QTest::newRow("another default") << QByteArray("default_component=7\n") << QStringList();
    }
    void levelFileSaysWhatIsLogged() {
        QFETCH(QByteArray, levels);
        QFETCH(QStringList, tags);
        const InstalledTree machine;
        machine.pack(1001);
        if (!levels.isNull()) {
            writeFile(machine.root("log/launcher.debug"), levels);
        }
        QCOMPARE(Program(machine).status(), 0);
        QStringList seen = machine.log();
        for (QString& line : seen) {
            line.truncate(line.indexOf('('));
        }
        seen.removeDuplicates();
        seen.sort();
        QCOMPARE(seen, tags);
    }

    // The size of the file that an earlier run left counts, and the line that goes past the limit
    // is the last one of its file.
    void logIsRotatedAcrossRuns() {
        const InstalledTree machine;
        machine.installCopy(1001);
        machine.pack(1001);
        writeFile(machine.root("log/launcher.debug"), "launcher_debug=6\n");
        const int line = int(sizeof "Nov 21 03:47:56 [INFO] main(120): >>> user_skylark_path = /");
        const QByteArray old = QByteArray(rotationLimit - line - 1, 'x') + '\n';
        writeFile(machine.logFile(), old);
        QCOMPARE(Program(machine).status(), 0);

        // The first line just fits, the second one does not.
        const QByteArray full = readFile(machine.logFile() + "_0");
        QVERIFY(full.startsWith(old));
        writeFile(machine.home("rest"), full.mid(old.size()));
        QCOMPARE(logLines(machine.home("rest")),
                 (QStringList{"[INFO] main(120): >>> user_skylark_path = /",
                              "[INFO] main(121): >>> user_skylark_app_path = "}));
        QCOMPARE(machine.log().first(),
                 QString("[INFO] main(122): >>> user_skylark_resource_path = /"));

        writeFile(machine.logFile(), old);
        QCOMPARE(Program(machine).status(), 0);
        QCOMPARE(readFile(machine.logFile() + "_1"), full);
        QVERIFY(!QFile::exists(machine.logFile() + "_2"));
    }

    void noMoreThanFortyNineOldLogsAreKept() {
        const InstalledTree machine;
        machine.installCopy(1001);
        machine.pack(1001);
        writeFile(machine.root("log/launcher.debug"), "launcher_debug=6\n");
        for (int n = 0; n < 49; ++n) {
            writeFile(machine.logFile() + "_" + QString::number(n), QByteArray::number(n));
        }
        writeFile(machine.logFile(), QByteArray(rotationLimit, 'x'));
        QCOMPARE(Program(machine).status(), 0);
        for (int n = 1; n < 49; ++n) {
            QCOMPARE(readFile(machine.logFile() + "_" + QString::number(n)),
                     QByteArray::number(n - 1));
        }
        QVERIFY(!QFile::exists(machine.logFile() + "_49"));
    }
};

QTEST_GUILESS_MAIN(LogTest)
#include "log_test.moc"
