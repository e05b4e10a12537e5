// The extractor on whatever stands in the place of the package: it ends, answers 0 or -1, and
// counts what it unpacks.
#include "lib/log.h"
#include "tests/fuzz/require.h"
#include "tests/fuzz/scratch.h"
#include "ui-client/launcher/extractor.h"
#include "ui-client/launcher/texts/strtab.h"

#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <string>

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    becomeOrdinary();
    // A few bytes may tell of a file without an end.
    const struct rlimit most = {1 << 22, 1 << 22};
    setrlimit(RLIMIT_FSIZE, &most);
    signal(SIGXFSZ, SIG_IGN);
    StrTable::InitStrTable();
    Logger::Destroy(); // nearly every input is an error
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const std::string archive = scratchFolder() + "/archive";
    const std::string target = scratchFolder() + "/target";
    writeScratch(archive, bytes, size);
    mkdir(target.c_str(), S_IRWXU);
    Extractor extractor;
    extractor.SetSource(archive);
    extractor.SetTarget(target);
    const int entries = extractor.Count();
    const int result = extractor.Extract();
    require(entries >= -1 && (result == 0 || result == -1), "the results are the agreed ones");
    require(result == -1 || entries > 0, "an archive without entries is a failure");
    emptyFolder(scratchFolder()); // the target may have become a file
    return 0;
}
