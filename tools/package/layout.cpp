#include "tools/package/layout.h"

#include <algorithm>
#include <tuple>

namespace package {

namespace {

int rank(const std::string& name) {
    return name == infoName ? 2 : name == clientName ? 1 : 0;
}

} // namespace

bool isLookedInto(const std::string& name) {
    return name == infoName || name == scriptName;
}

bool opensNewSection(const std::string& name) {
    return rank(name) > 0;
}

void putInOrder(Entries& entries) {
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return std::make_tuple(rank(a.name), std::cref(a.name)) <
               std::make_tuple(rank(b.name), std::cref(b.name));
    });
}

} // namespace package
