#include "tools/package/aside-file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace package {

namespace {

// Every user's launcher reads it, whatever umask the administrator works under.
constexpr mode_t readableByAll = 0644;

bool flushFolderOf(const std::string& path) {
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    const int fd = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    // Some file systems cannot flush a folder; they have nothing to flush then.
    const bool isFlushed = fsync(fd) == 0 || errno == EINVAL;
    close(fd);
    return isFlushed;
}

} // namespace

AsideFile::AsideFile(std::string path) : m_path(std::move(path)), m_aside(m_path + ".new") {}

AsideFile::~AsideFile() {
    if (m_fd >= 0) {
        close(m_fd);
        unlink(m_aside.c_str());
    }
}

bool AsideFile::open() {
    // Never through what stands there: it may be a link.
    unlink(m_aside.c_str());
    m_fd = ::open(m_aside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, readableByAll);
    return (m_fd >= 0 && fchmod(m_fd, readableByAll) == 0) || fail();
}

bool AsideFile::write(const void* data, size_t size) {
    const char* bytes = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t written = ::write(m_fd, bytes, size);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written < 0) {
            return fail();
        }
        bytes += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

bool AsideFile::flush() {
    return fsync(m_fd) == 0 || fail();
}

bool AsideFile::putInPlace() {
    if (rename(m_aside.c_str(), m_path.c_str()) != 0) {
        return fail();
    }
    close(m_fd);
    m_fd = -1;
    return flushFolderOf(m_path) || fail();
}

bool AsideFile::fail() {
    if (m_trouble.empty()) {
        m_trouble = strerror(errno);
    }
    return false;
}

} // namespace package
