#pragma once

#include "tools/package/entry.h"

#include <string>

namespace package {

/// What an administrator wants to know of a finished package.
struct Summary {
    std::string file;
    std::string build;
    size_t folders = 0;
    size_t files = 0;
    size_t links = 0;
    uint64_t bytes = 0;
    uint64_t packedBytes = 0;
    Entry largest;      // by its bytes; without a name where the package has none
    std::string digest; // SHA-256 of the package
};

/// Counts the entries and reads the package at `file`; blocks on the disk.
Summary summarise(const Entries& entries, const std::string& file);

/// The summary as lines, each with its end.
std::string toText(const Summary& summary);

} // namespace package
