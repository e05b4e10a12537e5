#include "lib/log.h"
#include "tests/support/log-capture.h"

#include <QtTest>

#define LOG_SOURCE "log_test"
#define LOG_COMPONENT "service_debug"

class LogTest : public QObject {
    Q_OBJECT

private slots:
    void writtenLineCarriesTagSourceAndNumber() {
        const LogCapture log;
        WRITE_LOG(L_NOTICE, LOG_AT(12, "text %s\n"), "x");
        QCOMPARE(log.lines(), QStringList{"[NOTE] log_test(12): text x"});
    }
};

QTEST_GUILESS_MAIN(LogTest)
#include "log_test.moc"
