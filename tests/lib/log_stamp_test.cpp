#include "lib/log.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <clocale>
#include <cstdlib>
#include <ctime>

// With arguments this program is its own subject: a fresh process, whose language and time zone
// come from the environment, logs one line to standard error. `date` knows what its stamp must be.

namespace {

time_t fixed_time = -1;

} // namespace

// The clock that the logger asks; it stands still where a time is given.
extern "C" time_t time(time_t* result) noexcept {
    struct timespec now = {fixed_time, 0};
    if (fixed_time == -1) {
        clock_gettime(CLOCK_REALTIME, &now);
    }
    if (result != nullptr) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}

namespace {

QByteArray output(const QProcessEnvironment& environment, const QString& program,
                  const QStringList& arguments) {
    QProcess process;
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    return process.waitForFinished() && process.exitCode() == 0 ? process.readAll()
                                                                : program.toUtf8() + " failed";
}

QByteArray logged(const QProcessEnvironment& environment, const QString& when) {
    return output(environment, QCoreApplication::applicationFilePath(), {"--log-at", when});
}

QByteArray expected(const QProcessEnvironment& environment, qint64 when) {
    const QByteArray stamp =
        output(environment, "date", {"-d", "@" + QString::number(when), "+%b %d %H:%M:%S "});
    return stamp.chopped(1) + "text\n";
}

} // namespace

class LogStampTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_locales;

    QProcessEnvironment environment(const QString& zone, const QString& language) const {
        QProcessEnvironment all = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"LC_ALL", "LANGUAGE", "TZ"}) {
            all.remove(name);
        }
        all.insert("LANG", "C");
        all.insert("LC_TIME", language);
        if (language != "C") {
            all.insert("LOCPATH", m_locales.path());
        }
        if (!zone.isEmpty()) {
            all.insert("TZ", zone);
        }
        return all;
    }
    // LANGUAGE_COUNTRY from the system's sources, so that the test depends on no installed locale.
    bool compile(const QString& language) const {
        const QString name = m_locales.filePath(language);
        QProcess localedef;
        localedef.start("localedef",
                        {"--no-archive", "-i", language.section('.', 0, 0), "-f", "UTF-8", name});
        return localedef.waitForFinished() && QDir(name).exists();
    }

private slots:
    void stampIsTheLocalTimeAsDateTellsIt_data() {
        QTest::addColumn<qint64>("when");
        QTest::addColumn<QString>("zone");
        QTest::addColumn<QString>("language");
        QTest::newRow("day and time with zeros") << qint64(1704423845) << "UTC"
                                                 << "C";
        QTest::newRow("last second of a year") << qint64(1703980799) << "UTC"
                                               << "C";
        QTest::newRow("first second of the epoch") << qint64(0) << "UTC"
                                                   << "C";
        QTest::newRow("zone of the machine") << qint64(1719835200) << ""
                                             << "C";
        QTest::newRow("half an hour") << qint64(1719835200) << "Asia/Kolkata"
                                      << "C";
        QTest::newRow("the day before") << qint64(1704067200) << "America/New_York"
                                        << "C";
        QTest::newRow("the day after") << qint64(1704020400) << "Pacific/Kiritimati"
                                       << "C";
        QTest::newRow("summer time") << qint64(1719835200) << "Europe/Berlin"
                                     << "C";
        QTest::newRow("rule in the environment") << qint64(1719835200) << "XYZ-3:30"
                                                 << "C";
        QTest::newRow("unknown zone") << qint64(1719835200) << "No/Where"
                                      << "C";
        QTest::newRow("German") << qint64(1709294400) << "Europe/Berlin"
                                << "de_DE.UTF-8";
        QTest::newRow("Russian") << qint64(1709294400) << "Europe/Moscow"
                                 << "ru_RU.UTF-8";
        QTest::newRow("Japanese") << qint64(1709294400) << "Asia/Tokyo"
                                  << "ja_JP.UTF-8";
    }
    void stampIsTheLocalTimeAsDateTellsIt() {
        QFETCH(qint64, when);
        QFETCH(QString, zone);
        QFETCH(QString, language);
        if (language != "C" && !compile(language)) {
            QSKIP("no sources of this locale on the machine");
        }
        const QProcessEnvironment here = environment(zone, language);
        const QByteArray line = logged(here, QString::number(when));
        QCOMPARE(line, expected(here, when));
        if (language != "C") {
            QVERIFY(line != expected(environment(zone, "C"), when));
        }
    }
    void stampHasTheFixedShape() {
        QCOMPARE(logged(environment("UTC", "C"), "1704423845"),
                 QByteArray("Jan 05 03:04:05 text\n"));
    }
    void stampTellsThePresentTime() {
        const QProcessEnvironment here = environment("UTC", "C");
        const qint64 before = QDateTime::currentSecsSinceEpoch();
        const QByteArray line = logged(here, "-1");
        const qint64 after = QDateTime::currentSecsSinceEpoch();
        QByteArrayList candidates;
        for (qint64 when = before; when <= after; ++when) {
            candidates << expected(here, when);
        }
        QVERIFY2(candidates.contains(line), line);
    }
};

int main(int argc, char** argv) {
    if (argc == 3 && qstrcmp(argv[1], "--log-at") == 0) {
        setlocale(LC_ALL, "");
        fixed_time = strtoll(argv[2], nullptr, 10);
        Logger::LogMsg(Logger::L_WARNING, "service_debug", "text\n");
        return 0;
    }
    const QCoreApplication application(argc, argv);
    LogStampTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "log_stamp_test.moc"
