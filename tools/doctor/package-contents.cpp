#include "tools/doctor/package-contents.h"

#include "tools/package/layout.h"
#include "tools/package/package-reader.h"
#include "tools/package/rules.h"

#include <QFile>
#include <QFileInfo>

#include <optional>
#include <string>

namespace doctor {

namespace {

QString firstOf(const package::Findings& findings) {
    return QString::fromStdString(findings.front().entry + ": " + findings.front().rule);
}

/// The entry at which the launcher gives up, although it can be read; null where there is none.
const package::Entry* refusedEntry(const package::Entries& entries) {
    for (const package::Entry& entry : entries) {
        const bool leadsUp = ("/" + entry.name + "/").find("/../") != std::string::npos;
        if (entry.kind == package::Entry::HardLink || leadsUp) {
            return &entry;
        }
    }
    return nullptr;
}

QString troubleOf(const package::Reading& reading) {
    if (!reading.findings.empty()) {
        return firstOf(reading.findings);
    }
    if (const package::Entry* entry = refusedEntry(reading.entries)) {
        const bool isLink = entry->kind == package::Entry::HardLink;
        return (isLink ? "a hard link, '" : "'..' in the name '") +
               QString::fromStdString(entry->name) + "'";
    }
    return reading.entries.empty() ? "no entries" : QString();
}

} // namespace

PackageContents readPackage(const QString& file) {
    PackageContents contents;
    if (!QFileInfo(file).isFile()) {
        contents.trouble = QFileInfo::exists(file) ? "no regular file" : "missing";
        return contents;
    }
    const package::Reading reading = package::readPackage(QFile::encodeName(file).toStdString());
    contents.trouble = troubleOf(reading);
    contents.entries = reading.entries;
    for (const package::Entry& entry : reading.entries) {
        contents.bytes += entry.size;
        if (entry.name == package::infoName) {
            contents.info = QByteArray::fromStdString(entry.content);
        }
    }
    if (contents.isSound()) {
        for (const package::Finding& finding : package::judge(reading.entries, std::nullopt)) {
            contents.brokenRules << QString::fromStdString(toLine(finding));
        }
    }
    return contents;
}

} // namespace doctor
