#pragma once

#include "tools/package/entry.h"

namespace package {

/// Everything below the folder `root`, sorted by the bytes of the names; links are not followed.
/// What cannot be read is an entry with its trouble, so that the rules speak of it with the rest.
Entries scanTree(const std::string& root);

/// SHA-256 of a file in hex; empty where it cannot be read.
std::string digestOfFile(const std::string& path);

} // namespace package
