#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace package {

/// One line on standard error that tells how far a long step has come, and goes when the step ends.
/// Silent where standard error is no terminal.
class Progress {
public:
    /// A total of 0 is one that is not known.
    Progress(std::string step, uint64_t totalBytes, size_t totalEntries);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// So much of the step is done, from its beginning.
    void show(uint64_t bytes, size_t entries);

private:
    const std::string m_step;
    const uint64_t m_totalBytes;
    const size_t m_totalEntries;
    const bool m_isSeen; // on a terminal
    std::chrono::steady_clock::time_point m_next;
};

} // namespace package
