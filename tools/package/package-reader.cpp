#include "tools/package/package-reader.h"

#include "tools/package/contents.h"
#include "tools/package/layout.h"
#include "tools/package/progress.h"

#include <QCryptographicHash>

#include <archive.h>
#include <archive_entry.h>

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

namespace package {

namespace {

constexpr size_t readingBlock = 10240; // the launcher's
constexpr char buildAgain[] = "build the package again from its client";

struct ReaderFree {
    void operator()(archive* reader) const { archive_read_free(reader); }
};
using ReaderPtr = std::unique_ptr<archive, ReaderFree>;

std::string lastError(archive* reader) {
    const char* text = archive_error_string(reader);
    return text != nullptr ? text : "libarchive does not say why";
}

Entry::Kind kindOf(archive_entry* entry) {
    if (archive_entry_hardlink(entry) != nullptr) {
        return Entry::HardLink;
    }
    switch (archive_entry_filetype(entry)) {
    case AE_IFDIR:
        return Entry::Folder;
    case AE_IFREG:
        return Entry::File;
    case AE_IFLNK:
        return Entry::SymbolicLink;
    case AE_IFCHR:
    case AE_IFBLK:
        return Entry::Device;
    case AE_IFIFO:
        return Entry::Fifo;
    case AE_IFSOCK:
        return Entry::Socket;
    default:
        return Entry::Other;
    }
}

std::string textOf(const char* inLocale, const char* inUtf8) {
    return inLocale != nullptr ? inLocale : inUtf8 != nullptr ? inUtf8 : "";
}

Entry toEntry(archive_entry* header) {
    Entry entry;
    entry.name = textOf(archive_entry_pathname(header), archive_entry_pathname_utf8(header));
    entry.kind = kindOf(header);
    entry.mode = archive_entry_mode(header) & 07777U;
    if (entry.kind == Entry::Folder && entry.name.size() > 1 && entry.name.back() == '/') {
        entry.name.pop_back();
    }
    if (entry.kind == Entry::SymbolicLink) {
        entry.target = textOf(archive_entry_symlink(header), archive_entry_symlink_utf8(header));
    }
    return entry;
}

/// Whether what libarchive unpacks carries checksums that it compares: those of these formats and
/// compressions, but not the ones of gzip, which it skips.
bool hasChecksums(archive* reader, const std::string& path) {
    const int format = archive_format(reader) & ARCHIVE_FORMAT_BASE_MASK;
    if (format == ARCHIVE_FORMAT_ZIP || format == ARCHIVE_FORMAT_7ZIP) {
        return true;
    }
    switch (archive_filter_code(reader, 0)) {
    case ARCHIVE_FILTER_BZIP2:
    case ARCHIVE_FILTER_XZ:
    case ARCHIVE_FILTER_LZIP:
        return true;
    case ARCHIVE_FILTER_ZSTD: {
        // The third bit behind the magic number says that the frame ends with a checksum.
        char header[5] = {};
        std::ifstream(path, std::ios::binary).read(header, sizeof header);
        return (static_cast<unsigned char>(header[4]) & 4U) != 0;
    }
    default:
        return false;
    }
}

class PackageReader {
public:
    explicit PackageReader(const std::string& path)
        : m_path(path), m_progress("reading", sizeOf(path), 0) {}

    Reading read() {
        readEntries();
        if (m_reading.isComplete && m_isCompressed) {
            readToTheLastByte();
        }
        return std::move(m_reading);
    }

private:
    static uint64_t sizeOf(const std::string& path) {
        std::error_code error;
        const uintmax_t size = std::filesystem::file_size(path, error);
        return error ? 0 : size;
    }

    bool open(archive* reader) {
        archive_read_support_filter_all(reader);
        if (archive_read_open_filename(reader, m_path.c_str(), readingBlock) == ARCHIVE_OK) {
            return true;
        }
        const int error = archive_errno(reader);
        if (error == ENOENT || error == EACCES) { // libarchive's text keeps these to itself
            m_reading.findings.push_back(
                {m_path, std::string("it cannot be read: ") + strerror(error), buildAgain});
            return false;
        }
        return refuse(m_path, reader);
    }

    void readEntries() {
        const ReaderPtr reader(archive_read_new());
        archive_read_support_format_all(reader.get());
        archive_entry* header = nullptr;
        for (bool goesOn = open(reader.get()); goesOn;) {
            const int result = archive_read_next_header(reader.get(), &header);
            m_reading.isComplete = result == ARCHIVE_EOF;
            if (m_reading.isComplete || (result < ARCHIVE_WARN && !refuse(m_path, reader.get()))) {
                break;
            }
            Entry entry = toEntry(header);
            if (result == ARCHIVE_WARN) {
                refuse(entry.name, reader.get());
            }
            goesOn = entry.kind != Entry::File || readContent(reader.get(), entry);
            m_reading.entries.push_back(std::move(entry));
            showProgress(reader.get());
        }
        m_reading.noticesFlippedBits = hasChecksums(reader.get(), m_path);
        m_isCompressed = archive_filter_code(reader.get(), 0) != ARCHIVE_FILTER_NONE;
    }

    bool readContent(archive* reader, Entry& entry) {
        const bool isKept = isLookedInto(cleaned(entry.name));
        QCryptographicHash hash(QCryptographicHash::Sha256);
        std::vector<char> block(1 << 17);
        for (;;) {
            const la_ssize_t got = archive_read_data(reader, block.data(), block.size());
            if (got < 0) {
                return refuse(entry.name, reader);
            }
            if (got == 0) {
                break;
            }
            hash.addData(block.data(), static_cast<int>(got));
            entry.size += static_cast<uint64_t>(got);
            if (isKept && entry.content.size() <= lookedIntoLimit) {
                entry.content.append(block.data(), static_cast<size_t>(got));
            }
            showProgress(reader);
        }
        entry.digest = hash.result().toHex().toStdString();
        return true;
    }

    // The end of an archive may come before the end of the compressed stream, and the launcher
    // stops reading there; damage behind it is damage all the same.
    void readToTheLastByte() {
        const ReaderPtr reader(archive_read_new());
        archive_read_support_format_raw(reader.get());
        archive_entry* header = nullptr;
        if (!open(reader.get())) {
            return;
        }
        int result = archive_read_next_header(reader.get(), &header);
        while (result == ARCHIVE_OK) {
            const void* block = nullptr;
            size_t size = 0;
            la_int64_t offset = 0;
            result = archive_read_data_block(reader.get(), &block, &size, &offset);
        }
        if (result != ARCHIVE_EOF) {
            refuse(m_path, reader.get());
        }
    }

    void showProgress(archive* reader) {
        m_progress.show(static_cast<uint64_t>(archive_filter_bytes(reader, -1)),
                        m_reading.entries.size());
    }

    bool refuse(const std::string& entry, archive* reader) {
        m_reading.findings.push_back(
            {entry, "it cannot be read: " + lastError(reader), buildAgain});
        return false;
    }

    const std::string& m_path;
    bool m_isCompressed = false;
    Progress m_progress;
    Reading m_reading;
};

} // namespace

Reading readPackage(const std::string& path) {
    return PackageReader(path).read();
}

} // namespace package
