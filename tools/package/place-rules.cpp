#include "tools/package/rule-list.h"

namespace package {

namespace {

// The kernel follows as many before it takes them for a loop.
constexpr int mostLinks = 40;

/// The nearest entry above `entry` that is no folder; null where all are, or are not told.
const Entry* obstacleAbove(const Entry& entry, const Contents& contents) {
    std::deque<std::string> parts = partsOf(entry.name);
    while (parts.size() > 1) {
        parts.pop_back();
        const Entry* above = contents.find(joined(parts));
        if (above != nullptr && above->kind != Entry::Folder) {
            return above;
        }
    }
    return nullptr;
}

/// Walks from the link's folder as the kernel would, through other links too.
bool leadsOutside(const Entry& link, const Contents& contents) {
    std::deque<std::string> at = partsOf(link.name);
    at.pop_back();
    std::deque<std::string> ahead = partsOf(link.target);
    for (int followed = 0; !ahead.empty() && followed <= mostLinks;) {
        const std::string part = ahead.front();
        ahead.pop_front();
        if (part == "..") {
            if (at.empty()) {
                return true;
            }
            at.pop_back();
            continue;
        }
        at.push_back(part);
        const Entry* entry = contents.find(joined(at));
        if (entry != nullptr && entry->kind == Entry::SymbolicLink) {
            const std::deque<std::string> further = partsOf(entry->target);
            ahead.insert(ahead.begin(), further.begin(), further.end());
            at.pop_back();
            ++followed;
        }
    }
    return false; // or a loop, which leads nowhere
}

// The second would replace the first, and a user's copy hold less than the package tells.
Verdict isTheOnlyOfItsName(const Entry& entry, const Contents& contents) {
    const Entry* first = contents.find(cleaned(entry.name));
    if (first == nullptr || first == &entry) {
        return {};
    }
    return Finding{entry.name, "an entry before it has the same name: '" + first->name + "'",
                   "pack it once"};
}

Verdict liesInFolders(const Entry& entry, const Contents& contents) {
    const Entry* obstacle = obstacleAbove(entry, contents);
    if (obstacle == nullptr) {
        return {};
    }
    return Finding{entry.name, "it lies below '" + obstacle->name + "', which is no folder",
                   "make that a folder, or move this one"};
}

Verdict followsItsFolder(const Entry& entry, const Contents& contents) {
    std::deque<std::string> parts = partsOf(entry.name);
    if (parts.size() < 2) {
        return {};
    }
    parts.pop_back();
    const Entry* folder = contents.find(joined(parts));
    if (folder == nullptr || Contents::isBefore(*folder, entry)) {
        return {};
    }
    return Finding{entry.name, "it comes before its folder", "pack folders before what they hold"};
}

Verdict linkStaysInside(const Entry& entry, const Contents& contents) {
    const bool isRelative = entry.target.empty() || entry.target.front() != '/';
    if (entry.kind != Entry::SymbolicLink || !isRelative || partsOf(entry.name).empty() ||
        !leadsOutside(entry, contents)) {
        return {};
    }
    return Finding{entry.name, "the link leads out of the client: " + entry.target,
                   "let it name something inside the client"};
}

} // namespace

const std::vector<PlaceRule>& placeRules() {
    static const std::vector<PlaceRule> rules = {isTheOnlyOfItsName, liesInFolders,
                                                 followsItsFolder, linkStaysInside};
    return rules;
}

} // namespace package
