#pragma once

#include <QByteArray>
#include <QString>

#include <sys/types.h>

#include <cstdint>
#include <vector>

namespace doctor {

/// What the installed package holds, read to its end as the launcher reads it.
struct PackageContents {
    struct Entry {
        QString name;    // below the client's folder
        mode_t type = 0; // S_IFREG, S_IFDIR, S_IFLNK
        mode_t permissions = 0;
        uint64_t size = 0;
    };
    std::vector<Entry> entries;
    uint64_t bytes = 0; // of all files, unpacked
    QByteArray info;    // the content of its INFO
    QString trouble;    // why the launcher would fail with it; empty where nothing speaks so

    bool isSound() const { return trouble.isEmpty(); }
    /// The entry `name`; null where there is none.
    const Entry* find(const QString& name) const;
};

/// Reads names and data of the package at `file`, so that every checksum is looked at. Blocks on
/// the disk.
PackageContents readPackage(const QString& file);

} // namespace doctor
