#pragma once

#include "tools/package/entry.h"

#include <optional>

namespace package {

/// Every rule over every entry, and then over the client as a whole: all findings, in the order of
/// the package. The same for the folder that becomes a package and for a finished one.
/// \param newerThan with a value, the build must be greater.
Findings judge(const Entries& entries, std::optional<int> newerThan);

} // namespace package
