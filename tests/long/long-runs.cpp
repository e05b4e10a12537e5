// What shows only after a long time: a million log lines, thousands of upgrades in one home, a
// thousand simultaneous starts. Prints what it found as a table.
//
//   long-runs INSTALLATION [--share N] [--upgrades N]
//
// INSTALLATION is a tree made by "cmake --install". --share makes the Nth part of everything;
// --upgrades makes N upgrades in one process and nothing else, for a memory checker.
// Exit status 0 when every row holds.
#include "tests/long/runs.h"
#include "ui-client/launcher/texts/strtab.h"

#include <QCoreApplication>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>

namespace {

int runAll(const std::string& installation, const std::string& scratch, int share) {
    puts("| what | found | holds |\n|---|---|---|");
    return logLines(scratch + "/log", 1000000 / share) +
           upgradesInOneProcess(installation, scratch + "/process", 2000 / share) +
           upgradesByStarts(installation, scratch + "/starts", 2000 / share) +
           simultaneousStarts(installation, scratch + "/together", 1000 / share);
}

} // namespace

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv);
    StrTable::InitStrTable();
    if (argc != 2 && argc != 4) {
        fputs("usage: long-runs INSTALLATION [--share N] [--upgrades N]\n", stderr);
        return 2;
    }
    const std::string option = argc == 4 ? argv[2] : "--share";
    const int number = argc == 4 ? atoi(argv[3]) : 1;
    const std::string installation = std::filesystem::absolute(argv[1]);
    char scratch[] = "/tmp/long-runs-XXXXXX"; // a blank would be one too many for start-stop
    if (number < 1 || mkdtemp(scratch) == nullptr) {
        return 2;
    }
    int status = 2;
    try {
        const int broken = option == "--upgrades"
                               ? upgradesInOneProcess(installation, scratch, number)
                               : runAll(installation, scratch, number);
        status = broken == 0 ? 0 : 1;
    } catch (const std::exception& problem) {
        fprintf(stderr, "long-runs: %s\n", problem.what());
    }
    std::filesystem::remove_all(scratch);
    return status;
}
