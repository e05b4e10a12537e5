#include "tests/faults/syscalls.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <map>

namespace {

constexpr int no_argument = -1;

/// Where a call holds what: argument numbers, or no_argument.
struct Shape {
    const char* name;
    int folder_fd;
    int path;
    int fd;
    int flags; // of an open
    bool creates;
    int length;
};

const std::map<uint64_t, Shape>& shapes() {
    static const std::map<uint64_t, Shape> table = {
        {SYS_open, {"open", -1, 0, -1, 1, false, -1}},
        {SYS_openat, {"openat", 0, 1, -1, 2, false, -1}},
        {SYS_creat, {"creat", -1, 0, -1, -1, true, -1}},
        {SYS_write, {"write", -1, -1, 0, -1, true, 2}},
        {SYS_pwrite64, {"pwrite", -1, -1, 0, -1, true, 2}},
        {SYS_writev, {"writev", -1, -1, 0, -1, true, -1}},
        {SYS_sendfile, {"sendfile", -1, -1, 0, -1, true, 3}},
        {SYS_copy_file_range, {"copy_file_range", -1, -1, 2, -1, true, 4}},
        {SYS_fallocate, {"fallocate", -1, -1, 0, -1, true, -1}},
        {SYS_rename, {"rename", -1, 0, -1, -1, false, -1}},
        {SYS_renameat, {"renameat", 0, 1, -1, -1, false, -1}},
        {SYS_renameat2, {"renameat2", 0, 1, -1, -1, false, -1}},
        {SYS_unlink, {"unlink", -1, 0, -1, -1, false, -1}},
        {SYS_unlinkat, {"unlinkat", 0, 1, -1, -1, false, -1}},
        {SYS_rmdir, {"rmdir", -1, 0, -1, -1, false, -1}},
        {SYS_mkdir, {"mkdir", -1, 0, -1, -1, true, -1}},
        {SYS_mkdirat, {"mkdirat", 0, 1, -1, -1, true, -1}},
        {SYS_symlink, {"symlink", -1, 1, -1, -1, true, -1}},
        {SYS_symlinkat, {"symlinkat", 1, 2, -1, -1, true, -1}},
        {SYS_link, {"link", -1, 1, -1, -1, true, -1}},
        {SYS_linkat, {"linkat", 2, 3, -1, -1, true, -1}},
        {SYS_chmod, {"chmod", -1, 0, -1, -1, false, -1}},
        {SYS_fchmod, {"fchmod", -1, -1, 0, -1, false, -1}},
        {SYS_fchmodat, {"fchmodat", 0, 1, -1, -1, false, -1}},
        {SYS_truncate, {"truncate", -1, 0, -1, -1, false, -1}},
        {SYS_ftruncate, {"ftruncate", -1, -1, 0, -1, false, -1}},
        {SYS_fsync, {"fsync", -1, -1, 0, -1, false, -1}},
        {SYS_fdatasync, {"fdatasync", -1, -1, 0, -1, false, -1}},
        {SYS_utimensat, {"utimensat", 0, 1, -1, -1, false, -1}},
    };
    return table;
}

std::string read_string(pid_t tid, uint64_t address) {
    char text[PATH_MAX] = {};
    // By pages, since a read over the end of the mapping gives nothing at all.
    for (size_t done = 0; done < sizeof text - 1;) {
        const size_t page_rest = 4096 - (address + done) % 4096;
        const size_t want = std::min(page_rest, sizeof text - 1 - done);
        iovec local = {text + done, want};
        iovec remote = {reinterpret_cast<void*>(address + done), want};
        const ssize_t got = process_vm_readv(tid, &local, 1, &remote, 1, 0);
        if (got <= 0 || memchr(text + done, '\0', static_cast<size_t>(got)) != nullptr) {
            break;
        }
        done += static_cast<size_t>(got);
    }
    return text;
}

std::string read_link(const std::string& link) {
    char target[PATH_MAX] = {};
    return readlink(link.c_str(), target, sizeof target - 1) < 0 ? std::string() : target;
}

std::string descriptor_path(pid_t tid, int fd) {
    return read_link("/proc/" + std::to_string(tid) + "/fd/" + std::to_string(fd));
}

std::string absolute(pid_t tid, const std::string& path, int folder_fd) {
    if (!path.empty() && path.front() == '/') {
        return path;
    }
    const std::string base = folder_fd == AT_FDCWD
                                 ? read_link("/proc/" + std::to_string(tid) + "/cwd")
                                 : descriptor_path(tid, folder_fd);
    return base + "/" + path;
}

bool below(const std::string& path, const std::string& root) {
    return path.compare(0, root.size(), root) == 0;
}

} // namespace

FileCall classify(pid_t tid, uint64_t number, const uint64_t (&arguments)[6],
                  const std::string& root) {
    const auto found = shapes().find(number);
    if (found == shapes().end()) {
        return {};
    }
    const Shape& shape = found->second;
    FileCall call;
    call.creates = shape.creates;
    call.length_argument = shape.length;
    if (shape.flags != no_argument) {
        const auto flags = static_cast<int>(arguments[shape.flags]);
        if ((flags & (O_CREAT | O_TRUNC)) == 0) {
            return {}; // it changes nothing; the writes that follow count themselves
        }
        call.creates = (flags & O_CREAT) != 0;
    }
    if (shape.fd != no_argument) {
        call.path = descriptor_path(tid, static_cast<int>(arguments[shape.fd]));
    } else {
        const int folder = shape.folder_fd == no_argument
                               ? AT_FDCWD
                               : static_cast<int>(arguments[shape.folder_fd]);
        call.path = absolute(tid, read_string(tid, arguments[shape.path]), folder);
    }
    if (below(call.path, root)) {
        call.name = shape.name;
    }
    return call;
}
