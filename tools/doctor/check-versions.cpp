#include "tools/doctor/checks.h"

#include <QFile>

#include <sys/statvfs.h>

namespace doctor {

namespace {

QString shown(const QString& build) {
    return build.isEmpty() ? QString("none") : "'" + build + "'";
}

QString decision(const Patient& patient) {
    if (!patient.hasExecutable) {
        return "the next start installs: the user's bin/cloud-tessel-ui is missing";
    }
    if (patient.needsUpgrade) {
        return "the next start upgrades: the packaged build is above the installed one";
    }
    const bool isBelow = patient.packagedBuild.toInt() < patient.live.build.toInt();
    return isBelow ? "the next start only starts the client: the packaged build is below the "
                     "installed one, and no launcher goes back"
                   : "the next start only starts the client: the packaged build is not above the "
                     "installed one";
}

} // namespace

QString sizeText(uint64_t bytes) {
    return QString("%1 MiB").arg(static_cast<double>(bytes) / (1024 * 1024), 0, 'f', 1);
}

void checkVersions(const Patient& patient, Findings& findings) {
    findings.fact("versions", QString("installed build %1, packaged build %2")
                                  .arg(shown(patient.live.build), shown(patient.packagedBuild)));
    findings.fact("versions", decision(patient));
    bool isNumber = false;
    if (patient.packagedBuild.toInt(&isNumber) < 1 || !isNumber) {
        findings.fault("versions",
                       "the packaged build is no whole number from 1 to 2147483647: a copy that "
                       "has its executable is never upgraded",
                       "an INFO with build_version in group Version, a number that grows");
    }
}

void checkSpace(const Patient& patient, Findings& findings) {
    struct statvfs disk {};
    if (statvfs(QFile::encodeName(patient.home).constData(), &disk) != 0) {
        return; // a home that cannot be looked at is told by its path
    }
    const uint64_t free = static_cast<uint64_t>(disk.f_bavail) * disk.f_frsize;
    // The old copy stays until the new one is complete; each entry takes up to a block more.
    const uint64_t needed = patient.package.bytes + patient.package.entries.size() * disk.f_bsize;
    const QString text = QString("free: %1; unpacking the package takes %2 beside the old copy")
                             .arg(sizeText(free), sizeText(needed));
    const bool lacksNames = disk.f_files > 0 && disk.f_favail < patient.package.entries.size();
    if (patient.needsUpgrade && (free < needed || lacksNames)) {
        findings.fault("space", text + (lacksNames ? " (the disk is out of inodes)" : ""),
                       "free space on the disk of the home folder, or raise the user's quota");
    } else {
        findings.fact("space", text);
    }
}

} // namespace doctor
