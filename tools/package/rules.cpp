#include "tools/package/rules.h"

#include "tools/package/rule-list.h"

namespace package {

namespace {

void note(const Verdict& verdict, Findings& findings) {
    if (verdict) {
        findings.push_back(*verdict);
    }
}

} // namespace

Findings judge(const Entries& entries, std::optional<int> newerThan) {
    const Contents contents(entries);
    Findings findings;
    for (const Entry& entry : entries) {
        for (const EntryRule rule : entryRules()) {
            note(rule(entry), findings);
        }
        for (const PlaceRule rule : placeRules()) {
            note(rule(entry, contents), findings);
        }
    }
    for (const auto& rules : {clientRules(), infoRules()}) {
        for (const ClientRule rule : rules) {
            note(rule(contents), findings);
        }
    }
    if (newerThan) {
        note(buildIsNewer(contents, *newerThan), findings);
    }
    return findings;
}

} // namespace package
