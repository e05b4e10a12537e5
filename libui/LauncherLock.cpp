#include "libui/LauncherLock.h"

#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

QString userFolder(const QString& home) {
    return home + "/.AldaneTessel";
}

/// The lock file, made when missing, readable for its owner alone; -1 where that cannot be.
int openLockFile(const QString& home) {
    QDir().mkpath(userFolder(home));
    // O_NONBLOCK: something else in the file's place must not hold the start up.
    return open(QFile::encodeName(launcherLockPath(home, getuid())).constData(),
                O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
}

/// Only a regular file that nobody else can open is proof of another launcher of this user.
bool isOurs(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == getuid() &&
           ((status.st_mode & 0777) == 0600 || fchmod(file, 0600) == 0);
}

} // namespace

QString launcherLockPath(const QString& home, uid_t user) {
    // The user is part of the name: under sudo, which keeps HOME, root neither blocks nor is
    // blocked.
    return QStringLiteral("%1/launcher-%2.lock").arg(userFolder(home)).arg(user);
}

LauncherLock takeLauncherLock(const QString& home) {
    LauncherLock lock;
    const int file = openLockFile(home);
    if (file == -1) {
        return lock;
    }
    const bool ours = isOurs(file);
    if (ours && flock(file, LOCK_EX | LOCK_NB) == 0) {
        lock.file = file;
        return lock;
    }
    lock.isElsewhere = ours && errno == EWOULDBLOCK;
    close(file);
    return lock;
}
