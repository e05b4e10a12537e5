#include "tools/package/contents.h"

#include <sstream>

namespace package {

Contents::Contents(const Entries& entries) : m_entries(entries) {
    for (const Entry& entry : entries) {
        m_byName.emplace(cleaned(entry.name), &entry); // the first of several stays
    }
}

const Entry* Contents::find(const std::string& name) const {
    const auto found = m_byName.find(name);
    return found == m_byName.end() ? nullptr : found->second;
}

const Entry* Contents::findFile(const std::string& name) const {
    const Entry* entry = find(name);
    return entry != nullptr && entry->kind == Entry::File ? entry : nullptr;
}

std::deque<std::string> partsOf(const std::string& path) {
    std::deque<std::string> parts;
    std::istringstream text(path);
    for (std::string part; std::getline(text, part, '/');) {
        if (!part.empty() && part != ".") {
            parts.push_back(part);
        }
    }
    return parts;
}

std::string joined(const std::deque<std::string>& parts) {
    std::string path;
    for (const std::string& part : parts) {
        path += (path.empty() ? "" : "/") + part;
    }
    return path;
}

std::string cleaned(const std::string& name) {
    return joined(partsOf(name));
}

} // namespace package
