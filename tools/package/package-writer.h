#pragma once

#include "tools/package/aside-file.h"
#include "tools/package/entry.h"
#include "tools/package/package-format.h"
#include "tools/package/zstd-stream.h"

#include <cstddef>
#include <memory>
#include <string>

struct archive;

namespace package {

/// Writes entries into a package with libarchive. Nothing of the machine or the hour goes in: an
/// entry has its name, kind, permission bits and content; owner and times are zero.
class PackageWriter {
public:
    /// \param file open, and outliving this; it receives the package's bytes.
    PackageWriter(const PackageFormat& format, AsideFile& file);
    ~PackageWriter();
    PackageWriter(const PackageWriter&) = delete;
    PackageWriter& operator=(const PackageWriter&) = delete;

    /// For each entry begin, its `size` bytes by write, end; at last close. Each answers false
    /// after a failure, which trouble() then tells.
    bool begin(const Entry& entry);
    bool write(const void* data, size_t size);
    bool end();
    bool close();

    std::string trouble() const;

private:
    struct Free {
        void operator()(archive* writer) const;
    };

    bool isGood(int result);
    bool startSection();
    /// What libarchive writes arrives here.
    bool pass(const void* data, size_t size);
    static long take(archive* writer, void* self, const void* data, size_t size);

    AsideFile& m_file;
    std::unique_ptr<ZstdStream> m_zstd; // null where the format compresses by itself, or not at all
    std::unique_ptr<archive, Free> m_archive;
    std::string m_trouble;
};

} // namespace package
