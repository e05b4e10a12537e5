#pragma once

#include "tools/package/entry.h"
#include "tools/package/progress.h"

#include <optional>
#include <string>

namespace package {

class PackageWriter;

/// Hands the files of a client to a writer, in the order of its entries.
class ClientPacker {
public:
    /// \param client the folder that was scanned; all three outlive this.
    ClientPacker(const std::string& client, const Entries& entries, PackageWriter& writer);

    /// \return false where a file could not be read as it was scanned, which trouble() tells, or
    /// where the writer failed, which knows why.
    bool pack();

    const std::optional<Finding>& trouble() const { return m_trouble; }

private:
    bool packEntry(const Entry& entry);
    bool packContent(const Entry& entry);
    bool packFile(const Entry& entry);
    bool write(const char* data, size_t size);
    bool failReading(const Entry& entry, const std::string& rule);

    const std::string& m_client;
    const Entries& m_entries;
    PackageWriter& m_writer;
    Progress m_progress;
    uint64_t m_bytes = 0;
    size_t m_done = 0;
    std::optional<Finding> m_trouble;
};

} // namespace package
