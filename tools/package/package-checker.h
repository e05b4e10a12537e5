#pragma once

#include "tools/package/outcome.h"
#include "tools/package/package-reader.h"

#include <optional>
#include <string>

namespace package {

/// Tells whether a finished package will install. Made, asked once.
class PackageChecker {
public:
    /// \param package the archive.
    explicit PackageChecker(std::string package);

    /// The INFO beside the package, which must equal the one inside byte by byte. Both are then an
    /// installation's, and every user must be able to read them.
    void setInfo(const std::string& path) { m_info = path; }
    void setNewerThan(std::optional<int> build) { m_newerThan = build; }

    /// Judges the entries and, where nothing stands against them, unpacks them with the launcher's
    /// own Extractor into a folder for temporary files and compares. The process is in the C locale
    /// meanwhile. Blocks on the disk.
    Outcome check();

private:
    void compareInfo(const Entries& entries);
    void checkModes();
    void unpack(const Entries& entries);

    const std::string m_package;
    std::optional<std::string> m_info;
    std::optional<int> m_newerThan;
    Outcome m_outcome;
};

} // namespace package
