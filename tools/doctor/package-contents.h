#pragma once

#include "tools/package/entry.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <cstdint>

namespace doctor {

/// What the installed package holds, read to its end and judged as `tessel-package check` does, all
/// but the unpacking.
struct PackageContents {
    package::Entries entries;
    uint64_t bytes = 0;      // of all files, unpacked
    QByteArray info;         // the content of its INFO
    QString trouble;         // why the launcher would fail with it; empty where nothing speaks so
    QStringList brokenRules; // a line each; users may get a client that does not work, or heal

    /// Whether the launcher would unpack it.
    bool isSound() const { return trouble.isEmpty(); }
};

/// Reads names and data of the package at `file`, so that every checksum is looked at. Blocks on
/// the disk.
PackageContents readPackage(const QString& file);

} // namespace doctor
