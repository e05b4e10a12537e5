#pragma once

#include <optional>
#include <string>

namespace package {

/// What the launcher reads out of an INFO file, with the launcher's own INI reader.
struct VersionRecord {
    bool hasGroup = false; // "Version" with at least one key
    std::string build;     // the text of build_version; empty where it is missing
    std::string trouble;   // why the reader could not be asked; empty when it could
};
VersionRecord readVersionRecord(const std::string& info);

/// The number that a build text of digits alone says; nothing outside 1…2147483647, since the
/// launcher reads such a text as another number.
std::optional<int> buildNumber(const std::string& build);

/// The same record in the form in which it is packed: group Version last in the file and in it
/// build_version last, so that a file cut short by a crash reads as build 0 and is installed anew.
/// Every other line stays, but for white space around it and blank lines.
/// \return nothing where there is no build number, or where the INI reader would read the result
/// differently from the text.
std::optional<std::string> normalisedInfo(const std::string& info);

/// True when the last line is build_version with the value that the launcher reads.
bool endsWithBuild(const std::string& info);

} // namespace package
