#pragma once

#include "tools/package/entry.h"

#include <cstddef>
#include <deque>
#include <string>
#include <unordered_map>

namespace package {

/// The entries of one package by name. The entries stay the caller's and must outlive this.
class Contents {
public:
    explicit Contents(const Entries& entries);

    const Entries& entries() const { return m_entries; }

    /// The first entry of this cleaned name; null where there is none.
    const Entry* find(const std::string& name) const;
    /// The same where it is a file; else null.
    const Entry* findFile(const std::string& name) const;
    /// True when `entry` comes before `other`; both are entries of this package.
    static bool isBefore(const Entry& entry, const Entry& other) { return &entry < &other; }

private:
    const Entries& m_entries;
    std::unordered_map<std::string, const Entry*> m_byName;
};

/// The parts of a path between its slashes, without the empty ones and ".".
std::deque<std::string> partsOf(const std::string& path);
/// The parts with one slash between them.
std::string joined(const std::deque<std::string>& parts);
/// The name that the disk gives it: "./a//b" is "a/b".
std::string cleaned(const std::string& name);

} // namespace package
