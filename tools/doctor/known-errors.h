#pragma once

#include <QString>

#include <vector>

namespace doctor {

/// An ERROR line that the launcher can write, for whoever finds it in a log.
struct KnownError {
    const char* source; // the name that starts the line
    const char* format; // the text behind it, as its source prints it, without a line feed
    const char* cause;
    const char* remedy;
};

/// All of them; a test holds the list against the launcher's sources.
const std::vector<KnownError>& knownErrors();

/// The error that wrote `line`, the text behind "[ERROR] "; null for one that nobody knows.
const KnownError* findError(const QString& line);

/// The list as a Markdown table.
QString errorTable();

} // namespace doctor
