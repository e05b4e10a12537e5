#include "lib/errno_guard.h"
#include "lib/file/file-op.h"
#include "lib/log.h"
#include "lib/malloc_ptr.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#define LOG_SOURCE "file-op"
#define LOG_COMPONENT "file_op_debug"

namespace {

constexpr int chunk_bytes = 8192;

/// A descriptor, closed with its scope; -1 stands for none.
class Fd {
public:
    explicit Fd(int fd) : m_fd(fd) {}
    ~Fd() { close(); }
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;

    int get() const { return m_fd; }
    void close() {
        const ErrnoGuard keep_errno;
        if (m_fd >= 0) {
            ::close(m_fd);
        }
        m_fd = -1;
    }

private:
    int m_fd;
};

/// The same for a file that was written: on disk before it is closed.
class SyncedFd : public Fd {
public:
    using Fd::Fd;
    ~SyncedFd() {
        const ErrnoGuard keep_errno;
        if (get() >= 0) {
            fsync(get());
        }
    }
};

/// Opens one side of a copy. A FIFO does not open, like a socket: to open one is to wait, for ever
/// if need be, until somebody comes to its other end. \return the descriptor; -1, logged.
int open_side(const ustring& path, int flags) {
    struct stat found = {};
    const bool fifo = stat(path.c_str(), &found) == 0 && S_ISFIFO(found.st_mode);
    const int fd = fifo ? -1 : open(path.c_str(), flags | O_CLOEXEC, 0666);
    if (fd < 0) {
        const int error = fifo ? ENXIO : errno;
        WRITE_LOG(L_ERR, LOG_HERE("CopyFile: open(%s): %s (%d)\n"), path.c_str(), strerror(error),
                  error);
        errno = error;
    }
    return fd;
}

bool is_same_file(int fd, const ustring& path) {
    struct stat one = {};
    struct stat other = {};
    return fstat(fd, &one) == 0 && stat(path.c_str(), &other) == 0 && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino;
}

int write_chunk(int target, const char* chunk, ssize_t length) {
    while (length > 0) {
        const ssize_t written = write(target, chunk, static_cast<size_t>(length));
        if (written <= 0) {
            const int error = errno;
            WRITE_LOG(L_ERR, LOG_HERE("CopyFile: write: %s (%d)\n"), strerror(error), error);
            return -1;
        }
        chunk += written;
        length -= written;
    }
    return 0;
}

int copy_content(int source, int target) {
    const MallocPtr chunk(static_cast<char*>(malloc(chunk_bytes)));
    if (!chunk) {
        const int error = errno;
        WRITE_LOG(L_ERR, LOG_HERE("FSCopy: malloc(%d): %s (%d)\n"), chunk_bytes, strerror(error),
                  error);
        return -1;
    }
    for (;;) {
        const ssize_t length = read(source, chunk.get(), chunk_bytes);
        if (length < 0) {
            const int error = errno;
            WRITE_LOG(L_ERR, LOG_HERE("CopyFile: read: %s (%d)\n"), strerror(error), error);
            return -1;
        }
        if (length == 0) {
            return 0;
        }
        if (write_chunk(target, chunk.get(), length) != 0) {
            return -1;
        }
    }
}

} // namespace

int FSCopy(const ustring& src, const ustring& dst, bool removeSource) {
    Fd source(open_side(src, O_RDONLY));
    if (source.get() < 0) {
        return -1;
    }
    // Opening the target would empty it, and with it the source.
    if (is_same_file(source.get(), dst)) {
        WRITE_LOG(L_ERR, LOG_HERE("FSCopy: '%s' and '%s' are the same file\n"), src.c_str(),
                  dst.c_str());
        return -1;
    }
    const SyncedFd target(open_side(dst, O_WRONLY | O_CREAT | O_TRUNC));
    const bool copied = target.get() >= 0 && copy_content(source.get(), target.get()) == 0;
    source.close(); // before it is removed, and before the target is synced and closed
    if (!copied) {
        return -1;
    }
    return removeSource ? remove(src.c_str()) : 0;
}
