#include "tests/long/figures.h"
#include "tests/long/home.h"
#include "tests/long/runs.h"
#include "ui-client/launcher/linux/linux-service.h"
#include "ui-client/launcher/tessel-paths.h"

#include <QString>

#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

// What the first upgrades fetch, they keep: libraries' tables, the allocator's arenas.
constexpr int warmUp = 10;
// The smallest piece that each of the upgrades lost would show; what the allocator shifts does not.
constexpr long heapTolerance = 32000;
constexpr long residentTolerance = 1 << 20;

bool upgrade() {
    LinuxService service;
    service.PreUpgrade();
    const bool done = service.IsNeedUpgrade() && service.HandlePackageUpgrade() == 0;
    service.RemoveAgedFolders();
    service.PostUpgrade();
    return done;
}

int verdict(const std::string& name, long before, long after, long tolerance) {
    return row(name, fromTo(before, after), after - before <= tolerance) ? 0 : 1;
}

long lines(const std::string& path) {
    std::ifstream file(path);
    return std::count(std::istreambuf_iterator<char>(file), {}, '\n');
}

} // namespace

int upgradesInOneProcess(const std::string& installation, const std::string& scratch, int times) {
    const Home home(installation, scratch, "exit 0");
    setenv("HOME", home.path().c_str(), 1);
    registerTesselPaths(QString::fromStdString(home.path()), QString::fromStdString(home.root()));
    int done = 0;
    const auto upgradeTimes = [&done](int count) {
        for (int i = 0; i < count; ++i) {
            done += upgrade() ? 1 : 0;
        }
    };
    upgradeTimes(warmUp);
    const Figures before = figures(home.path());
    upgradeTimes(times);
    const Figures after = figures(home.path());
    int broken =
        row("upgrades in one process", std::to_string(done - warmUp), done == warmUp + times) ? 0
                                                                                              : 1;
    broken += verdict("files and folders of the home", before.entries, after.entries, 0);
    broken += verdict("open descriptors", before.descriptors, after.descriptors, 0);
    broken += verdict("bytes of heap in use", before.heap, after.heap, heapTolerance);
    broken += verdict("bytes resident", before.resident, after.resident, residentTolerance);
    return broken;
}

int upgradesByStarts(const std::string& installation, const std::string& scratch, int times) {
    const Home home(installation, scratch, "echo \"$1\" >>\"$HOME/calls\"");
    long failures = 0;
    Figures before;
    long firstPeak = 0;
    long lastPeak = 0;
    for (int i = 0; i < times; ++i) {
        int status = 0;
        struct rusage used = {};
        wait4(home.start(), &status, 0, &used);
        failures += status == 0 ? 0 : 1;
        lastPeak = used.ru_maxrss * 1024;
        if (i == 0) {
            before = figures(home.path());
            firstPeak = lastPeak;
        }
    }
    const Figures after = figures(home.path());
    const long calls = lines(home.path() + "/calls");
    int broken = row("upgrades by starts of the program, each with its client started",
                     std::to_string(calls) + ", failed " + std::to_string(failures),
                     calls == times && failures == 0)
                     ? 0
                     : 1;
    broken += verdict("files and folders of the home", before.entries, after.entries, 0);
    broken += verdict("peak of resident bytes, first and last start", firstPeak, lastPeak,
                      residentTolerance);
    broken += verdict("bytes of the log", 0,
                      static_cast<long>(std::filesystem::file_size(
                          home.path() + "/.AldaneTessel/log/launcher.log")),
                      0);
    return broken;
}
