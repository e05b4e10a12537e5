#include "tools/package/scratch-folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace package {

namespace {

constexpr char prefix[] = "tessel-package.";
constexpr int mostAttempts = 10;

std::string baseFolder() {
    const char* base = getenv("TMPDIR");
    // Not /tmp, which often lies in memory: a client may have gigabytes.
    return base != nullptr && *base != '\0' ? base : "/var/tmp";
}

int openFolder(const std::string& path) {
    return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
}

/// True while `path` still names the open folder.
bool isStillAt(const std::string& path, int fd) {
    struct stat named = {};
    struct stat opened = {};
    return lstat(path.c_str(), &named) == 0 && fstat(fd, &opened) == 0 &&
           named.st_dev == opened.st_dev && named.st_ino == opened.st_ino;
}

/// \return a descriptor that holds the lock; -1 where the folder was removed meanwhile.
int openLocked(const std::string& path) {
    const int fd = openFolder(path);
    // Where the file system knows no locks, no sweep gets one either, and nothing is removed.
    while (fd >= 0 && flock(fd, LOCK_EX) != 0 && errno == EINTR) {
    }
    if (fd >= 0 && !isStillAt(path, fd)) {
        close(fd);
        return -1;
    }
    return fd;
}

void removeIfLeftBehind(const std::string& path) {
    const int fd = openFolder(path);
    struct stat info = {};
    if (fd < 0) {
        return;
    }
    // Only what was made here: another user's name proves nothing.
    if (fstat(fd, &info) == 0 && info.st_uid == geteuid() && flock(fd, LOCK_EX | LOCK_NB) == 0) {
        std::error_code error;
        std::filesystem::remove_all(path, error);
    }
    close(fd);
}

void sweep(const std::string& base) {
    std::error_code error;
    std::filesystem::directory_iterator walk(base, error);
    const std::filesystem::directory_iterator end;
    while (!error && walk != end) {
        if (walk->path().filename().native().compare(0, strlen(prefix), prefix) == 0) {
            removeIfLeftBehind(walk->path());
        }
        walk.increment(error);
    }
}

} // namespace

ScratchFolder::ScratchFolder() {
    const std::string base = baseFolder();
    sweep(base);
    // Another process's sweep may take a new folder before it is locked: then a further one.
    for (int attempt = 0; attempt < mostAttempts && m_fd < 0; ++attempt) {
        m_path = base + '/' + prefix + "XXXXXX";
        if (mkdtemp(&m_path[0]) == nullptr) {
            m_trouble = strerror(errno);
            return;
        }
        m_fd = openLocked(m_path);
        m_trouble = m_fd < 0 ? "another process removes it" : "";
    }
}

ScratchFolder::~ScratchFolder() {
    if (m_fd >= 0) {
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
        close(m_fd); // the lock goes last: nobody else removes meanwhile
    }
}

uint64_t ScratchFolder::freeBytes() const {
    struct statvfs info = {};
    fstatvfs(m_fd, &info);
    return static_cast<uint64_t>(info.f_bavail) * info.f_frsize;
}

} // namespace package
