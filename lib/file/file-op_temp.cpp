#include "lib/file/file-op.h"
#include "lib/log.h"
#include "lib/tmp_name_gen.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#define LOG_SOURCE "file-op"
#define LOG_COMPONENT "file_op_debug"

int FSMktemp(const ustring& dir, ustring& out) {
    const ustring pattern = dir + "/XXXXXX";
    char name[4096];
    const int length = snprintf(name, sizeof name, "%s", pattern.c_str());
    // A name that was cut short lies in another folder than the one that was asked for.
    const bool fits = length >= 0 && length < static_cast<int>(sizeof name);
    const int fd = fits ? mkstemp(name) : -1;
    if (fd < 0) {
        const int error = fits ? errno : ENAMETOOLONG;
        WRITE_LOG(L_ERR, LOG_HERE("mkstemp(%s): %s\n"), pattern.c_str(), strerror(error));
        errno = error;
        return -1;
    }
    close(fd);
    chmod(name, 0644);
    out = name;
    return 0;
}

int FSCreateTempPath(const ustring& dir, ustring& out) {
    out = TmpNameGen::getInstance()->getTmpPath(dir.c_str_utf8());
    return out.empty() ? -1 : 0;
}
