#include "lib/log.h"
#include "libcommon/QuorLocale.h"
#include "libui/QtSingleApplication.h"
#include "libui/UIPathManager.h"
#include "ui-client/launcher/launcher.h"
#include "ui-client/launcher/progress-dialog.h"
#include "ui-client/launcher/tessel-paths.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QDir>
#include <QFileInfo>
#include <QTranslator>

#include <fcntl.h>
#include <unistd.h>

#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#define LOG_SOURCE "main"
#define LOG_COMPONENT "launcher_debug"
// The numbers identify the messages for whoever reads a log; they do not follow the lines of this
// file.

namespace {

/// Makes the process outlive standard streams that are missing, and writes that fail.
void secureStreams() {
    // In the place of a missing stream, the next file to be opened would get what is printed.
    int null = 0;
    do {
        null = open("/dev/null", O_RDWR);
    } while (null >= 0 && null <= STDERR_FILENO);
    close(null);
    // A failed write answers so, and an upgrade goes on or is rolled back. With a handler: what is
    // ignored here would be ignored in the client, too.
    for (const int number : {SIGPIPE, SIGXFSZ}) {
        if (signal(number, [](int) {}) == SIG_IGN) {
            signal(number, SIG_IGN);
        }
    }
}

/// The path of the running executable file. A program that was found through PATH has a bare name
/// for its first argument, and one that was started without arguments has none.
QString executablePath(const char* firstArgument) {
    if (firstArgument == nullptr || strchr(firstArgument, '/') == nullptr) {
        return QFileInfo("/proc/self/exe").canonicalFilePath();
    }
    return QString::fromUtf8(firstArgument);
}

std::wstring registeredPath(const char* key) {
    return UIPathManager::getInstance()->getPath(key).toStdWString();
}

// A wide text behind a narrow "%s" ends at its first zero byte: of each path, its first character
// reaches the log. The lines tell that the keys were reached; those who read logs know them so.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
void logRegisteredPaths() {
    WRITE_LOG(L_INFO, LOG_AT(120, ">>> user_skylark_path = %s\n"),
              registeredPath("user_skylark_path").c_str());
    WRITE_LOG(L_INFO, LOG_AT(121, ">>> user_skylark_app_path = %s\n"),
              registeredPath("user_skylark_app_path").c_str());
    WRITE_LOG(L_INFO, LOG_AT(122, ">>> user_skylark_resource_path = %s\n"),
              registeredPath("user_skylark_resource_path").c_str());
    WRITE_LOG(L_INFO, LOG_AT(123, ">>> user_skylark_data_path = %s\n"),
              registeredPath("user_skylark_data_path").c_str());
    WRITE_LOG(L_INFO, LOG_AT(124, ">>> user_skylark_working_dir_path = %s\n"),
              registeredPath("user_skylark_working_dir_path").c_str());
    WRITE_LOG(L_INFO, LOG_AT(125, ">>> user_skylark_tessel_ui_path = %s\n"),
              registeredPath("user_skylark_tessel_ui_path").c_str());
    WRITE_LOG(L_INFO, LOG_AT(126, ">>> root_resource_path = %s\n"),
              registeredPath("root_resource_path").c_str());
}
#pragma GCC diagnostic pop

} // namespace

/// Prepares the process: locale, compiled-in texts, and the plug-in folder beside the launcher as
/// the only one. Call it before the application object exists.
/// \param path the program's first argument.
void initialize_resources(const char* path) {
    setlocale(LC_ALL, "");
    // By name: the linker drops a static library's resources that nothing refers to.
    Q_INIT_RESOURCE(texts);
    const QString plugins = QDir::cleanPath(executablePath(path) + "/../../lib/plugins");
    QCoreApplication::setLibraryPaths(QStringList{plugins});
    printf("lib path = '%s'\n", plugins.toUtf8().constData());
    fflush(stdout); // before the output of the client that the launcher starts
}

/// Fills the path registry. Needs the application object.
void initializeTesselPaths() {
    registerTesselPaths(QDir::homePath(), QCoreApplication::applicationDirPath() + "/..");
}

/// Starts the log file in the user's folder; where that folder cannot be made, there is none, and
/// warnings and errors go to standard error. Needs the path registry.
void initialize_logger() {
    const QString root = UIPathManager::getInstance()->getPath("root_resource_path");
    const QString user = UIPathManager::getInstance()->getPath("user_aldane_tessel_path");
    const std::string debugFile = (root + "/log/launcher.debug").toStdString();
    const std::string logDir = (user + "/log").toStdString();
    if (!QDir().mkpath(user + "/log")) {
        return;
    }
    Logger::Initialize(Logger::FILE_LOGGER, logDir + "/launcher.log", debugFile, 50,
                       Logger::ThreadSafe);
    const QFileInfo levels(QString::fromStdString(debugFile));
    if (levels.exists() && !levels.isFile() && !levels.isDir()) {
        WRITE_LOG(L_WARNING, LOG_AT(119, "level file '%s' is not a regular file\n"),
                  debugFile.c_str());
    }
    logRegisteredPaths();
}

/// The resource path of the translation into the desktop's language.
QString getCurrentLanguageFileName() {
    return ":/" + QuorLocale::getDefaultLanguage() + ".qm";
}

int main(int argc, char** argv) {
    secureStreams();
    initialize_resources(argv[0]);
    QtSingleApplication application(argc, argv, true);
    initializeTesselPaths();
    initialize_logger();
    if (application.isRunning()) {
        WRITE_LOG(L_DEBUG, LOG_AT(173, "app has already launched, return\n"));
        return 0;
    }

    QTranslator translator;
    // Empty, but not null: a null suffix or delimiter would stand for the toolkit's own.
    translator.load(getCurrentLanguageFileName(), "", "", "");
    if (!translator.isEmpty()) {
        QCoreApplication::installTranslator(&translator);
    }
    StrTable::InitStrTable();

    adoptDialogFontFamily();
    const auto launcher = std::make_unique<Launcher>();
    launcher->Run();
    launcher->Start();
    return QApplication::exec();
}
