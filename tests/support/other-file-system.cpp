#include "tests/support/other-file-system.h"

#include <QDir>
#include <QFile>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

dev_t deviceOf(const QString& path) {
    struct stat found = {};
    return stat(QFile::encodeName(path).constData(), &found) == 0 ? found.st_dev : 0;
}

} // namespace

OtherFileSystem::OtherFileSystem() {
    const QString own = QString("/run/user/%1").arg(getuid());
    for (const QString& place : {QString("/dev/shm"), QString("/var/tmp"), own, QDir::homePath()}) {
        auto folder = std::make_unique<QTemporaryDir>(place + "/other-file-system-XXXXXX");
        if (folder->isValid() && deviceOf(folder->path()) != deviceOf(m_mount_point.path())) {
            m_folder = std::move(folder);
            return;
        }
    }
    if (mountOne()) {
        m_folder = std::make_unique<QTemporaryDir>(m_mount_point.path() + "/XXXXXX");
    }
}

OtherFileSystem::~OtherFileSystem() {
    m_folder.reset();
    if (m_mounted) {
        umount(QFile::encodeName(m_mount_point.path()).constData());
    }
}

QString OtherFileSystem::path(const QString& relative) const {
    return relative.isEmpty() ? m_folder->path() : m_folder->filePath(relative);
}

bool OtherFileSystem::mountOne() {
    m_mounted = unshare(CLONE_NEWNS) == 0 &&
                mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                mount("tmpfs", QFile::encodeName(m_mount_point.path()).constData(), "tmpfs",
                      MS_NOSUID | MS_NODEV, nullptr) == 0;
    return m_mounted;
}
