#include "libui/QtSingleApplication.h"

#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

/// The lock file, made when missing, readable for its owner alone; -1 where that cannot be.
int openLockFile() {
    const QString folder = QDir::homePath() + "/.AldaneTessel";
    QDir().mkpath(folder);
    // The user is part of the name: under sudo, which keeps HOME, root neither blocks nor is
    // blocked.
    const QString path = QStringLiteral("%1/launcher-%2.lock").arg(folder).arg(getuid());
    // O_NONBLOCK: something else in the file's place must not hold the start up.
    return open(QFile::encodeName(path).constData(),
                O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0600);
}

/// Only a regular file that nobody else can open is proof of another launcher of this user.
bool isOurs(int file) {
    struct stat status {};
    return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == getuid() &&
           ((status.st_mode & 0777) == 0600 || fchmod(file, 0600) == 0);
}

} // namespace

QtSingleApplication::QtSingleApplication(int& argc, char** argv, bool /*GUIenabled*/)
    : QApplication(argc, argv) {
    takeLock();
}

QtSingleApplication::~QtSingleApplication() {
    if (m_lock != -1) {
        close(m_lock); // the file stays: to remove it would part those who open it meanwhile
    }
}

void QtSingleApplication::takeLock() {
    const int file = openLockFile();
    if (file == -1) {
        return;
    }
    const bool ours = isOurs(file);
    if (ours && flock(file, LOCK_EX | LOCK_NB) == 0) {
        m_lock = file;
        return;
    }
    m_isRunning = ours && errno == EWOULDBLOCK;
    close(file);
}
