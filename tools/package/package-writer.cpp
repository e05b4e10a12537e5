#include "tools/package/package-writer.h"

#include "tools/package/layout.h"

#include <archive.h>
#include <archive_entry.h>

#include <sys/stat.h>

#include <cerrno>

namespace package {

namespace {

// The knee of the curve: 19 makes a client of shared libraries an eighth smaller, in fifteen times
// the time.
constexpr int usualZstdLevel = 9;

struct EntryFree {
    void operator()(archive_entry* entry) const { archive_entry_free(entry); }
};
using EntryPtr = std::unique_ptr<archive_entry, EntryFree>;

mode_t typeOf(const Entry& entry) {
    switch (entry.kind) {
    case Entry::Folder:
        return S_IFDIR;
    case Entry::SymbolicLink:
        return S_IFLNK;
    default:
        return S_IFREG;
    }
}

EntryPtr toArchiveEntry(const Entry& entry) {
    EntryPtr result(archive_entry_new());
    archive_entry_set_pathname(result.get(), entry.name.c_str());
    archive_entry_set_filetype(result.get(), typeOf(entry));
    archive_entry_set_size(result.get(), 0);
    if (entry.kind == Entry::SymbolicLink) {
        archive_entry_set_perm(result.get(), ACCESSPERMS);
        archive_entry_set_symlink(result.get(), entry.target.c_str());
    } else {
        archive_entry_set_perm(result.get(), entry.mode & ACCESSPERMS);
    }
    if (entry.kind == Entry::File) {
        archive_entry_set_size(result.get(), static_cast<la_int64_t>(entry.size));
    }
    return result;
}

void setFormat(archive* writer, const PackageFormat& format) {
    if (format.kind == PackageFormat::Zip) {
        archive_write_set_format_zip(writer);
        if (format.level) {
            archive_write_set_format_option(writer, "zip", "compression-level",
                                            std::to_string(*format.level).c_str());
        }
    } else {
        // An extended header only where a name or size needs one, and never with times or owners.
        archive_write_set_format_pax_restricted(writer);
    }
}

} // namespace

void PackageWriter::Free::operator()(archive* writer) const {
    archive_write_free(writer);
}

PackageWriter::PackageWriter(const PackageFormat& format, AsideFile& file)
    : m_file(file), m_archive(archive_write_new()) {
    if (format.kind == PackageFormat::TarZstd) {
        m_zstd = std::make_unique<ZstdStream>(
            format.level.value_or(usualZstdLevel),
            [this](const void* data, size_t size) { return m_file.write(data, size); });
    }
    archive_write_add_filter_none(m_archive.get());
    setFormat(m_archive.get(), format);
    // Unbuffered, so that at the end of an entry all of it has come out: frames end between two.
    archive_write_set_bytes_per_block(m_archive.get(), 0);
    isGood(archive_write_open(m_archive.get(), this, nullptr, &PackageWriter::take, nullptr));
}

PackageWriter::~PackageWriter() {
    // Otherwise a package that is given up would still be filled up to the size it has promised.
    archive_write_fail(m_archive.get());
}

bool PackageWriter::begin(const Entry& entry) {
    if (opensNewSection(entry.name) && !startSection()) {
        return false;
    }
    return m_trouble.empty() &&
           isGood(archive_write_header(m_archive.get(), toArchiveEntry(entry).get()));
}

bool PackageWriter::write(const void* data, size_t size) {
    return isGood(archive_write_data(m_archive.get(), data, size) == static_cast<la_ssize_t>(size)
                      ? ARCHIVE_OK
                      : ARCHIVE_FATAL);
}

bool PackageWriter::end() {
    return isGood(archive_write_finish_entry(m_archive.get()));
}

bool PackageWriter::close() {
    // The end of the archive has a frame of its own: a launcher stops reading there, and without
    // that it could stop in front of the last checksum.
    return startSection() && isGood(archive_write_close(m_archive.get())) && startSection();
}

std::string PackageWriter::trouble() const {
    return m_file.trouble().empty() ? m_trouble : m_file.trouble();
}

bool PackageWriter::isGood(int result) {
    if (result != ARCHIVE_OK && m_trouble.empty()) {
        const char* text = archive_error_string(m_archive.get());
        m_trouble = text != nullptr ? text : "libarchive failed";
    }
    return m_trouble.empty();
}

bool PackageWriter::startSection() {
    return !m_zstd || m_zstd->endFrame() || isGood(ARCHIVE_FATAL);
}

bool PackageWriter::pass(const void* data, size_t size) {
    if (!m_zstd) {
        return m_file.write(data, size);
    }
    if (m_zstd->write(data, size)) {
        return true;
    }
    archive_set_error(m_archive.get(), EIO, "%s", m_zstd->trouble().c_str());
    return false;
}

long PackageWriter::take(archive* /*writer*/, void* self, const void* data, size_t size) {
    return static_cast<PackageWriter*>(self)->pass(data, size) ? static_cast<long>(size) : -1;
}

} // namespace package
