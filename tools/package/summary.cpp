#include "tools/package/summary.h"

#include "tools/package/client-tree.h"
#include "tools/package/layout.h"
#include "tools/package/version-record.h"

#include <filesystem>
#include <sstream>

namespace package {

namespace {

void count(const Entry& entry, Summary& summary) {
    if (entry.kind == Entry::Folder) {
        ++summary.folders;
    } else if (entry.kind == Entry::SymbolicLink) {
        ++summary.links;
    } else {
        ++summary.files;
    }
    summary.bytes += entry.size;
    if (entry.size > summary.largest.size) {
        summary.largest = entry;
    }
    if (entry.name == infoName) {
        summary.build = readVersionRecord(entry.content).build;
    }
}

uint64_t share(uint64_t part, uint64_t whole) {
    return whole == 0 ? 0 : (part * 100 + whole / 2) / whole;
}

} // namespace

Summary summarise(const Entries& entries, const std::string& file) {
    Summary summary;
    summary.file = file;
    for (const Entry& entry : entries) {
        count(entry, summary);
    }
    std::error_code error;
    summary.packedBytes = std::filesystem::file_size(file, error);
    summary.digest = digestOfFile(file);
    return summary;
}

std::string toText(const Summary& summary) {
    std::ostringstream text;
    text << "package: " << summary.file << '\n'
         << "build:   " << printable(summary.build) << '\n'
         << "entries: " << summary.folders + summary.files + summary.links << " ("
         << summary.folders << " folders, " << summary.files << " files, " << summary.links
         << " links)\n"
         << "bytes:   " << summary.bytes << '\n'
         << "packed:  " << summary.packedBytes << " (" << share(summary.packedBytes, summary.bytes)
         << " %)\n";
    if (!summary.largest.name.empty()) {
        // The launcher's progress bar moves once an entry: so much of the time it stands still.
        text << "largest: " << printable(summary.largest.name) << ", " << summary.largest.size
             << " bytes (" << share(summary.largest.size, summary.bytes) << " % of all)\n";
    }
    text << "sha-256: " << summary.digest << '\n';
    return text.str();
}

} // namespace package
