#pragma once

#include "tools/package/entry.h"

#include <string>

namespace package {

/// Compares what was unpacked below `root` with what the package told: every name, content, link
/// and run bit. Folders that the package does not name are allowed where it has something in them.
Findings compareTree(const Entries& expected, const std::string& root);

} // namespace package
