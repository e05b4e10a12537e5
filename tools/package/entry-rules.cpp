#include "tools/package/layout.h"
#include "tools/package/rule-list.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>

namespace package {

namespace {

// What must stay free in front of a name for the home folder and the launcher's own folders, so
// that the whole path fits where the launcher will later move and remove it.
constexpr size_t longestName = PATH_MAX - 1024;

bool isPrintable(const std::string& text) {
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char byte) { return byte >= 0x20 && byte < 0x7f; });
}

// The parts as they stand, the empty ones among them.
bool hasPart(const std::string& name, const std::string& part) {
    return ("/" + name + "/").find("/" + part + "/") != std::string::npos;
}

bool lacks(const Entry& entry, unsigned bits) {
    return (entry.mode & bits) != bits;
}

Verdict canBeRead(const Entry& entry) {
    if (entry.trouble.empty()) {
        return {};
    }
    return Finding{entry.name, "it cannot be read: " + entry.trouble,
                   "let the user who builds read it"};
}

// It names its other end by the path inside the archive, which does not move below the user's
// folder with it: launchers refuse it, and with it the whole package.
Verdict isNoHardLink(const Entry& entry) {
    if (entry.kind != Entry::HardLink) {
        return {};
    }
    return Finding{entry.name, "it is a hard link, which the launcher does not unpack",
                   "pack a copy, as the builder does"};
}

Verdict isNoDevice(const Entry& entry) {
    if (entry.kind != Entry::Device) {
        return {};
    }
    return Finding{entry.name, "a device cannot be unpacked by an ordinary user", "leave it out"};
}

Verdict isNoFifo(const Entry& entry) {
    if (entry.kind != Entry::Fifo) {
        return {};
    }
    return Finding{entry.name, "a FIFO has no place in a package", "let the client make it"};
}

Verdict isNoSocket(const Entry& entry) {
    if (entry.kind != Entry::Socket) {
        return {};
    }
    return Finding{entry.name, "a socket has no place in a package", "let the client make it"};
}

Verdict isOfKnownKind(const Entry& entry) {
    if (entry.kind != Entry::Other || !entry.trouble.empty()) {
        return {};
    }
    return Finding{entry.name, "it is neither folder, file nor link", "leave it out"};
}

Verdict isRelative(const Entry& entry) {
    if (entry.name.empty() || entry.name.front() != '/') {
        return {};
    }
    return Finding{entry.name, "the name is absolute", "name it from the client's folder on"};
}

// The launcher refuses such a name, and with it the whole package.
Verdict staysBelow(const Entry& entry) {
    if (!hasPart(entry.name, "..")) {
        return {};
    }
    return Finding{entry.name, "the name holds \"..\"", "name it from the client's folder on"};
}

Verdict isPlain(const Entry& entry) {
    // The empty part before an absolute name's first slash is the rule above's business.
    const bool isAbsolute = !entry.name.empty() && entry.name.front() == '/';
    const std::string name = isAbsolute ? entry.name.substr(1) : entry.name;
    if (!hasPart(name, "") && !hasPart(name, ".")) {
        return {};
    }
    return Finding{entry.name, "the name holds an empty part or \".\"",
                   "pack the names as they stand below the client's folder"};
}

// Under the C locale libarchive warns of other names, and a warning ends the launcher's unpacking.
Verdict isPrintableAscii(const Entry& entry) {
    if (isPrintable(entry.name)) {
        return {};
    }
    return Finding{entry.name, "the name is not printable ASCII", "rename it"};
}

Verdict fitsTheDisk(const Entry& entry) {
    size_t part = 0;
    size_t longest = 0;
    for (const char byte : entry.name) {
        part = byte == '/' ? 0 : part + 1;
        longest = std::max(longest, part);
    }
    if (longest <= NAME_MAX && entry.name.size() < longestName) {
        return {};
    }
    return Finding{entry.name,
                   "the name is too long: at most " + std::to_string(NAME_MAX) +
                       " bytes between slashes and " + std::to_string(longestName - 1) +
                       " in all leave room for a home folder",
                   "shorten it"};
}

Verdict hasNoSetId(const Entry& entry) {
    if (entry.kind == Entry::SymbolicLink || (entry.mode & (S_ISUID | S_ISGID)) == 0) {
        return {};
    }
    return Finding{entry.name, "a set-id bit means nothing in a user's home", "chmod a-s"};
}

// The next upgrade could neither read nor empty the folder.
Verdict folderIsOpenToItsOwner(const Entry& entry) {
    if (entry.kind != Entry::Folder || !lacks(entry, S_IRWXU)) {
        return {};
    }
    return Finding{entry.name, "the folder is not readable, writable and searchable for its owner",
                   "chmod u+rwx"};
}

Verdict fileIsOpenToItsOwner(const Entry& entry) {
    if (entry.kind != Entry::File || !lacks(entry, S_IRUSR | S_IWUSR)) {
        return {};
    }
    return Finding{entry.name, "the file is not readable and writable for its owner", "chmod u+rw"};
}

Verdict linkIsRelative(const Entry& entry) {
    if (entry.kind != Entry::SymbolicLink || entry.target.empty() || entry.target[0] != '/') {
        return {};
    }
    return Finding{entry.name, "the link names an absolute path: " + entry.target,
                   "let it name a relative one inside the client"};
}

Verdict linkIsPrintableAscii(const Entry& entry) {
    if (entry.kind != Entry::SymbolicLink || (!entry.target.empty() && isPrintable(entry.target))) {
        return {};
    }
    return Finding{entry.name, "what the link names is not printable ASCII: " + entry.target,
                   "rename what it names"};
}

// The rules read these two, and nobody's version record or start script is that large.
Verdict lookedIntoIsSmall(const Entry& entry) {
    if (entry.content.size() <= lookedIntoLimit) {
        return {};
    }
    return Finding{entry.name, "it is larger than 1 MiB and cannot be what its name says",
                   "put the right file there"};
}

} // namespace

const std::vector<EntryRule>& entryRules() {
    static const std::vector<EntryRule> rules = {canBeRead,
                                                 isNoHardLink,
                                                 isNoDevice,
                                                 isNoFifo,
                                                 isNoSocket,
                                                 isOfKnownKind,
                                                 isRelative,
                                                 staysBelow,
                                                 isPlain,
                                                 isPrintableAscii,
                                                 fitsTheDisk,
                                                 hasNoSetId,
                                                 folderIsOpenToItsOwner,
                                                 fileIsOpenToItsOwner,
                                                 linkIsRelative,
                                                 linkIsPrintableAscii,
                                                 lookedIntoIsSmall};
    return rules;
}

} // namespace package
