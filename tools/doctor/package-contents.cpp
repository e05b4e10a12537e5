#include "tools/doctor/package-contents.h"

#include <QFile>
#include <QFileInfo>

#include <archive.h>
#include <archive_entry.h>

#include <sys/stat.h>

#include <memory>

namespace doctor {

namespace {

struct ReaderFree {
    void operator()(archive* reader) const { archive_read_free(reader); }
};
using ReaderPtr = std::unique_ptr<archive, ReaderFree>;

// No version record is larger: a wrong file has taken the name.
constexpr int info_limit = 1 << 20;

QString lastError(archive* reader) {
    const char* text = archive_error_string(reader);
    return text != nullptr ? QString::fromUtf8(text) : QString("damaged");
}

/// Reads the data of the last entry, and keeps INFO's. \return false where it is damaged.
bool readData(archive* reader, PackageContents& contents) {
    PackageContents::Entry& entry = contents.entries.back();
    const void* block = nullptr;
    size_t size = 0;
    la_int64_t offset = 0;
    for (;;) {
        const int result = archive_read_data_block(reader, &block, &size, &offset);
        if (result != ARCHIVE_OK) {
            return result == ARCHIVE_EOF;
        }
        // Counted, since some formats tell the size behind the data.
        entry.size = static_cast<uint64_t>(offset) + size;
        contents.bytes += size;
        if (entry.name == "INFO" && contents.info.size() + size <= info_limit) {
            contents.info.append(static_cast<const char*>(block), static_cast<int>(size));
        }
    }
}

/// What speaks against the entry itself; empty where nothing does.
QString troubleOf(archive_entry* entry) {
    if (archive_entry_pathname(entry) == nullptr) {
        return "a name outside ASCII, which the C locale cannot express";
    }
    const QString name = QString::fromUtf8(archive_entry_pathname(entry));
    if (archive_entry_hardlink(entry) != nullptr) {
        return "a hard link, '" + name + "'";
    }
    if (name.split('/').contains("..")) {
        return "'..' in the name '" + name + "'";
    }
    return {};
}

PackageContents::Entry describe(archive_entry* entry, const QString& name) {
    PackageContents::Entry described;
    described.name = name;
    described.type = archive_entry_filetype(entry);
    described.permissions = archive_entry_perm(entry);
    return described;
}

QString cleanName(const char* name) {
    QString text = QString::fromUtf8(name);
    while (text.endsWith('/')) {
        text.chop(1);
    }
    while (text.startsWith("./")) {
        text.remove(0, 2);
    }
    return text;
}

/// \return why the reading stopped before the end; empty at the end.
QString readEntries(archive* reader, PackageContents& contents) {
    for (;;) {
        archive_entry* entry = nullptr;
        const int result = archive_read_next_header(reader, &entry);
        if (result == ARCHIVE_EOF) {
            return {};
        }
        // The launcher gives up at a warning too.
        if (result != ARCHIVE_OK) {
            return lastError(reader);
        }
        const QString trouble = troubleOf(entry);
        if (!trouble.isEmpty()) {
            return trouble;
        }
        const QString name = cleanName(archive_entry_pathname(entry));
        contents.entries.push_back(describe(entry, name));
        if (!readData(reader, contents)) {
            return "'" + name + "': " + lastError(reader);
        }
    }
}

} // namespace

const PackageContents::Entry* PackageContents::find(const QString& name) const {
    for (const Entry& entry : entries) {
        if (entry.name == name) {
            return &entry;
        }
    }
    return nullptr;
}

PackageContents readPackage(const QString& file) {
    PackageContents contents;
    if (!QFileInfo(file).isFile()) {
        contents.trouble = QFileInfo::exists(file) ? "no regular file" : "missing";
        return contents;
    }
    const ReaderPtr reader(archive_read_new());
    archive_read_support_filter_all(reader.get());
    archive_read_support_format_all(reader.get());
    if (archive_read_open_filename(reader.get(), QFile::encodeName(file).constData(), 65536) !=
        ARCHIVE_OK) {
        contents.trouble = lastError(reader.get());
        return contents;
    }
    contents.trouble = readEntries(reader.get(), contents);
    if (contents.isSound() && contents.entries.empty()) {
        contents.trouble = "no entries";
    }
    return contents;
}

} // namespace doctor
