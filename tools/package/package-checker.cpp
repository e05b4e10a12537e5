#include "tools/package/package-checker.h"

#include "tools/package/layout.h"
#include "tools/package/progress.h"
#include "tools/package/rules.h"
#include "tools/package/scratch-folder.h"
#include "tools/package/tree-compare.h"
#include "ui-client/launcher/adapter.h"
#include "ui-client/launcher/extractor.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QObject>

#include <sys/stat.h>

#include <algorithm>
#include <clocale>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace package {

namespace {

/// The hardest locale that a user's session can have: no name passes that is not plain.
class CLocale {
public:
    CLocale() : m_saved(setlocale(LC_ALL, nullptr)) { setlocale(LC_ALL, "C"); }
    ~CLocale() { setlocale(LC_ALL, m_saved.c_str()); }
    CLocale(const CLocale&) = delete;
    CLocale& operator=(const CLocale&) = delete;

private:
    const std::string m_saved;
};

uint64_t totalBytes(const Entries& entries) {
    uint64_t bytes = 0;
    for (const Entry& entry : entries) {
        bytes += entry.size;
    }
    return bytes;
}

int extract(const std::string& package, const std::string& folder, const Entries& entries) {
    Progress progress("unpacking", totalBytes(entries), entries.size());
    uint64_t bytes = 0;
    QObject context; // the connection goes with it
    QObject::connect(Notify_Adapter::GetInstance(), &Notify_Adapter::sigUpdateProgress, &context,
                     [&](int /*total*/, int current) {
                         const auto done = static_cast<size_t>(current);
                         bytes += entries[done - 1].size;
                         progress.show(bytes, done);
                     });
    StrTable::InitStrTable(); // the Extractor names what it does in a dialog's words
    Extractor extractor;
    extractor.SetSource(ustring(package.c_str()));
    extractor.SetTarget(ustring(folder.c_str()));
    return extractor.Extract();
}

} // namespace

PackageChecker::PackageChecker(std::string package) : m_package(std::move(package)) {}

Outcome PackageChecker::check() {
    const CLocale plain;
    const Reading reading = readPackage(m_package);
    const Entries& entries = reading.entries;
    m_outcome.findings = reading.findings;
    if (reading.isComplete) {
        const Findings judged = judge(entries, m_newerThan);
        m_outcome.findings.insert(m_outcome.findings.end(), judged.begin(), judged.end());
        m_outcome.summary = summarise(entries, m_package);
        compareInfo(entries);
        checkModes();
    }
    // A package that breaks a rule could write outside the folder that it is unpacked into.
    if (m_outcome.findings.empty()) {
        unpack(entries);
    }
    if (reading.isComplete && !reading.noticesFlippedBits) {
        m_outcome.notes.emplace_back("no checksum guards the files: a launcher would install a "
                                     "flipped bit; tar.zst and zip notice it");
    }
    return std::move(m_outcome);
}

void PackageChecker::compareInfo(const Entries& entries) {
    const auto inside = std::find_if(entries.begin(), entries.end(),
                                     [](const Entry& entry) { return entry.name == infoName; });
    if (!m_info || inside == entries.end()) {
        return;
    }
    std::ifstream file(*m_info, std::ios::binary);
    const std::string beside{std::istreambuf_iterator<char>(file), {}};
    if (!file || beside != inside->content) {
        m_outcome.findings.push_back(
            {*m_info, file ? "it differs from the INFO in the package" : "it cannot be read",
             "build the package again, which writes both"});
    }
}

void PackageChecker::checkModes() {
    if (!m_info) {
        return; // a package that lies anywhere may be as closed as it likes
    }
    const auto needsRight = [this](const std::string& path, mode_t right, const char* remedy) {
        struct stat status = {};
        if (stat(path.c_str(), &status) == 0 && (status.st_mode & right) != right) {
            m_outcome.findings.push_back({path, "not every user may read it", remedy});
        }
    };
    needsRight(std::filesystem::path(m_package).parent_path(), S_IXOTH, "chmod a+rx");
    needsRight(m_package, S_IROTH, "chmod a+r");
    needsRight(*m_info, S_IROTH, "chmod a+r");
}

void PackageChecker::unpack(const Entries& entries) {
    const ScratchFolder scratch;
    const char* const remedy = "set TMPDIR to a folder with enough room";
    if (!scratch.isMade()) {
        m_outcome.findings.push_back(
            {scratch.path(), "it cannot be made: " + scratch.trouble(), remedy});
        return;
    }
    const uint64_t needed = totalBytes(entries);
    if (scratch.freeBytes() < needed) {
        m_outcome.findings.push_back(
            {scratch.path(), "unpacking needs " + std::to_string(needed) + " bytes", remedy});
        return;
    }
    if (extract(m_package, scratch.path(), entries) != 0) {
        m_outcome.findings.push_back({m_package,
                                      "the launcher cannot unpack it: see its line above",
                                      "build the package again from its client"});
        return;
    }
    m_outcome.findings = compareTree(entries, scratch.path());
}

} // namespace package
