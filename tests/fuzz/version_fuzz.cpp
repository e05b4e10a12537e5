// Two INFO files, apart at the first NUL: the packaged one and the user's. Whatever they hold, the
// decision follows their build texts.
#include "tests/fuzz/require.h"
#include "tests/fuzz/scratch.h"
#include "ui-client/launcher/linux/linux-service.h"
#include "ui-client/launcher/tessel-paths.h"

#include <QString>

#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace {

class OpenService : public LinuxService {
public:
    const VersionInfo& source() const { return source_version; }
    const VersionInfo& target() const { return target_version; }
};

int build(const ustring& text) {
    return static_cast<int>(strtol(text.c_str(), nullptr, 10));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    const QString scratch = QString::fromStdString(scratchFolder());
    registerTesselPaths(scratch, scratch + "/root");
    std::filesystem::create_directories(scratchFolder() + "/root");
    const std::string app = scratchFolder() + "/.AldaneTessel/AldaneTessel.app";
    std::filesystem::create_directories(app + "/bin");
    writeScratch(app + "/bin/cloud-tessel-ui", nullptr, 0);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const void* const nul = size == 0 ? nullptr : memchr(bytes, 0, size);
    const size_t first =
        nul == nullptr ? size : static_cast<size_t>(static_cast<const uint8_t*>(nul) - bytes);
    const size_t second = first == size ? size : first + 1;
    writeScratch(scratchFolder() + "/root/INFO", bytes, first);
    writeScratch(scratchFolder() + "/.AldaneTessel/AldaneTessel.app/INFO", bytes + second,
                 size - second);
    OpenService service;
    service.PreUpgrade();
    const bool higher =
        build(service.target().build_version) > build(service.source().build_version);
    require(service.IsNeedUpgrade() == higher, "the higher build is what makes an upgrade");
    return 0;
}
