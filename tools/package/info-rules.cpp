#include "tools/package/layout.h"
#include "tools/package/rule-list.h"
#include "tools/package/version-record.h"

#include <climits>

namespace package {

namespace {

/// INFO, where the rules can look into it.
const Entry* infoOf(const Contents& contents) {
    const Entry* info = contents.findFile(infoName);
    const bool isReadable =
        info != nullptr && info->trouble.empty() && info->content.size() <= lookedIntoLimit;
    return isReadable ? info : nullptr;
}

/// What the launcher reads out of it; nothing where that cannot be told.
std::optional<VersionRecord> recordOf(const Contents& contents) {
    const Entry* info = infoOf(contents);
    if (info == nullptr) {
        return {};
    }
    const VersionRecord record = readVersionRecord(info->content);
    return record.trouble.empty() ? std::optional<VersionRecord>(record) : std::nullopt;
}

Verdict infoIsThere(const Contents& contents) {
    return isFile(contents, infoName,
                  "put a text file there: the line [Version], then build_version=N");
}

Verdict infoCanBeAsked(const Contents& contents) {
    const Entry* info = infoOf(contents);
    const std::string trouble =
        info == nullptr ? std::string() : readVersionRecord(info->content).trouble;
    if (trouble.empty()) {
        return {};
    }
    return Finding{infoName, "the INI reader cannot be asked: " + trouble,
                   "make room for temporary files, or set TMPDIR"};
}

Verdict infoHasItsGroup(const Contents& contents) {
    const std::optional<VersionRecord> record = recordOf(contents);
    if (!record || record->hasGroup) {
        return {};
    }
    return Finding{infoName, "it has no keys in a group \"Version\"",
                   "put the line [Version] in front of the keys"};
}

Verdict buildIsANumber(const Contents& contents) {
    const std::optional<VersionRecord> record = recordOf(contents);
    if (!record || buildNumber(record->build)) {
        return {};
    }
    return Finding{infoName,
                   "its build_version is not a number of 1 to " + std::to_string(INT_MAX) + ": '" +
                       record->build + "'",
                   "set build_version=N in group \"Version\""};
}

// A text without a build has nothing that could be last: the rule above speaks of it.
Verdict buildIsTheLastLine(const Contents& contents) {
    const std::optional<VersionRecord> record = recordOf(contents);
    if (!record || !buildNumber(record->build) || endsWithBuild(infoOf(contents)->content)) {
        return {};
    }
    return Finding{infoName, "build_version is not its last line, so half of it may pass for whole",
                   "write plain lines key=value, and build_version last"};
}

Verdict infoComesLast(const Contents& contents) {
    const Entry* info = contents.findFile(infoName);
    if (info == nullptr || info == &contents.entries().back()) {
        return {};
    }
    return Finding{infoName, "it is not the last entry, so half a copy may pass for a whole one",
                   "pack it last"};
}

} // namespace

Verdict buildIsNewer(const Contents& contents, int newerThan) {
    const std::optional<VersionRecord> record = recordOf(contents);
    const std::optional<int> build = record ? buildNumber(record->build) : std::nullopt;
    if (!build || *build > newerThan) {
        return {};
    }
    return Finding{infoName,
                   "build " + std::to_string(*build) + " is not greater than " +
                       std::to_string(newerThan) + ", so nobody who has that would be upgraded",
                   "raise build_version"};
}

const std::vector<ClientRule>& infoRules() {
    static const std::vector<ClientRule> rules = {infoIsThere,        infoCanBeAsked,
                                                  infoHasItsGroup,    buildIsANumber,
                                                  buildIsTheLastLine, infoComesLast};
    return rules;
}

} // namespace package
