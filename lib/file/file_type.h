#pragma once

#include "lib/file/file-op.h"

#include <sys/types.h>

/// The type that the bits of a st_mode stand for; FT_ERR for bits that no file carries.
FILE_TYPE file_type(mode_t mode);
