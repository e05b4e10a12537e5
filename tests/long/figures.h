#pragma once

#include <string>

/// What a process and a folder hold at one moment.
struct Figures {
    long entries = 0;     // files and folders
    long descriptors = 0; // of this process
    long heap = 0;        // bytes in use
    long resident = 0;    // bytes
};

/// Of this process, and of everything below `folder`.
Figures figures(const std::string& folder);

/// Prints a row of a table.
/// \return whether `holds`, so that a caller can count what does not.
bool row(const std::string& name, const std::string& found, bool holds);

/// "1 -> 2".
std::string fromTo(long before, long after);
