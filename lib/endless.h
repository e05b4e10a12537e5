#pragma once

#include <sys/stat.h>
#include <sys/sysmacros.h>

/// Whether a reader of what `info` tells of could wait or go on for ever: a FIFO, a socket, a
/// device. A folder fails or ends at its first read, and so does /dev/null, alone of all devices.
inline bool is_endless(const struct stat& info) {
    const bool null_device = S_ISCHR(info.st_mode) && info.st_rdev == makedev(1, 3);
    return !S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode) && !null_device;
}
