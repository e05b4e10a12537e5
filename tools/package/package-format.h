#pragma once

#include <optional>

namespace package {

/// How a package is packed.
struct PackageFormat {
    enum Kind { TarZstd, Zip, Tar };

    Kind kind = TarZstd;
    std::optional<int> level; // of the compression; the usual one where it is not said
};

} // namespace package
