#pragma once

#include "tools/doctor/package-contents.h"

#include <QStringList>

#include <sys/types.h>

#include <cstdint>

namespace doctor {

/// A copy of the client in a user's home: the live one or a backup.
struct Copy {
    QString path;
    bool exists = false; // something stands there, whatever it is
    bool isFolder = false;
    QString build;       // its INFO's build_version; empty where it has none
    QStringList lacking; // what a client must have and this one has not
    /// Of the packaged build, and every entry of a sound package stands in it.
    bool isVerified = false;
    uint64_t bytes = 0;    // on the disk
    QStringList obstacles; // the first entries that keep its owner from moving or removing it

    bool isComplete() const { return isFolder && lacking.isEmpty(); }
};

/// One user's home as the launcher will find it at its next start.
struct Patient {
    QString home;
    QString root; // the installation
    uid_t owner = 0;
    PackageContents package;
    QString packagedBuild;
    bool needsUpgrade = false;  // the launcher's own decision
    bool hasExecutable = false; // of the live copy
    Copy live;
    QList<Copy> backups; // that exist, in the order of their numbers

    QString folder() const { return home + "/.AldaneTessel"; }
    bool isUpToDate() const { return !needsUpgrade && live.isComplete(); }
};

/// Looks at `home`, and changes nothing. Registers the home's paths in the path registry, where the
/// launcher's parts find them.
/// \param package of the installation `root`, read before.
Patient examine(const QString& home, const QString& root, const PackageContents& package);

/// The name of a backup folder of `home`'s copy, by the launcher's own rule.
QString backupPath(const QString& home, int number);
constexpr int backup_names = 10;

} // namespace doctor
