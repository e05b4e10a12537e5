#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// An empty folder in memory, for this process alone; it goes with the process.
const std::string& scratchFolder();

void writeScratch(const std::string& path, const uint8_t* bytes, size_t size);

/// Removes what lies below `folder`, whatever its permissions say.
void emptyFolder(const std::string& folder);

/// Root becomes an ordinary user: an input must not be able to reach anybody's files. Call it
/// before the scratch folder is made.
void becomeOrdinary();
