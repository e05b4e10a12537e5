#include "lib/file/file-op.h"
#include "lib/file/file_type.h"
#include "lib/log.h"

#include <cerrno>
#include <climits>
#include <cstring>

#define LOG_SOURCE "file-op"
#define LOG_COMPONENT "file_op_debug"

namespace {

/// \return 0, with `found` null at the end of the folder; an error number.
int read_entry(DIR* folder, struct dirent& storage, struct dirent*& found) {
    static_assert(sizeof storage.d_name > NAME_MAX, "readdir_r writes names of up to NAME_MAX");
    if (folder == nullptr) {
        return EBADF;
    }
// Deprecated for buffers that are too small, which the line above rules out; it is kept since,
// other than readdir, it tells the end of a folder from an error without a look at errno.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    return readdir_r(folder, &storage, &found);
#pragma GCC diagnostic pop
}

bool read_info(const ustring& path, uint32_t& mtime, uint64_t& size) {
    FILE_INFO info;
    if (FSStat(path, info, false) != 0) {
        WRITE_LOG(L_ERR, LOG_HERE("FSOpenDir: Failed to get info for '%s'\n"), path.c_str());
        return false;
    }
    mtime = info.mtime;
    size = info.size;
    return true;
}

} // namespace

int FSOpenDir(const ustring& path, int flag, DIR_HANDLE& h) {
    DIR* const folder = opendir(path.c_str());
    if (folder == nullptr) {
        const int error = errno;
        WRITE_LOG(L_ERR, LOG_HERE("FSOpenDir: Failed to open directory '%s'. %s\n"), path.c_str(),
                  strerror(error));
        return -1;
    }
    h.dp = folder;
    h.path = path;
    h.flag = flag;
    return 0;
}

int FSReadDir(DIR_HANDLE& h, DIR_ENTRY& e) {
    struct dirent storage;
    struct dirent* found = nullptr;
    const int error = read_entry(h.dp, storage, found);
    if (error != 0) {
        // The texts of this function name its neighbour; readers of old logs know them so.
        WRITE_LOG(L_ERR, LOG_HERE("FSOpenDir: Failed to read directory '%s'. %s\n"), h.path.c_str(),
                  strerror(error));
        errno = error;
        return -1;
    }
    if (found == nullptr) {
        return 0;
    }
    uint32_t mtime = 0;
    uint64_t size = 0;
    if ((h.flag & 1) != 0 && !read_info(h.path + "/" + found->d_name, mtime, size)) {
        return -1;
    }
    e.name = found->d_name;
    e.type = file_type(DTTOIF(found->d_type));
    e.mtime = mtime;
    e.size = size;
    return 1;
}

void FSCloseDir(DIR_HANDLE& h) {
    if (h.dp == nullptr) {
        return;
    }
    closedir(h.dp);
    h.dp = nullptr;
    h.path.clear();
}
