#include "tools/package/layout.h"
#include "tools/package/rule-list.h"

#include <sys/stat.h>

#include <algorithm>

namespace package {

namespace {

Verdict canRun(const Contents& contents, const char* name) {
    const Entry* entry = contents.findFile(name);
    if (entry == nullptr || (entry->mode & S_IXUSR) != 0) {
        return {};
    }
    return Finding{name, "its owner may not run it", "chmod u+x"};
}

const Entry* scriptOf(const Contents& contents) {
    const Entry* script = contents.findFile(scriptName);
    return script != nullptr && script->trouble.empty() ? script : nullptr;
}

Verdict clientIsThere(const Contents& contents) {
    return isFile(contents, clientName, "put the client's executable there, not a link to it");
}

Verdict clientCanRun(const Contents& contents) {
    return canRun(contents, clientName);
}

Verdict scriptIsThere(const Contents& contents) {
    return isFile(contents, scriptName, "put the script there that starts and stops the client");
}

Verdict scriptCanRun(const Contents& contents) {
    return canRun(contents, scriptName);
}

Verdict scriptNamesItsInterpreter(const Contents& contents) {
    const Entry* script = scriptOf(contents);
    if (script == nullptr || script->content.compare(0, 2, "#!") == 0) {
        return {};
    }
    return Finding{scriptName, "it does not begin with \"#!\"",
                   "name its interpreter in the first line, such as #!/bin/sh"};
}

// The kernel would look for an interpreter whose name ends in the carriage return.
Verdict scriptHasUnixLines(const Contents& contents) {
    const Entry* script = scriptOf(contents);
    if (script == nullptr || script->content.find('\r') == std::string::npos) {
        return {};
    }
    return Finding{scriptName, "it holds carriage returns", "save it with Unix line ends"};
}

Verdict clientComesSecondToLast(const Contents& contents) {
    const Entry* client = contents.findFile(clientName);
    if (client == nullptr) {
        return {};
    }
    const Entry* end = contents.entries().data() + contents.entries().size();
    const bool nothingButInfoFollows = std::all_of(
        client + 1, end, [](const Entry& entry) { return cleaned(entry.name) == infoName; });
    if (nothingButInfoFollows) {
        return {};
    }
    return Finding{clientName, "it is not the last entry but one, so half a copy may have it",
                   "pack it after everything but INFO"};
}

} // namespace

Verdict isFile(const Contents& contents, const char* name, const char* remedy) {
    const Entry* entry = contents.find(name);
    if (entry != nullptr && entry->kind == Entry::File) {
        return {};
    }
    return Finding{name, entry == nullptr ? "it is missing" : "it is not a file", remedy};
}

const std::vector<ClientRule>& clientRules() {
    static const std::vector<ClientRule> rules = {
        clientIsThere,     clientCanRun, clientComesSecondToLast,
        scriptIsThere,     scriptCanRun, scriptNamesItsInterpreter,
        scriptHasUnixLines};
    return rules;
}

} // namespace package
