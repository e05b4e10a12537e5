#include "lib/file/file-op.h"

#include "lib/file/file_type.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <utility>

FILE_TYPE file_type(mode_t mode) {
    switch (mode & S_IFMT) {
    case S_IFREG:
        return FT_FILE;
    case S_IFDIR:
        return FT_DIR;
    case S_IFCHR:
    case S_IFBLK:
        return FT_DEV;
    case S_IFLNK:
        return FT_SLINK;
    case S_IFIFO:
        return FT_FIFO;
    case S_IFSOCK:
        return FT_SOCK;
    default:
        return FT_ERR;
    }
}

bool operator==(const FILE_INFO& a, const FILE_INFO& b) {
    return a.isExist == b.isExist && a.size == b.size && a.mtime == b.mtime && a.type == b.type &&
           a.path == b.path && a.name == b.name;
}

bool operator!=(const FILE_INFO& a, const FILE_INFO& b) {
    return !(a == b);
}

int GetFileInfo(const ustring& path, FILE_INFO& info) {
    struct stat found = {};
    const bool exists = lstat(path.c_str(), &found) == 0;
    if (!exists && errno != ENOENT) {
        return -1;
    }
    ustring name = FSBaseName(path);
    info.path = path; // which may be a member of `info` itself
    info.name = std::move(name);
    info.isExist = exists;
    // Nothing found leaves all of these zero.
    info.mtime = static_cast<uint32_t>(found.st_mtime);
    info.size = static_cast<uint64_t>(found.st_size);
    info.mode = found.st_mode;
    info.uid = found.st_uid;
    info.gid = found.st_gid;
    info.dev_id = found.st_dev;
    info.type = file_type(found.st_mode);
    return exists && info.type == FT_ERR ? -1 : 0;
}

int FSStat(const ustring& path, FILE_INFO& info, bool /*do_case_check*/) {
    if (path.empty()) {
        return -1;
    }
    return GetFileInfo(path, info) == 0 ? 0 : -2;
}

bool IsFileExist(const ustring& path, bool do_case_check) {
    FILE_INFO info;
    return FSStat(path, info, do_case_check) == 0 && info.isExist;
}

bool FSTimeEqual(time_t a, time_t b) {
    return a == b;
}

ustring FSBaseName(const ustring& path) {
    const char* const slash = strrchr(path.c_str(), '/');
    return slash == nullptr ? path : ustring(slash + 1);
}

ustring FSParentPath(const ustring& path) {
    const size_t slash = path.rfind('/', ustring::npos);
    return slash == ustring::npos || slash == 0 ? ustring("/") : path.substr(0, slash);
}

bool FSIsParentFolder(const ustring& parent, const ustring& child) {
    const size_t length = parent.length();
    return length <= child.length() && memcmp(parent.c_str(), child.c_str(), length) == 0 &&
           (child.length() == length || child[length] == '/');
}
