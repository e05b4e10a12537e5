#pragma once

#include "tools/package/package-format.h"

#include <QString>
#include <QStringList>

#include <optional>
#include <string>

namespace package {

/// What the arguments ask for.
struct Command {
    enum Kind { Build, Check, Tell, Unusable };

    Kind kind = Unusable;
    QString text;       // to be printed: what Tell tells, why the arguments are Unusable
    std::string client; // Build
    std::string root;   // Build; Check of an installation tree, else empty
    std::string file;   // Check: the package
    PackageFormat format;
    std::optional<int> newerThan;
};

/// Understands the arguments, the program's name among them, and looks at the paths that they name.
Command parseCommandLine(const QStringList& arguments);

} // namespace package
