#include "ui-client/launcher/extractor.h"

#include "lib/endless.h"
#include "lib/log.h"
#include "ui-client/launcher/adapter.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QString>

#include <archive.h>
#include <archive_entry.h>

#include <cerrno>
#include <cstdio>
#include <memory>

#define LOG_SOURCE "extractor"
#define LOG_COMPONENT "extractor_debug"

// The numbers in the log lines identify the messages for whoever reads a log; they do not follow
// the lines of this file.

namespace {

constexpr size_t block_size = 10240;

// Owner, permissions and times are left out on purpose: what is unpacked belongs to the user, under
// the umask, from now.
constexpr int extract_flags =
    ARCHIVE_EXTRACT_UNLINK | ARCHIVE_EXTRACT_SECURE_NODOTDOT | ARCHIVE_EXTRACT_MAC_METADATA;

struct ReaderFree {
    void operator()(archive* reader) const { archive_read_free(reader); }
};
using ReaderPtr = std::unique_ptr<archive, ReaderFree>;

struct WriterFree {
    void operator()(archive* writer) const { archive_write_free(writer); }
};
using WriterPtr = std::unique_ptr<archive, WriterFree>;

/// What libarchive last said of a handle: empty, never null, where it said nothing.
const char* lastError(archive* handle) {
    const char* text = archive_error_string(handle);
    return text != nullptr ? text : "";
}

/// What could keep the reader waiting for ever counts as an archive that does not open.
int openSource(archive* reader, const ustring& source) {
    struct stat info = {};
    if (stat(source.c_str(), &info) == 0 && is_endless(info)) {
        archive_set_error(reader, EINVAL, "'%s' is not a regular file", source.c_str());
        return ARCHIVE_FATAL;
    }
    return archive_read_open_filename(reader, source.c_str(), block_size);
}

/// The message numbers in which counting and listing differ.
struct ListingLines {
    int argument;
    int allocate;
    int open;
};

/// Opens the archive for a walk over its headers.
/// \return null after a logged failure.
ReaderPtr openForListing(const ustring& source, const ustring& target, const ListingLines& lines) {
    // The target is not used, but both have to be set all the same.
    if (target.empty() || source.empty()) {
        WRITE_LOG(L_ERR, LOG_AT(lines.argument, "Invalid argument\n"));
        return nullptr;
    }
    ReaderPtr reader(archive_read_new());
    if (!reader) {
        WRITE_LOG(L_ERR, LOG_AT(lines.allocate, "Allocate archive failed\n"));
        return nullptr;
    }
    archive_read_support_filter_all(reader.get());
    archive_read_support_format_all(reader.get());
    if (openSource(reader.get(), source) != ARCHIVE_OK) {
        WRITE_LOG(L_ERR, LOG_AT(lines.open, "archive_read_open_filename failed: '%s'\n"),
                  lastError(reader.get()));
        return nullptr;
    }
    return reader;
}

} // namespace

int Extractor::copy_data(struct archive* reader, struct archive* writer) {
    if (reader == nullptr || writer == nullptr) {
        WRITE_LOG(L_ERR, LOG_AT(22, "Invalid Argument\n"));
        return -1;
    }
    for (;;) {
        const void* block = nullptr;
        size_t size = 0;
        la_int64_t offset = 0;
        const int result = archive_read_data_block(reader, &block, &size, &offset);
        if (result == ARCHIVE_EOF) {
            return 0;
        }
        if (result != ARCHIVE_OK) {
            WRITE_LOG(L_ERR, LOG_AT(33, "archive_read_data_block failed: '%s'\n"),
                      lastError(reader));
            return -1;
        }
        if (archive_write_data_block(writer, block, size, offset) != ARCHIVE_OK) {
            WRITE_LOG(L_ERR, LOG_AT(38, "archive_write_data_block failed: '%s'\n"),
                      lastError(writer));
            return -1;
        }
    }
}

int Extractor::Count() {
    const ReaderPtr reader = openForListing(source, target, {55, 60, 72});
    if (!reader) {
        return -1;
    }
    int entries = 0;
    archive_entry* entry = nullptr;
    while (archive_read_next_header(reader.get(), &entry) == ARCHIVE_OK) {
        ++entries;
        archive_read_data_skip(reader.get());
    }
    return entries;
}

int Extractor::List() {
    const ReaderPtr reader = openForListing(source, target, {97, 101, 113});
    if (!reader) {
        return -1;
    }
    archive_entry* entry = nullptr;
    while (archive_read_next_header(reader.get(), &entry) == ARCHIVE_OK) {
        const char* name = archive_entry_pathname(entry);
        printf("%s\n", name != nullptr ? name : "");
        archive_read_data_skip(reader.get());
    }
    fflush(stdout);
    archive_read_close(reader.get());
    return 0;
}

namespace {

void showInitializing() {
    const QString text = StrTable::LoadStr(StrTable::desc_sklk_env_preparing_tessel);
    Notify_Adapter::GetInstance()->UpdateDialogText(
        text.arg(StrTable::LoadStr(StrTable::app_name_tessel), 0, ' '));
}

/// Moves the entry below `target`.
/// \return false, and a line in the log, for an entry without a name.
bool placeBelow(archive_entry* entry, const ustring& target) {
    const char* name = archive_entry_pathname(entry);
    if (name == nullptr) {
        // The line has no line feed at its end; that is meant.
        WRITE_LOG(L_ERR, LOG_AT(213, "archive_entry_pathname failed"));
        return false;
    }
    // Copied first: the entry frees the old text as it takes the new one.
    const ustring path = target + "/" + name;
    archive_entry_set_pathname(entry, path.c_str());
    return true;
}

int extractEntry(archive* reader, archive_entry* entry, archive* writer) {
    // A hard link names its other end by the path inside the archive, which does not move below the
    // target: it would be looked up from the working folder, and could join a file of anybody's.
    // Such an entry fails, with libarchive's words for the usual case, in which the working folder
    // has no such file; the package builder packs copies instead.
    if (const char* other = archive_entry_hardlink(entry)) {
        archive_set_error(writer, ENOENT, "Hard-link target '%s' does not exist.", other);
        return ARCHIVE_FAILED;
    }
    return archive_read_extract2(reader, entry, writer);
}

/// Whether as many entries came as were counted: an archive that is written over meanwhile may end
/// early without an error, and half a client must not pass for a whole one.
bool isWhole(int done, int total) {
    if (done < total) {
        WRITE_LOG(L_ERR, LOG_HERE("the archive ended after %d of %d entries\n"), done, total);
        return false;
    }
    return true;
}

/// Unpacks all that is left to read. \return 0 at the end of the archive; -1 after a logged
/// failure.
int extractEntries(archive* reader, archive* writer, const ustring& target, int total) {
    for (int done = 1;; ++done) {
        archive_entry* entry = nullptr;
        const int result = archive_read_next_header(reader, &entry);
        if (result == ARCHIVE_EOF) {
            return isWhole(done - 1, total) ? 0 : -1;
        }
        // A warning counts as a failure, here and below: half a client is worse than the old one.
        if (result != ARCHIVE_OK) {
            WRITE_LOG(L_ERR, LOG_AT(198, "archive_read_next_header failed: '%s'\n"),
                      lastError(reader));
            return -1;
        }
        if (!placeBelow(entry, target)) {
            return -1;
        }
        if (extractEntry(reader, entry, writer) != ARCHIVE_OK) {
            // The writer's text, also where it was the reader that failed and the text is empty.
            WRITE_LOG(L_ERR, LOG_AT(220, "archive_read_extract2 failed: '%s'\n"),
                      lastError(writer));
            return -1;
        }
        Notify_Adapter::GetInstance()->UpdateProgress(total, done);
        if (archive_write_finish_entry(writer) != ARCHIVE_OK) {
            WRITE_LOG(L_ERR, LOG_AT(228, "archive_write_finish_entry failed: '%s'\n"),
                      lastError(writer));
            return -1;
        }
    }
}

/// Switches every filter on, by the name that this facility had before.
void supportAllCompressions(archive* reader) {
    // Deprecated in favour of archive_read_support_filter_all, yet kept: the two are the same.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    archive_read_support_compression_all(reader);
#pragma GCC diagnostic pop
}

} // namespace

int Extractor::Extract() {
    if (source.empty() || target.empty()) {
        WRITE_LOG(L_ERR, LOG_AT(151, "Invalid Argument\n"));
        return -1;
    }
    WRITE_LOG(L_DEBUG, LOG_AT(155, "decompress from '%s' to '%s'\n"), source.c_str(),
              target.c_str());
    showInitializing();
    const int total = Count();
    if (total < 1) {
        // An archive without entries is no package, and progress divides by the total.
        WRITE_LOG(L_ERR, LOG_AT(166, "Failed to calculate total file numbers, ret: %d\n"), total);
        return -1;
    }
    const ReaderPtr reader(archive_read_new());
    if (!reader) {
        WRITE_LOG(L_ERR, LOG_AT(171, "Allocate extractor failed\n"));
        return -1;
    }
    const WriterPtr writer(archive_write_disk_new());
    if (!writer) {
        WRITE_LOG(L_ERR, LOG_AT(176, "Allocate extractor failed\n"));
        return -1;
    }
    archive_write_disk_set_options(writer.get(), extract_flags);
    supportAllCompressions(reader.get());
    archive_read_support_format_all(reader.get());
    if (openSource(reader.get(), source) != ARCHIVE_OK) {
        WRITE_LOG(L_ERR, LOG_AT(189, "Failed to read file '%s' ('%s')\n"), source.c_str(),
                  lastError(reader.get()));
        return -1;
    }
    return extractEntries(reader.get(), writer.get(), target, total);
}
