#include "tools/doctor/checks.h"

#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

namespace doctor {

namespace {

QString nameOf(const Copy& copy) {
    return QFileInfo(copy.path).fileName();
}

QString described(const Copy& copy) {
    const QString state = copy.isVerified     ? "complete, as the package"
                          : copy.isComplete() ? "complete"
                                              : "incomplete, lacks " + copy.lacking.join(", ");
    return QString("%1: build %2, %3, %4")
        .arg(nameOf(copy), copy.build.isEmpty() ? QString("none") : copy.build,
             sizeText(copy.bytes), state);
}

void checkObstacles(const Copy& copy, Findings& findings) {
    if (!copy.obstacles.isEmpty()) {
        findings.fault("copies",
                       "folders that their user can neither list, empty nor remove: " +
                           copy.obstacles.join(", "),
                       "give them back to the user (chown -R) and chmod -R u+rwX " + copy.path);
    }
}

void checkLive(const Patient& patient, Findings& findings) {
    const Copy& live = patient.live;
    if (!live.exists) {
        findings.fact("copies", "no copy of the client yet");
    } else if (!live.isFolder) {
        findings.fault("copies", nameOf(live) + " is no folder: nothing can be unpacked into it",
                       "move " + live.path + " away");
    } else if (live.isComplete() || patient.needsUpgrade) {
        findings.fact("copies", described(live));
    } else {
        findings.fault("copies",
                       described(live) + ": it does not start, and the next start does not "
                                         "install it anew",
                       "remove " + live.path + "; the next start installs it");
    }
    checkObstacles(live, findings);
}

void checkBackup(const Patient& patient, const Copy& backup, Findings& findings) {
    if (!backup.isFolder) {
        findings.fault("copies", nameOf(backup) + " is no folder, and takes a backup's name",
                       "move " + backup.path + " away");
        return;
    }
    const bool isNeeded = backup.isComplete() && !patient.live.isComplete();
    findings.fault("copies", "left behind by an interrupted upgrade: " + described(backup),
                   isNeeded ? "tessel-doctor --repair gives it its name back"
                   : patient.live.isVerified
                       ? "tessel-doctor --repair removes it"
                       : "wait for the next upgrade that succeeds, then tessel-doctor --repair");
    checkObstacles(backup, findings);
}

struct Place {
    QString path;
    mode_t type;
};

/// Owner, kind and the owner's permissions of one place; what is missing the launcher makes.
void checkPlace(const Place& place, uid_t owner, Findings& findings) {
    struct stat status {};
    if (lstat(QFile::encodeName(place.path).constData(), &status) != 0) {
        return;
    }
    if (S_ISLNK(status.st_mode)) {
        findings.fault("path",
                       place.path + " is a link, which does not count as the folder or file that "
                                    "belongs there",
                       "put what it points to in its place");
        return;
    }
    if ((status.st_mode & S_IFMT) != place.type) {
        findings.fault("path", place.path + " is of the wrong kind", "move it away");
        return;
    }
    if (status.st_uid != owner) {
        findings.fault("path",
                       QString("%1 belongs to user %2, not to the home's user %3")
                           .arg(place.path)
                           .arg(status.st_uid)
                           .arg(owner),
                       "chown -R " + QString::number(owner) + ' ' + place.path);
    }
    const mode_t needed = S_ISDIR(status.st_mode) ? S_IRWXU : S_IRUSR | S_IWUSR;
    if ((status.st_mode & needed) != needed) {
        findings.fault("path",
                       QString("%1 has mode %2: its user cannot work there")
                           .arg(place.path)
                           .arg(status.st_mode & 07777, 4, 8, QLatin1Char('0')),
                       (S_ISDIR(status.st_mode) ? "chmod u+rwx " : "chmod u+rw ") + place.path);
    }
}

} // namespace

void checkCopies(const Patient& patient, Findings& findings) {
    checkLive(patient, findings);
    for (const Copy& backup : patient.backups) {
        checkBackup(patient, backup, findings);
    }
    if (patient.backups.size() == backup_names) {
        findings.fault("copies", "all ten backup names are taken: no upgrade can begin",
                       "look into them, keep the complete one, remove the others");
    }
}

void checkPath(const Patient& patient, Findings& findings) {
    const int before = findings.size();
    if (patient.home.contains(' ')) {
        findings.fault("path", "the home's path holds a blank: the client is never started",
                       "a home folder without a blank in its path");
    }
    // The home itself may well be reached through a link.
    checkPlace({QFileInfo(patient.home).canonicalFilePath(), S_IFDIR}, patient.owner, findings);
    checkPlace({patient.folder(), S_IFDIR}, patient.owner, findings);
    checkPlace({patient.folder() + "/AldaneTessel.app", S_IFDIR}, patient.owner, findings);
    checkPlace({patient.folder() + "/log", S_IFDIR}, patient.owner, findings);
    checkPlace({patient.folder() + "/log/launcher.log", S_IFREG}, patient.owner, findings);
    if (findings.size() == before) {
        findings.fact("path", "owner, permissions and kinds are right");
    }
}

} // namespace doctor
