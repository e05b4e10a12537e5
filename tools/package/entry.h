#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace package {

/// One thing of a client. A folder's scan and an archive's reading both answer these, so that every
/// rule is written once and judges either.
struct Entry {
    enum Kind { Folder, File, SymbolicLink, HardLink, Device, Fifo, Socket, Other };

    std::string name; // below the client's folder, a folder's without its last "/"
    Kind kind = File;
    unsigned mode = 0;   // permission bits, the set-id bits among them
    unsigned names = 1;  // how many names on the disk the file goes by
    uint64_t size = 0;   // bytes of a file
    std::string target;  // what a link names
    std::string content; // of the few files that the rules look into (see isLookedInto)
    std::string digest;  // SHA-256 of a file's bytes, in hex; set by the reading of an archive
    std::string trouble; // why it cannot be read; empty when it can
};
using Entries = std::vector<Entry>;

/// What stands against a package: one line for the administrator.
struct Finding {
    std::string entry;
    std::string rule;   // what is wrong
    std::string remedy; // what mends it
};
using Findings = std::vector<Finding>;

/// "'entry': rule; remedy", without a line end and without a byte that could break the
/// line or steer a terminal: such bytes are printed as "\x0a".
std::string toLine(const Finding& finding);

/// `text` with every byte outside printable ASCII as "\x0a".
std::string printable(const std::string& text);

} // namespace package
