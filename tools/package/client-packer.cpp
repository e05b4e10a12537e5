#include "tools/package/client-packer.h"

#include "tools/package/layout.h"
#include "tools/package/package-writer.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace package {

namespace {

constexpr size_t blockSize = 1 << 17;

uint64_t totalBytes(const Entries& entries) {
    uint64_t bytes = 0;
    for (const Entry& entry : entries) {
        bytes += entry.size;
    }
    return bytes;
}

class SourceFile {
public:
    // Never through a link that has taken the file's place, nor waiting for a FIFO's other end.
    explicit SourceFile(const std::string& path)
        : m_fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC)) {
        if (m_fd >= 0) {
            fstat(m_fd, &m_info);
        }
    }
    ~SourceFile() {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    SourceFile(const SourceFile&) = delete;
    SourceFile& operator=(const SourceFile&) = delete;

    bool isOpen() const { return m_fd >= 0; }
    ssize_t read(char* data, size_t size) const { return ::read(m_fd, data, size); }
    /// A regular file of this size, with the time at which it was opened.
    bool isStill(uint64_t size) const {
        struct stat now = {};
        return fstat(m_fd, &now) == 0 && S_ISREG(now.st_mode) &&
               static_cast<uint64_t>(now.st_size) == size &&
               now.st_mtim.tv_sec == m_info.st_mtim.tv_sec &&
               now.st_mtim.tv_nsec == m_info.st_mtim.tv_nsec;
    }

private:
    const int m_fd;
    struct stat m_info = {};
};

} // namespace

ClientPacker::ClientPacker(const std::string& client, const Entries& entries, PackageWriter& writer)
    : m_client(client), m_entries(entries), m_writer(writer),
      m_progress("packing", totalBytes(entries), entries.size()) {}

bool ClientPacker::pack() {
    for (const Entry& entry : m_entries) {
        if (!packEntry(entry)) {
            return false;
        }
        m_progress.show(m_bytes, ++m_done);
    }
    return m_writer.close();
}

bool ClientPacker::packEntry(const Entry& entry) {
    return m_writer.begin(entry) && (entry.kind != Entry::File || packContent(entry)) &&
           m_writer.end();
}

bool ClientPacker::packContent(const Entry& entry) {
    // What the rules have looked into is packed as they saw it.
    return isLookedInto(entry.name) ? write(entry.content.data(), entry.content.size())
                                    : packFile(entry);
}

bool ClientPacker::packFile(const Entry& entry) {
    const SourceFile file(m_client + "/" + entry.name);
    if (!file.isOpen()) {
        return failReading(entry, std::string("it cannot be read: ") + strerror(errno));
    }
    std::vector<char> block(blockSize);
    uint64_t left = entry.size;
    // One read more than the size needs: it must find the end.
    for (;;) {
        const ssize_t got = file.read(block.data(), block.size());
        if (got < 0) {
            return failReading(entry, std::string("it cannot be read: ") + strerror(errno));
        }
        const auto size = static_cast<uint64_t>(got);
        if (size > left || (size == 0 && (left > 0 || !file.isStill(entry.size)))) {
            return failReading(entry, "it has changed while it was packed");
        }
        if (size == 0) {
            return true;
        }
        if (!write(block.data(), static_cast<size_t>(size))) {
            return false;
        }
        left -= size;
    }
}

bool ClientPacker::write(const char* data, size_t size) {
    if (!m_writer.write(data, size)) {
        return false;
    }
    m_bytes += size;
    m_progress.show(m_bytes, m_done);
    return true;
}

bool ClientPacker::failReading(const Entry& entry, const std::string& rule) {
    m_trouble = Finding{entry.name, rule, "leave it alone meanwhile, and build again"};
    return false;
}

} // namespace package
