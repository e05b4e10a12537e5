#pragma once

#include <cstddef>
#include <string>

namespace package {

/// A file that takes its name only when it is complete: written beside it as "name.new", flushed to
/// the disk, renamed. Until putInPlace has answered true, what stood under the name stands there
/// still, however the program ends. A leftover of a killed program goes when the next one opens.
class AsideFile {
public:
    explicit AsideFile(std::string path);
    ~AsideFile(); // removes what was not put in place
    AsideFile(const AsideFile&) = delete;
    AsideFile& operator=(const AsideFile&) = delete;

    /// Each answers false after a failure, which trouble() then tells.
    bool open();
    bool write(const void* data, size_t size);
    /// Blocks until the content is on the disk.
    bool flush();
    /// Renames, and blocks until the folder is on the disk too.
    bool putInPlace();

    /// What the system said of the first failure.
    const std::string& trouble() const { return m_trouble; }

private:
    bool fail();

    const std::string m_path;
    const std::string m_aside;
    int m_fd = -1;
    std::string m_trouble;
};

} // namespace package
