#include "lib/file/dir_guard.h"
#include "lib/file/file-op.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

bool is_dot_or_dot_dot(const ustring& name) {
    return strcmp(name.c_str(), ".") == 0 || strcmp(name.c_str(), "..") == 0;
}

/// Calls `step` with each entry, then closes the folder. A read error ends the walk like the end of
/// the folder. \return whether every step answered 0; the first other one ends the walk.
template <typename Step>
bool for_each_entry(DIR_HANDLE& folder, Step step) {
    const DirGuard guard(folder);
    DIR_ENTRY entry;
    while (FSReadDir(folder, entry) == 1) {
        if (!is_dot_or_dot_dot(entry.name) && step(entry) != 0) {
            return false;
        }
    }
    return true;
}

bool move_folder(const ustring& src, const ustring& dst, bool flag) {
    DIR_HANDLE folder;
    if (FSMKDir(dst, true) != 0 || FSOpenDir(src, 0, folder) != 0) {
        return false;
    }
    const bool moved = for_each_entry(folder, [&](const DIR_ENTRY& entry) {
        return FSRename(src + "/" + entry.name, dst + "/" + entry.name, flag);
    });
    return moved && remove(src.c_str()) == 0;
}

/// The move that rename() refuses. Links, devices, FIFOs and sockets stay where they are.
bool move_across(const ustring& src, const ustring& dst, FILE_TYPE type, bool flag) {
    if (type == FT_FILE) {
        return FSCopy(src, dst, true) == 0;
    }
    return type == FT_DIR && move_folder(src, dst, flag);
}

/// FSRemove of one entry of a folder. Where the folder has told what it is, and that is no folder,
/// nothing asks for it again: of many files, that would take a third of the whole time.
int remove_entry(const ustring& path, FILE_TYPE type) {
    if (type == FT_ERR || type == FT_DIR) {
        return FSRemove(path, false);
    }
    return remove(path.c_str()) == 0 || errno == ENOENT ? 0 : -3;
}

bool remove_content(DIR_HANDLE& folder) {
    const ustring prefix = folder.path + "/";
    return for_each_entry(folder, [&](const DIR_ENTRY& entry) {
        return remove_entry(prefix + entry.name, entry.type);
    });
}

} // namespace

int FSRename(const ustring& src, const ustring& dst, bool flag) {
    if (src.empty() || dst.empty()) {
        return -1;
    }
    FILE_INFO info;
    if (FSStat(src, info, flag) != 0 || !info.isExist) {
        return -2;
    }
    if (rename(src.c_str(), dst.c_str()) == 0) {
        return 0;
    }
    if (errno == ENAMETOOLONG) {
        return -100;
    }
    return errno == EXDEV && move_across(src, dst, info.type, flag) ? 0 : -3;
}

int FSRemove(const ustring& path, bool /*flag*/) {
    FILE_INFO info;
    if (path.empty() || GetFileInfo(path, info) != 0) {
        return -1;
    }
    if (!info.isExist) {
        return 0;
    }
    if (info.type == FT_DIR) {
        DIR_HANDLE folder;
        if (FSOpenDir(path, 0, folder) != 0) {
            // Left where it is, and that is no failure: callers clear what they may and go on.
            return 0;
        }
        if (!remove_content(folder)) {
            return -3;
        }
    }
    return remove(path.c_str()) == 0 ? 0 : -3;
}
