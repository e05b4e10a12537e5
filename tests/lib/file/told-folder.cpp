#include "tests/lib/file/told-folder.h"

#include <dirent.h>
#include <unistd.h>

#include <cerrno>

extern "C" int __real_readdir_r(DIR* folder, struct dirent* storage, struct dirent** found);
extern "C" int __wrap_readdir_r(DIR* folder, struct dirent* storage, struct dirent** found) {
    const int error = __real_readdir_r(folder, storage, found);
    if (error != 0) {
        return error;
    }
    if (*found == nullptr) {
        return reading == Reading::end_is_an_error ? EIO : 0;
    }
    if (reading == Reading::types_are_unknown) {
        (*found)->d_type = DT_UNKNOWN;
    }
    if (reading == Reading::entries_vanish) {
        unlinkat(dirfd(folder), (*found)->d_name, 0);
    }
    return 0;
}
