#pragma once

#include "tools/package/entry.h"
#include "tools/package/summary.h"

#include <optional>
#include <string>
#include <vector>

namespace package {

/// What building or checking has to say.
struct Outcome {
    Findings findings;              // none: done, or sound
    std::vector<std::string> notes; // worth knowing, and nothing against the package
    std::optional<Summary> summary; // of a package that is there and can be read
};

} // namespace package
