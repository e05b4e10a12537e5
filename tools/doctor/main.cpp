#include "lib/log.h"
#include "tools/doctor/command-line.h"
#include "tools/doctor/doctor.h"
#include "tools/doctor/repair.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QTextCodec>

#include <unistd.h>

#include <clocale>
#include <cstdio>

using doctor::Command;
using doctor::RepairResult;
using doctor::Report;

namespace {

constexpr int healthy = 0;
constexpr int findings = 1;
constexpr int unusableArguments = 2;

int complain(const QString& text) {
    fprintf(stderr, "tessel-doctor: %s\nsee tessel-doctor --help\n",
            doctor::printable(text).toUtf8().constData());
    return unusableArguments;
}

int statusOf(const Report& report) {
    return report.isHealthy() ? healthy : findings;
}

int treat(const QString& home, const QString& root, const doctor::PackageContents& package,
          const Report& report) {
    const auto look = [&] { return doctor::examine(home, root, package); };
    if (doctor::repair(look(), look) != RepairResult::Done) {
        return statusOf(report);
    }
    return statusOf(doctor::examineAll(root, {home}, package));
}

int run(const Command& command) {
    const QString own = QCoreApplication::applicationDirPath() + "/..";
    const QString root = QFileInfo(command.root.isEmpty() ? own : command.root).canonicalFilePath();
    const QString home =
        QDir(command.home.isEmpty() ? QDir::homePath() : command.home).absolutePath();
    if (command.isRepair && QFileInfo(home).ownerId() != geteuid()) {
        return complain("--repair is for the home's own user: sudo -u USER tessel-doctor …");
    }
    const doctor::PackageContents package = doctor::readPackage(root + "/package/skylark.tpx");
    const QStringList homes = command.isForAllUsers ? doctor::allHomes() : QStringList{home};
    const Report report = doctor::examineAll(root, homes, package);
    fputs((command.isJson ? toJson(report) : toText(report)).constData(), stdout);
    return command.isRepair ? treat(home, root, package, report) : statusOf(report);
}

} // namespace

int main(int argc, char** argv) {
    // Paths are UTF-8 whatever the locale, and nothing else depends on it.
    QTextCodec::setCodecForLocale(QTextCodec::codecForName("UTF-8"));
    const QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("tessel-doctor");
    QCoreApplication::setApplicationVersion(TESSEL_VERSION);
    setlocale(LC_ALL, "C");
    // The launcher's parts would tell the user's log, or the terminal, what is told here.
    Logger::Destroy();

    const Command command = doctor::parseCommandLine(QCoreApplication::arguments());
    if (command.kind == Command::Unusable) {
        return complain(command.text);
    }
    if (command.kind == Command::Tell) {
        fputs(command.text.toUtf8().constData(), stdout);
        return healthy;
    }
    return run(command);
}
