#pragma once

#include "lib/errno_guard.h"
#include "lib/file/file-op.h"

/// Closes a folder that FSOpenDir has opened with its scope, and leaves errno alone.
struct DirGuard {
    DIR_HANDLE& folder;
    explicit DirGuard(DIR_HANDLE& open_folder) : folder(open_folder) {}
    ~DirGuard() {
        const ErrnoGuard keep_errno;
        FSCloseDir(folder);
    }
    DirGuard(const DirGuard&) = delete;
    DirGuard& operator=(const DirGuard&) = delete;
};
