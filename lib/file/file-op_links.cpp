#include "lib/file/file-op.h"
#include "lib/log.h"
#include "lib/malloc_ptr.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#define LOG_SOURCE "file-op"
#define LOG_COMPONENT "file_op_debug"

int FSGetRealPath(ustring& path) {
    WRITE_LOG(L_DEBUG, LOG_HERE(" org path [%s]\n"), path.c_str());
    const MallocPtr resolved(realpath(path.c_str(), nullptr));
    if (!resolved) {
        return -1;
    }
    path = resolved.get();
    WRITE_LOG(L_DEBUG, LOG_HERE(" get full path [%s]\n"), path.c_str());
    return 0;
}

int FSCreateSymbolicLink(const ustring& target, const ustring& link) {
    if (symlink(target.c_str(), link.c_str()) == 0) {
        return 0;
    }
    const int error = errno;
    WRITE_LOG(L_ERR,
              LOG_HERE("FSCreateSymbolicLink: Failed to create symbolic link '%s' -> '%s' (code: "
                       "%d, msg: %s)\n"),
              link.c_str(), target.c_str(), error, strerror(error));
    return -1;
}

int FSReadSymbolicLink(const ustring& path, ustring& out) {
    char text[4096];
    constexpr int longest = sizeof text - 1;
    const ssize_t length = readlink(path.c_str(), text, sizeof text);
    if (length < 0) {
        const int error = errno;
        WRITE_LOG(L_ERR,
                  LOG_HERE("FSReadSymbolicLink: Failed to read symbolic link '%s' (code: %d, msg: "
                           "%s)\n"),
                  path.c_str(), error, strerror(error));
        return -1;
    }
    if (length > longest) {
        errno = ENAMETOOLONG;
        WRITE_LOG(L_ERR, LOG_HERE("FSReadSymbolicLink: path of '%s' is more than %d\n"),
                  path.c_str(), longest);
        return -1;
    }
    text[length] = '\0';
    out = text;
    return 0;
}
