#include "lib/config.h"
#include "tools/doctor/checks.h"

#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

#include <cctype>

namespace doctor {

namespace {

constexpr char soundPackage[] = "put a sound package and its INFO into the installation "
                                "(tessel-package build, tessel-package check)";

bool isReadableForAll(const QString& path) {
    struct stat status {};
    return stat(QFile::encodeName(path).constData(), &status) == 0 &&
           (status.st_mode & S_IROTH) != 0;
}

void checkProgram(const QString& root, Findings& findings) {
    if (!QFileInfo(root + "/bin/launcher").isExecutable()) {
        findings.fault("installation", "bin/launcher is missing or cannot be run",
                       "install the launcher again");
    }
    if (!QFileInfo::exists(root + "/lib/plugins/platforms/libqxcb.so")) {
        findings.fault("installation",
                       "lib/plugins/platforms/libqxcb.so is missing: the launcher ends at once on "
                       "an X11 desktop",
                       "install the launcher again");
    }
}

void checkInfo(const QString& root, const PackageContents& package, Findings& findings) {
    const QString path = root + "/INFO";
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        findings.fault("package", "INFO is missing or unreadable: no user is ever upgraded",
                       soundPackage);
        return;
    }
    if (!isReadableForAll(path)) {
        findings.fault("package", "INFO is not readable for all users", "chmod o+r " + path);
    }
    if (package.isSound() && file.readAll() != package.info) {
        findings.fault("package",
                       "INFO differs from the INFO inside the package: what users get is not what "
                       "the decision is made from",
                       soundPackage);
    }
}

void tellBrokenRules(const QStringList& lines, Findings& findings) {
    constexpr int told = 5;
    for (const QString& line : lines.mid(0, told)) {
        findings.fault("package", line, soundPackage);
    }
    if (lines.size() > told) {
        findings.fault("package", QString("%1 more broken rules").arg(lines.size() - told),
                       "tessel-package check tells them all");
    }
}

} // namespace

void checkInstallation(const QString& root, const PackageContents& package, Findings& findings) {
    checkProgram(root, findings);
    checkInfo(root, package, findings);
    const QString file = root + "/package/skylark.tpx";
    if (!package.isSound()) {
        findings.fault("package",
                       QString("package/skylark.tpx: %1: every installation and upgrade fails")
                           .arg(package.trouble),
                       soundPackage);
        return;
    }
    if (!isReadableForAll(file)) {
        findings.fault("package", "package/skylark.tpx is not readable for all users",
                       "chmod o+r " + file);
    }
    tellBrokenRules(package.brokenRules, findings);
    findings.fact("package", QString("readable to its end: %1 entries, %2 unpacked")
                                 .arg(package.entries.size())
                                 .arg(sizeText(package.bytes)));
}

void checkVerbosity(const QString& root, Findings& findings) {
    const QString path = root + "/log/launcher.debug";
    if (!QFileInfo::exists(path)) {
        findings.fact("verbosity", "no log/launcher.debug: warnings and errors are logged");
        return;
    }
    Config levels;
    if (levels.read(QFile::encodeName(path).toStdString()) != 0) {
        findings.fault("verbosity",
                       "log/launcher.debug is unreadable or has a malformed line: all of it is "
                       "ignored",
                       "only lines as 'launcher_debug=7', and comments after '#'");
        return;
    }
    for (const auto& [component, level] : levels) {
        const QString line = QString::fromStdString(component + "=" + level);
        const bool isNumber = !level.empty() && isdigit(static_cast<unsigned char>(level[0])) != 0;
        if (isNumber) {
            findings.fact("verbosity", line);
        } else {
            findings.fault("verbosity", "'" + line + "' silences that component, errors included",
                           "a number from 0 to 7");
        }
    }
}

} // namespace doctor
