#include "tools/doctor/doctor.h"

#include "tools/doctor/checks.h"

#include <QFile>

#include <pwd.h>
#include <sys/stat.h>

namespace doctor {

namespace {

QString userName(uid_t user) {
    const passwd* entry = getpwuid(user);
    return entry != nullptr ? QString::fromUtf8(entry->pw_name) : QString::number(user);
}

QString nextStart(const Patient& patient) {
    if (!patient.needsUpgrade) {
        return "start";
    }
    return patient.live.exists ? "upgrade" : "install";
}

Report::Home examineHome(const Patient& patient) {
    Report::Home home;
    home.path = patient.home;
    home.user = userName(patient.owner);
    home.nextStart = nextStart(patient);
    checkReach(patient, home.findings);
    checkVersions(patient, home.findings);
    checkLauncher(patient, home.findings);
    checkClient(patient, home.findings);
    checkCopies(patient, home.findings);
    checkPath(patient, home.findings);
    checkSpace(patient, home.findings);
    checkLog(patient, home.findings);
    return home;
}

} // namespace

QStringList allHomes() {
    QStringList homes;
    setpwent();
    while (const passwd* entry = getpwent()) {
        struct stat status {};
        const QString home = QFile::decodeName(entry->pw_dir);
        const QByteArray folder = QByteArray(entry->pw_dir) + "/.AldaneTessel";
        if (lstat(folder.constData(), &status) == 0 && !homes.contains(home)) {
            homes << home;
        }
    }
    endpwent();
    return homes;
}

Report examineAll(const QString& root, const QStringList& homes, const PackageContents& package) {
    Report report;
    report.root = root;
    checkInstallation(root, package, report.installation);
    checkVerbosity(root, report.installation);
    for (const QString& home : homes) {
        report.homes << examineHome(examine(home, root, package));
    }
    return report;
}

} // namespace doctor
