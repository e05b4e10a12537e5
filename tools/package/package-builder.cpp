#include "tools/package/package-builder.h"

#include "tools/package/client-packer.h"
#include "tools/package/client-tree.h"
#include "tools/package/layout.h"
#include "tools/package/package-writer.h"
#include "tools/package/rules.h"
#include "tools/package/version-record.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <utility>

namespace package {

namespace {

/// Keeps a second builder out of one installation for its lifetime; the kernel frees it however
/// this one ends.
class RootLock {
public:
    explicit RootLock(const std::string& root)
        : m_fd(open(root.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        // Where the file system knows no locks, there is nothing to wait for either.
        m_isTaken = m_fd >= 0 && flock(m_fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    }
    ~RootLock() {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    RootLock(const RootLock&) = delete;
    RootLock& operator=(const RootLock&) = delete;

    bool isTakenByAnother() const { return m_isTaken; }

private:
    const int m_fd;
    bool m_isTaken = false;
};

Entry* findInfo(Entries& entries) {
    const auto info = std::find_if(entries.begin(), entries.end(), [](const Entry& entry) {
        return entry.name == infoName && entry.kind == Entry::File;
    });
    return info == entries.end() ? nullptr : &*info;
}

std::optional<int> buildOf(const std::string& info) {
    return buildNumber(readVersionRecord(info).build);
}

std::string inLowerCase(std::string name) {
    for (char& byte : name) {
        byte = byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
    }
    return name;
}

} // namespace

PackageBuilder::PackageBuilder(std::string client, std::string root)
    : m_client(std::move(client)), m_root(std::move(root)) {}

Outcome PackageBuilder::build() {
    readClient();
    m_outcome.findings = judge(m_entries, m_newerThan);
    if (m_outcome.findings.empty()) {
        noteHardLinks();
        noteNamesThatDifferInCase();
        const std::string replaced = digestUnderNoLowerBuild();
        if (writePackage()) {
            m_outcome.summary = summarise(m_entries, m_root + packageFile);
            noteBuildNotRaised(replaced);
        }
    }
    return std::move(m_outcome);
}

void PackageBuilder::readClient() {
    m_entries = scanTree(m_client);
    Entry* info = findInfo(m_entries);
    if (info != nullptr && info->content.size() <= lookedIntoLimit) {
        // Where it cannot be normalised, the rules say what is wrong with it.
        info->content = normalisedInfo(info->content).value_or(info->content);
        info->size = info->content.size();
    }
    putInOrder(m_entries);
}

void PackageBuilder::noteHardLinks() {
    const auto isLinked = [](const Entry& entry) { return entry.names > 1; };
    const auto first = std::find_if(m_entries.begin(), m_entries.end(), isLinked);
    if (first != m_entries.end()) {
        const auto count = std::count_if(first, m_entries.end(), isLinked);
        m_outcome.notes.push_back("'" + first->name + "': " + std::to_string(count) +
                                  " files with further hard links are packed as copies");
    }
}

void PackageBuilder::noteNamesThatDifferInCase() {
    std::map<std::string, std::string> seen;
    for (const Entry& entry : m_entries) {
        const auto place = seen.emplace(inLowerCase(entry.name), entry.name);
        if (!place.second) {
            m_outcome.notes.push_back("'" + place.first->second + "', '" + entry.name +
                                      "': one name where a home folder does not tell case");
            return;
        }
    }
}

std::string PackageBuilder::digestUnderNoLowerBuild() {
    std::error_code error;
    if (!std::filesystem::is_regular_file(m_root + infoFile, error) ||
        std::filesystem::file_size(m_root + infoFile, error) > lookedIntoLimit) {
        return {};
    }
    std::ifstream file(m_root + infoFile, std::ios::binary);
    const std::string info{std::istreambuf_iterator<char>(file), {}};
    const std::optional<int> old = buildOf(info);
    return old && *old >= buildOf(findInfo(m_entries)->content) ? digestOfFile(m_root + packageFile)
                                                                : std::string();
}

// The usual slip: a changed client under a number that the users have already. It may be meant, in
// a tree that nobody has installed from yet.
void PackageBuilder::noteBuildNotRaised(const std::string& replaced) {
    if (!replaced.empty() && replaced != m_outcome.summary->digest) {
        m_outcome.notes.push_back("another package of no lower build was replaced: whoever has "
                                  "that one does not get build " +
                                  m_outcome.summary->build + "; raise build_version");
    }
}

bool PackageBuilder::writePackage() {
    std::error_code error;
    std::filesystem::create_directories(m_root + packageFolder, error);
    if (error) {
        return fail(m_root + packageFolder, error.message());
    }
    const RootLock lock(m_root);
    if (lock.isTakenByAnother()) {
        return fail(m_root, "another build is writing there");
    }
    AsideFile package(m_root + packageFile);
    AsideFile info(m_root + infoFile);
    return writeInto(package) && writeInto(info, findInfo(m_entries)->content) &&
           putInPlace(package, info);
}

bool PackageBuilder::writeInto(AsideFile& file) {
    if (!file.open()) {
        return fail(m_root + packageFile, file.trouble());
    }
    PackageWriter writer(m_format, file);
    ClientPacker packer(m_client, m_entries, writer);
    if (packer.pack()) {
        return file.flush() || fail(m_root + packageFile, file.trouble());
    }
    if (!packer.trouble()) {
        return fail(m_root + packageFile, writer.trouble());
    }
    m_outcome.findings.push_back(*packer.trouble());
    return false;
}

bool PackageBuilder::writeInto(AsideFile& file, const std::string& text) {
    return (file.open() && file.write(text.data(), text.size()) && file.flush()) ||
           fail(m_root + infoFile, file.trouble());
}

// The package first. Between the two, and after a crash there, INFO tells a lower build than the
// package brings: whoever installs gets the new client with its own build number, and when INFO
// follows, nobody is upgraded twice. The other way round, INFO would promise the new build, and
// launchers would unpack the old package as if it were that, once at every start.
bool PackageBuilder::putInPlace(AsideFile& package, AsideFile& info) {
    if (!package.putInPlace()) {
        return fail(m_root + packageFile, package.trouble());
    }
    return info.putInPlace() || fail(m_root + infoFile, info.trouble());
}

bool PackageBuilder::fail(const std::string& path, const std::string& trouble) {
    m_outcome.findings.push_back(
        {path, "it cannot be written: " + trouble, "mend that and build again"});
    return false;
}

} // namespace package
