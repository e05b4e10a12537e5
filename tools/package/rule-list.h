#pragma once

#include "tools/package/contents.h"
#include "tools/package/entry.h"

#include <optional>
#include <vector>

namespace package {

/// A rule answers one finding, or nothing where it is kept.
using Verdict = std::optional<Finding>;
/// Judges one entry by itself.
using EntryRule = Verdict (*)(const Entry& entry);
/// Judges one entry among the others; `contents` holds them all.
using PlaceRule = Verdict (*)(const Entry& entry, const Contents& contents);
/// Judges what the launcher expects of the client as a whole.
using ClientRule = Verdict (*)(const Contents& contents);

/// What an entry alone tells: kind, name, permission bits.
const std::vector<EntryRule>& entryRules();
/// What an entry tells among the others: places, links.
const std::vector<PlaceRule>& placeRules();
/// The client executable and the start-stop script.
const std::vector<ClientRule>& clientRules();
/// INFO: silent about a text that another rule says cannot be read.
const std::vector<ClientRule>& infoRules();
/// Whether users who have build `newerThan` would be upgraded.
Verdict buildIsNewer(const Contents& contents, int newerThan);

/// Whether `name` is there and a file, not a link to one: a link could come in its right place and
/// what it names in a wrong one.
Verdict isFile(const Contents& contents, const char* name, const char* remedy);

} // namespace package
