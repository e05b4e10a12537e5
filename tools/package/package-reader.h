#pragma once

#include "tools/package/entry.h"

#include <cstddef>
#include <string>

namespace package {

/// What stands in a finished package.
struct Reading {
    Entries entries;   // in the order of the package, each file with its digest
    Findings findings; // where libarchive so much as warned: a launcher gives up there
    /// Whether these are all entries; otherwise the package is damaged, or none at all.
    bool isComplete = false;
    /// Whether libarchive, and so a launcher, would notice a flipped bit in a file.
    bool noticesFlippedBits = false;
};

/// Reads the package at `path` to its last byte, behind the end of the archive too: a checksum may
/// follow there. Blocks on the disk, with progress.
Reading readPackage(const std::string& path);

} // namespace package
