#include "tests/long/figures.h"

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace {

template <class Iterator>
long count(const std::string& folder) {
    return static_cast<long>(std::distance(Iterator(folder), Iterator()));
}

long residentBytes() {
    long size = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> size >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

} // namespace

Figures figures(const std::string& folder) {
    Figures found;
    found.entries = count<fs::recursive_directory_iterator>(folder);
    found.descriptors = count<fs::directory_iterator>("/proc/self/fd");
    found.heap = static_cast<long>(mallinfo2().uordblks);
    found.resident = residentBytes();
    return found;
}

bool row(const std::string& name, const std::string& found, bool holds) {
    printf("| %s | %s | %s |\n", name.c_str(), found.c_str(), holds ? "yes" : "NO");
    fflush(stdout);
    return holds;
}

std::string fromTo(long before, long after) {
    return std::to_string(before) + " -> " + std::to_string(after);
}
