#include "lib/file/file-op.h"
#include "lib/log.h"
#include "lib/malloc_ptr.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>

#define LOG_SOURCE "file-op"
#define LOG_COMPONENT "file_op_debug"

namespace {

constexpr mode_t all_permissions = 0777;
constexpr unsigned mode_by_umask = 0xFFFFFFFF;

/// No umask for its lifetime, in the whole process.
struct UmaskGuard {
    const mode_t saved = umask(0);
    UmaskGuard() = default;
    ~UmaskGuard() { umask(saved); }
    UmaskGuard(const UmaskGuard&) = delete;
    UmaskGuard& operator=(const UmaskGuard&) = delete;
};

/// Makes one folder of a path, whose parents are seen to. \return 0 to go on; -1.
int make_prefix(const char* prefix, bool last, bool replace, mode_t mode) {
    struct stat found = {};
    if (stat(prefix, &found) != 0) {
        return mkdir(prefix, mode);
    }
    if (S_ISDIR(found.st_mode)) {
        return 0;
    }
    if (replace) {
        return remove(prefix) == 0 ? mkdir(prefix, mode) : -1;
    }
    if (last) {
        errno = EEXIST;
        WRITE_LOG(
            L_INFO,
            LOG_HERE("FSMKDirP: path: %s is existing file or symbolic link pointed to file\n"),
            prefix);
        return -1;
    }
    // Nothing is made here: the folder below it then fails, with the errno of that attempt.
    WRITE_LOG(L_INFO, LOG_HERE("FSMKDirP: path: %s is symbolic link pointed to folder\n"), prefix);
    return 0;
}

/// Makes the folders of `text`, cutting it at one "/" after the other. `cursor` ends behind the
/// prefix that failed, or at the last position. \return 0; -1.
int make_prefixes(char* text, char*& cursor, bool replace, mode_t mode) {
    cursor = *text == '/' ? text + 1 : text;
    for (;;) {
        cursor += strcspn(cursor, "/");
        const bool last = cursor[0] == '\0' || cursor[1] == '\0';
        *cursor = '\0';
        const int result = make_prefix(text, last, replace, mode);
        if (last || result != 0) {
            return result;
        }
        *cursor++ = '/';
    }
}

} // namespace

int FSMKDir(const ustring& path, bool parents) {
    if (path.empty()) {
        return -1;
    }
    FILE_INFO info;
    if (GetFileInfo(path, info) != 0) {
        WRITE_LOG(L_ERR, LOG_HERE("FSMKDir: Failed to to file info '%s'\n"), path.c_str());
        return -1;
    }
    if (info.type == FT_DIR) {
        return 0;
    }
    if (info.isExist) {
        WRITE_LOG(L_ERR,
                  LOG_HERE("FSMKDir: Create a folder but local file system is not directory '%s' "
                           "(%d)\n"),
                  path.c_str(), info.type);
        return -1;
    }
    const int made = parents ? FSMKDirP(path, nullptr, false, mode_by_umask)
                             : mkdir(path.c_str(), all_permissions);
    if (made != 0) {
        const int error = errno;
        WRITE_LOG(L_ERR, LOG_HERE("path = %s errno : %s\n"), path.c_str(), strerror(error));
        return -2;
    }
    return 0;
}

int FSMKDirP(const ustring& path, char** end, bool replace, unsigned mode) {
    const MallocPtr copy(path.empty() ? nullptr : strdup(path.c_str()));
    if (!copy) {
        return -1;
    }
    std::optional<UmaskGuard> exact_mode;
    if (mode != mode_by_umask) {
        exact_mode.emplace();
    }
    char* cursor = nullptr;
    const int result =
        make_prefixes(copy.get(), cursor, replace, exact_mode ? mode : all_permissions);
    if (end != nullptr) {
        // Callers cut their own string there, so they get it writable.
        *end = const_cast<char*>(path.c_str()) + (cursor - copy.get());
    }
    return result;
}

int FSMKDirFromRoot(const ustring& root, const ustring& target) {
    if (root.length() > target.length()) {
        WRITE_LOG(L_ERR,
                  LOG_HERE("Giving a root '%s' whose length is larger then target's '%s'.\n"),
                  root.c_str(), target.c_str());
        return -1;
    }
    if (!FSIsParentFolder(root, target)) {
        WRITE_LOG(L_ERR, LOG_HERE("root '%s' is not a parent folder of target '%s'\n"),
                  root.c_str(), target.c_str());
        return -1;
    }
    for (size_t end = root.length(); end < target.length();) {
        // npos, past the last "/", is above every length.
        end = std::min(target.find('/', end + 1), target.length());
        const ustring folder = target.substr(0, end);
        WRITE_LOG(L_DEBUG, LOG_HERE("FSMKDirFromRoot: create %s\n"), folder.c_str());
        if (FSMKDir(folder, false) != 0) {
            return -1;
        }
    }
    return 0;
}
