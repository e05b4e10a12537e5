// Built with -fno-access-control, and together with main.cpp, whose main is renamed.
#include "lib/log.h"
#include "libcommon/QuorLocale.h"
#include "libui/UIPathManager.h"
#include "tests/support/child.h"
#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/home-fixture.h"
#include "tests/support/message-capture.h"

#include <QCoreApplication>
#include <QDir>
#include <QtTest>

#include <unistd.h>

#include <clocale>
#include <functional>
#include <memory>

void initialize_resources(const char* path);
void initializeTesselPaths();
void initialize_logger();
QString getCurrentLanguageFileName();

namespace {

/// What `work` answers in a process of its own.
QString answerOf(const std::function<QString()>& work) {
    return QString::fromStdString(answerOfChild([&work] { return work().toStdString(); }));
}

/// The same beside an application object.
QString answerBesideApplication(const std::function<QString()>& work) {
    return answerOf([&work] {
        char name[] = "launcher";
        char* arguments[] = {name, nullptr};
        int count = 1;
        const QCoreApplication application(count, arguments);
        return work();
    });
}

QString ownFolder() {
    return QFileInfo(QFileInfo("/proc/self/exe").canonicalFilePath()).path();
}

} // namespace

class MainTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<HomeFixture> m_home;

    /// The log that start-up writes with these lines in the level switch file; a null text: none.
    QStringList logOf(const QByteArray& levels) const {
        if (!levels.isNull()) {
            writeFile(m_home->path("root/log/launcher.debug"), levels);
        }
        registerPaths();
        initialize_logger();
        QString text = QString::fromUtf8(readFile(logPath()));
        text.replace(QRegularExpression("^\\S+ [ \\d]\\d \\d\\d:\\d\\d:\\d\\d ",
                                        QRegularExpression::MultilineOption),
                     QString());
        return text.split('\n');
    }
    void registerPaths() const {
        UIPathManager* const paths = UIPathManager::getInstance();
        paths->setPath("root_resource_path", m_home->path("root"));
        paths->setPath("user_aldane_tessel_path", m_home->path(".AldaneTessel"));
        paths->setPath("user_skylark_path", m_home->path(".Skylark"));
        paths->setPath("user_skylark_resource_path", m_home->path(".Skylark/Skylark.app"));
    }
    QString logPath() const { return m_home->path(".AldaneTessel/log/launcher.log"); }

private slots:
    void init() { m_home = std::make_unique<HomeFixture>(); }
    void cleanup() { m_home.reset(); }

    void pluginFolderIsNextToTheExecutablesFolder_data() {
        QTest::addColumn<QByteArray>("path");
        QTest::addColumn<QByteArray>("folder");
        const auto row = [](const char* name, const char* path, const char* folder) {
            QTest::newRow(name) << QByteArray(path) << QByteArray(folder);
        };
        row("absolute", "/x/y/bin/launcher", "/x/y/lib/plugins");
        row("not clean", "/x//z/../y/./bin/launcher", "/x/y/lib/plugins");
        row("in the root", "/bin/launcher", "/lib/plugins");
        row("blank and other letters", "/x y/Ä本/bin/launcher", "/x y/Ä本/lib/plugins");
        row("relative", "./bin/launcher", "lib/plugins");
        row("relative, upwards", "../R/bin/launcher", "../R/lib/plugins");
        row("relative, in its own folder", "./launcher", "../lib/plugins");
        row("other name", "/x/y/bin/tessel", "/x/y/lib/plugins");
    }

    void pluginFolderIsNextToTheExecutablesFolder() {
        QFETCH(QByteArray, path);
        QFETCH(QByteArray, folder);
        const StdoutCapture output;
        initialize_resources(path.constData());
        QCOMPARE(output.text(), "lib path = '" + folder + "'\n");
        QCOMPARE(QCoreApplication::libraryPaths(), QStringList{QString::fromUtf8(folder)});
    }

    void withoutAPathTheRunningExecutableTellsTheFolder_data() {
        QTest::addColumn<bool>("isNull");
        QTest::addColumn<QByteArray>("path");
        QTest::newRow("bare name") << false << QByteArray("launcher");
        QTest::newRow("empty") << false << QByteArray("");
        QTest::newRow("none") << true << QByteArray();
    }

    void withoutAPathTheRunningExecutableTellsTheFolder() {
        QFETCH(bool, isNull);
        QFETCH(QByteArray, path);
        const StdoutCapture output;
        initialize_resources(isNull ? nullptr : path.constData());
        const QString folder = QDir::cleanPath(ownFolder() + "/../lib/plugins");
        QCOMPARE(output.text(), "lib path = '" + folder.toUtf8() + "'\n");
        QCOMPARE(QCoreApplication::libraryPaths(), QStringList{folder});
    }

    void lineIsOutBeforeTheNextStep() {
        const QByteArray path = QFile::encodeName(m_home->path("output"));
        QCOMPARE(inChild([&path] {
                     if (freopen(path.constData(), "w", stdout) == nullptr) {
                         return 2;
                     }
                     setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
                     initialize_resources("/x/bin/launcher");
                     return readFile(path) == "lib path = '/x/lib/plugins'\n" ? 0 : 1;
                 }),
                 0);
    }

    void localeFollowsTheEnvironment() {
        QCOMPARE(answerOf([] {
                     setlocale(LC_ALL, "C");
                     qputenv("LC_ALL", "C.UTF-8");
                     const StdoutCapture output;
                     initialize_resources("/x/bin/launcher");
                     return QString(setlocale(LC_ALL, nullptr));
                 }),
                 QString("C.UTF-8"));
    }

    void textsAreAmongTheResources() {
        const StdoutCapture output;
        initialize_resources("/x/bin/launcher");
        QVERIFY(QFile::exists(":/enu.qm"));
        QVERIFY(QFile::exists(":/jpn.qm"));
    }

    void ninePathsAreRegistered_data() {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("suffix");
        const auto row = [](const char* key, const char* suffix) {
            QTest::newRow(key) << key << suffix;
        };
        row("user_aldane_tessel_path", "/.AldaneTessel");
        row("user_aldane_tessel_app_path", "/.AldaneTessel/AldaneTessel.app");
        row("user_aldane_tessel_resource_path", "/.AldaneTessel/AldaneTessel.app");
        row("user_aldane_tessel_data_path", "/.AldaneTessel/data");
        row("user_aldane_tessel_working_dir_path", "/.AldaneTessel/AldaneTessel.app/bin");
        row("user_aldane_tessel_ui_path", "/.AldaneTessel/AldaneTessel.app/bin/cloud-tessel-ui");
        row("user_skylark_path", "/.Skylark");
        row("user_skylark_resource_path", "/.Skylark/Skylark.app");
    }

    void ninePathsAreRegistered() {
        QFETCH(QString, key);
        QFETCH(QString, suffix);
        for (const char* spelling : {"%1", "%1/", "%1/./", "%1/x/..", "%1//"}) {
            QCOMPARE(answerBesideApplication([this, &key, spelling] {
                         qputenv("HOME", QFile::encodeName(QString(spelling).arg(m_home->path())));
                         initializeTesselPaths();
                         return UIPathManager::getInstance()->getPath(key);
                     }),
                     m_home->path() + suffix);
        }
    }

    void rootIsAboveTheExecutablesFolder() {
        QCOMPARE(answerBesideApplication([] {
                     initializeTesselPaths();
                     return UIPathManager::getInstance()->getPath("root_resource_path");
                 }),
                 QFileInfo(ownFolder()).path());
    }

    void noOtherPathIsRegistered() {
        QCOMPARE(answerBesideApplication([] {
                     initializeTesselPaths();
                     const UIPathManager* const paths = UIPathManager::getInstance();
                     QString unknown;
                     for (const char* key :
                          {"user_skylark_app_path", "user_skylark_data_path",
                           "user_skylark_working_dir_path", "user_skylark_tessel_ui_path"}) {
                         unknown += paths->getPath(key);
                     }
                     return QString::number(paths->m_paths.size()) + unknown;
                 }),
                 QString("9"));
    }

    void sevenLinesShowTheFirstCharacterOfEachPath() {
        QCOMPARE(answerOf([this] { return logOf("launcher_debug=6\n").join('\n'); }),
                 QString("[INFO] main(120): >>> user_skylark_path = /\n"
                         "[INFO] main(121): >>> user_skylark_app_path = \n"
                         "[INFO] main(122): >>> user_skylark_resource_path = /\n"
                         "[INFO] main(123): >>> user_skylark_data_path = \n"
                         "[INFO] main(124): >>> user_skylark_working_dir_path = \n"
                         "[INFO] main(125): >>> user_skylark_tessel_ui_path = \n"
                         "[INFO] main(126): >>> root_resource_path = /\n"));
    }

    void belowLevelInfoTheLinesAreNotWritten_data() {
        QTest::addColumn<QByteArray>("levels");
        QTest::newRow("no level switch file") << QByteArray();
        QTest::newRow("notes alone") << QByteArray("launcher_debug=5\n");
        QTest::newRow("another component") << QByteArray("service_debug=7\n");
    }

    void belowLevelInfoTheLinesAreNotWritten() {
        QFETCH(QByteArray, levels);
        QCOMPARE(answerOf([this, &levels] { return logOf(levels).join('\n') + '.'; }),
                 QString("."));
        QVERIFY(QFileInfo::exists(logPath()));
    }

    void logIsAFileOfFiftyGenerationsForAllThreads() {
        QCOMPARE(inChild([this] {
                     logOf(QByteArray());
                     return Logger::log_type == Logger::FILE_LOGGER && Logger::rotate_cnt == 50 &&
                                    Logger::safety_scope == Logger::ThreadSafe &&
                                    Logger::log_path == logPath().toStdString()
                                ? 0
                                : 1;
                 }),
                 0);
    }

    void withoutItsFolderThereIsNoLogFile_data() {
        QTest::addColumn<QString>("obstacle");
        QTest::newRow("log is a file") << ".AldaneTessel/log";
        QTest::newRow("the user's folder is a file") << ".AldaneTessel";
    }

    void withoutItsFolderThereIsNoLogFile() {
        QFETCH(QString, obstacle);
        writeFile(m_home->path(obstacle), "in the way");
        writeFile(m_home->path("root/log/launcher.debug"), "launcher_debug=7\n");
        const QByteArray errors = QFile::encodeName(m_home->path("errors"));
        QCOMPARE(inChild([this, &errors] {
                     if (freopen(errors.constData(), "w", stderr) == nullptr) {
                         return 2;
                     }
                     registerPaths();
                     initialize_logger();
                     Logger::LogMsg(Logger::L_ERR, "launcher_debug", "[ERROR] seen\n");
                     return Logger::log_path.empty() ? 0 : 1;
                 }),
                 0);
        QCOMPARE(readFile(m_home->path(obstacle)), QByteArray("in the way"));
        QVERIFY(readFile(errors).endsWith(" [ERROR] seen\n"));
        QCOMPARE(readFile(errors).count('\n'), 1);
    }

    void translationIsThatOfTheDesktopsLanguage() {
        const MessageCapture messages;
        QCOMPARE(getCurrentLanguageFileName(), ":/" + QuorLocale::getDefaultLanguage() + ".qm");
        QVERIFY(QFile::exists(getCurrentLanguageFileName()));
    }
};

QTEST_APPLESS_MAIN(MainTest)
#include "main_test.moc"
