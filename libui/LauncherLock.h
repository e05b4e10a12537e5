#pragma once

#include <QString>

#include <sys/types.h>

/// The lock file that keeps a user to one launcher per home folder.
QString launcherLockPath(const QString& home, uid_t user);

struct LauncherLock {
    int file = -1;            // open descriptor that holds the lock, the caller's to close; or -1
    bool isElsewhere = false; // another process of this user holds it
};

/// Takes the lock of this process's user in `home`, and makes folder and file where they are
/// missing. Without a lock and not elsewhere: none can be had (read-only or full disk, something
/// else in the file's place). Does not wait.
LauncherLock takeLauncherLock(const QString& home);
