#include "tools/package/tree-compare.h"

#include "tools/package/client-tree.h"
#include "tools/package/contents.h"
#include "tools/package/progress.h"

#include <sys/stat.h>

#include <set>

namespace package {

namespace {

constexpr char remedy[] = "build the package again with tessel-package";

bool canRun(const Entry& entry) {
    return (entry.mode & S_IXUSR) != 0;
}

/// What is different about `found`; empty where nothing is.
std::string difference(const Entry& told, const Entry& found, const std::string& root) {
    if (found.kind != told.kind) {
        return "another kind of entry";
    }
    if (told.kind == Entry::SymbolicLink && found.target != told.target) {
        return "a link to '" + found.target + "'";
    }
    if (told.kind != Entry::File) {
        return {};
    }
    if (canRun(found) != canRun(told)) {
        return canRun(found) ? "a file with a run bit" : "a file without its run bit";
    }
    if (digestOfFile(root + "/" + found.name) != told.digest) {
        return "other content";
    }
    return {};
}

std::set<std::string> foldersAbove(const Entries& entries) {
    std::set<std::string> folders;
    for (const Entry& entry : entries) {
        std::deque<std::string> parts = partsOf(entry.name);
        while (parts.size() > 1) {
            parts.pop_back();
            folders.insert(joined(parts));
        }
    }
    return folders;
}

} // namespace

Findings compareTree(const Entries& expected, const std::string& root) {
    const Entries found = scanTree(root);
    const Contents onDisk(found);
    const Contents inPackage(expected);
    Findings findings;
    Progress progress("comparing", 0, expected.size());
    uint64_t bytes = 0;
    size_t done = 0;
    for (const Entry& told : expected) {
        const Entry* entry = onDisk.find(cleaned(told.name));
        const std::string what = entry == nullptr ? "nothing" : difference(told, *entry, root);
        if (!what.empty()) {
            findings.push_back({told.name, "the launcher unpacks " + what, remedy});
        }
        bytes += told.size;
        progress.show(bytes, ++done);
    }
    const std::set<std::string> above = foldersAbove(expected);
    for (const Entry& entry : found) {
        if (inPackage.find(entry.name) == nullptr && above.count(entry.name) == 0) {
            findings.push_back({entry.name, "the launcher unpacks what was not told", remedy});
        }
    }
    return findings;
}

} // namespace package
