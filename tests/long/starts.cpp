#include "tests/long/figures.h"
#include "tests/long/home.h"
#include "tests/long/runs.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

namespace {

constexpr int together = 10;
constexpr unsigned patience = 300; // seconds; a second primary would wait for ever, as the first

/// Waits for `count` of this process's children. \return how many ended with 0.
int ended(int count) {
    int well = 0;
    for (int i = 0; i < count; ++i) {
        int status = 0;
        well += wait(&status) > 0 && status == 0 ? 1 : 0;
    }
    return well;
}

long lines(const std::string& path) {
    std::ifstream file(path);
    return std::count(std::istreambuf_iterator<char>(file), {}, '\n');
}

} // namespace

int simultaneousStarts(const std::string& installation, const std::string& scratch, int starts) {
    // The primary's client holds it until all others have seen it and ended.
    const Home home(installation, scratch,
                    "echo \"$1\" >>\"$HOME/calls\"\n"
                    "while [ -d \"$HOME\" ] && [ ! -e \"$HOME/go\" ]; do sleep 0.01; done");
    const std::string go = home.path() + "/go";
    int well = 0;
    long rounds = 0;
    bool onePrimaryEach = true;
    for (int started = 0; started < starts; started += together) {
        alarm(patience);
        std::filesystem::remove(go);
        for (int i = 0; i < together; ++i) {
            home.start();
        }
        well += ended(together - 1);
        std::ofstream(go).close();
        well += ended(1);
        ++rounds;
        onePrimaryEach = onePrimaryEach && lines(home.path() + "/calls") == rounds;
    }
    alarm(0);
    const long primaries = lines(home.path() + "/calls");
    return row("simultaneous starts, ten at a time: primaries, and all that ended well",
               std::to_string(primaries) + " in " + std::to_string(rounds) + " rounds, " +
                   std::to_string(well) + " of " + std::to_string(starts),
               onePrimaryEach && well == starts)
               ? 0
               : 1;
}
