#pragma once

#include "tools/package/aside-file.h"
#include "tools/package/outcome.h"
#include "tools/package/package-format.h"

#include <optional>
#include <string>

namespace package {

/// Packs one client folder into one installation tree. Made, asked once.
class PackageBuilder {
public:
    /// \param client the folder as it shall stand in the user's home.
    /// \param root the installation tree; it and its package folder are made where missing.
    PackageBuilder(std::string client, std::string root);

    void setFormat(const PackageFormat& format) { m_format = format; }
    void setNewerThan(std::optional<int> build) { m_newerThan = build; }

    /// Judges the client and, where nothing stands against it, replaces "root/package/skylark.tpx"
    /// and "root/INFO". With findings, and where it is killed, an old package stays as it was.
    /// Blocks on the disk.
    Outcome build();

private:
    void readClient();
    void noteHardLinks();
    void noteNamesThatDifferInCase();
    /// The digest of the package in place, where its build is not below the one to be written.
    std::string digestUnderNoLowerBuild();
    void noteBuildNotRaised(const std::string& replaced);
    bool writePackage();
    bool writeInto(AsideFile& file);
    bool writeInto(AsideFile& file, const std::string& text);
    bool putInPlace(AsideFile& package, AsideFile& info);
    bool fail(const std::string& path, const std::string& trouble);

    const std::string m_client;
    const std::string m_root;
    PackageFormat m_format;
    std::optional<int> m_newerThan;
    Entries m_entries;
    Outcome m_outcome;
};

} // namespace package
