#include "lib/config.h"

#include <QtTest>

class ConfigTest : public QObject {
    Q_OBJECT

private slots:
    void missingFileAnswersMinusOne() { QCOMPARE(Config().read("/nonexistent/file"), -1); }
};

QTEST_GUILESS_MAIN(ConfigTest)
#include "config_test.moc"
