#include "tests/fuzz/scratch.h"

#include "tests/fuzz/require.h"

#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

namespace fs = std::filesystem;

namespace {

constexpr int nobody = 65534;

class Folder {
public:
    Folder() {
        char name[] = "/dev/shm/fuzz-XXXXXX";
        require(mkdtemp(name) != nullptr, "the scratch folder can be made");
        m_path = name;
    }
    ~Folder() {
        emptyFolder(m_path);
        rmdir(m_path.c_str());
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

std::vector<fs::path> entries(const fs::path& folder) {
    std::vector<fs::path> paths;
    for (const auto& entry : fs::directory_iterator(folder)) {
        paths.push_back(entry.path());
    }
    return paths;
}

/// Whether `path` is a folder; if so, it may be read and changed from now on.
bool isOpenFolder(const fs::path& path) {
    return fs::is_directory(fs::symlink_status(path)) && chmod(path.c_str(), S_IRWXU) == 0;
}

/// Empties `folder`, and moves the folders in it up to `top`: there is no limit to how deep they
/// lie, but one to the length of a path.
void raiseFolders(const fs::path& folder, const fs::path& top) {
    static unsigned long raised = 0;
    for (const fs::path& inner : entries(folder)) {
        if (isOpenFolder(inner)) {
            fs::rename(inner, top / ("\1raised" + std::to_string(raised++)));
        } else {
            fs::remove(inner);
        }
    }
}

} // namespace

const std::string& scratchFolder() {
    static const Folder folder;
    return folder.path();
}

void writeScratch(const std::string& path, const uint8_t* bytes, size_t size) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes), static_cast<std::streamsize>(size));
    require(file.good(), "the input can be written");
}

void emptyFolder(const std::string& folder) {
    for (std::vector<fs::path> left = entries(folder); !left.empty(); left = entries(folder)) {
        for (const fs::path& entry : left) {
            if (isOpenFolder(entry)) {
                raiseFolders(entry, folder);
            }
            fs::remove(entry);
        }
    }
}

void becomeOrdinary() {
    require(geteuid() != 0 ||
                (setgroups(0, nullptr) == 0 && setgid(nobody) == 0 && setuid(nobody) == 0),
            "root can become an ordinary user");
}
