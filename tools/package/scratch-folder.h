#pragma once

#include <cstdint>
#include <string>

namespace package {

/// A folder of its own below TMPDIR, or /var/tmp without it; it goes with the object. A process
/// that is killed leaves it behind: the next one of the same user that makes such a folder removes
/// it, which a lock on it tells from the folder of a process that lives.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    bool isMade() const { return m_fd >= 0; }
    /// Where it lies, or should.
    const std::string& path() const { return m_path; }
    /// What the system said where it could not be made.
    const std::string& trouble() const { return m_trouble; }
    uint64_t freeBytes() const;

private:
    std::string m_path;
    int m_fd = -1; // holds the lock
    std::string m_trouble;
};

} // namespace package
