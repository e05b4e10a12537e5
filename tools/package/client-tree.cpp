#include "tools/package/client-tree.h"

#include "tools/package/layout.h"

#include <QCryptographicHash>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace package {

namespace {

Entry::Kind kindOf(mode_t mode) {
    switch (mode & S_IFMT) {
    case S_IFDIR:
        return Entry::Folder;
    case S_IFREG:
        return Entry::File;
    case S_IFLNK:
        return Entry::SymbolicLink;
    case S_IFCHR:
    case S_IFBLK:
        return Entry::Device;
    case S_IFIFO:
        return Entry::Fifo;
    case S_IFSOCK:
        return Entry::Socket;
    default:
        return Entry::Other;
    }
}

std::string linkTarget(const std::string& path) {
    char target[PATH_MAX];
    const ssize_t length = readlink(path.c_str(), target, sizeof target);
    return length < 0 ? std::string() : std::string(target, static_cast<size_t>(length));
}

// One byte more than the limit tells the rules that there is more.
std::string beginning(const std::string& path) {
    std::string content(lookedIntoLimit + 1, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(&content[0], static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<size_t>(file.gcount()));
    return content;
}

class Scan {
public:
    explicit Scan(const std::string& root) : m_root(root) {}

    /// Adds what the folder holds; `name` is empty for the root, which is no entry itself.
    /// \return why it cannot be read; empty when it can.
    std::string readFolder(const std::string& name) {
        std::error_code error;
        std::filesystem::directory_iterator walk(pathOf(name), error);
        const std::filesystem::directory_iterator end;
        while (!error && walk != end) {
            const std::string child = walk->path().filename().native();
            readEntry(name.empty() ? child : name + "/" + child);
            walk.increment(error);
        }
        return error ? error.message() : std::string();
    }

    Entries entries;

private:
    std::string pathOf(const std::string& name) const {
        return name.empty() ? m_root : m_root + "/" + name;
    }

    void readEntry(const std::string& name) {
        Entry entry;
        entry.name = name;
        struct stat info = {};
        if (lstat(pathOf(name).c_str(), &info) == 0) {
            entry.kind = kindOf(info.st_mode);
            entry.mode = info.st_mode & 07777U;
            readContent(info, entry);
        } else {
            entry.kind = Entry::Other;
            entry.trouble = strerror(errno);
        }
        entries.push_back(entry);
    }

    void readContent(const struct stat& info, Entry& entry) {
        const std::string path = pathOf(entry.name);
        if (entry.kind == Entry::Folder) {
            entry.trouble = readFolder(entry.name);
        } else if (entry.kind == Entry::SymbolicLink) {
            entry.target = linkTarget(path);
        } else if (entry.kind == Entry::File) {
            entry.size = static_cast<uint64_t>(info.st_size);
            entry.names = static_cast<unsigned>(info.st_nlink);
            if (faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0) {
                entry.trouble = strerror(errno);
            } else if (isLookedInto(entry.name)) {
                entry.content = beginning(path);
            }
        }
    }

    const std::string m_root;
};

} // namespace

Entries scanTree(const std::string& root) {
    Scan scan(root);
    const std::string trouble = scan.readFolder(std::string());
    if (!trouble.empty()) {
        Entry folder;
        folder.name = root;
        folder.kind = Entry::Other;
        folder.trouble = trouble;
        scan.entries.push_back(folder);
    }
    std::sort(scan.entries.begin(), scan.entries.end(),
              [](const Entry& a, const Entry& b) { return a.name < b.name; });
    return std::move(scan.entries);
}

std::string digestOfFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        return std::string();
    }
    QCryptographicHash hash(QCryptographicHash::Sha256);
    std::vector<char> block(1 << 17);
    while (file.read(block.data(), static_cast<std::streamsize>(block.size())) ||
           file.gcount() > 0) {
        hash.addData(block.data(), static_cast<int>(file.gcount()));
    }
    return file.bad() ? std::string() : hash.result().toHex().toStdString();
}

} // namespace package
