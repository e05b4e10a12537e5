#include "lib/log.h"
#include "tests/long/figures.h"
#include "tests/long/runs.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>
#include <vector>

#define LOG_SOURCE "long-runs"
#define LOG_COMPONENT "service_debug"

namespace fs = std::filesystem;

namespace {

constexpr int threads = 8;
constexpr int generations = 10000; // more than are needed: none is thrown away
constexpr size_t stampLength = sizeof "Nov 21 03:47:56 " - 1;

// Of many lengths, so that a torn or mixed line does not look like another.
std::string payload(int thread, int line) {
    return std::string(static_cast<size_t>((thread * 37 + line * 11) % 120),
                       static_cast<char>('a' + thread));
}

void writeLines(int thread, int count) {
    for (int line = 0; line < count; ++line) {
        WRITE_LOG(L_ERR, LOG_AT(1, "%d %d %s.\n"), thread, line, payload(thread, line).c_str());
    }
}

/// Reads a log from its oldest file on, and knows which line of each thread comes next.
class Reader {
public:
    void read(const std::string& path) {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);) {
            isNext(line) ? ++m_whole : ++m_broken;
        }
    }
    long whole() const { return m_whole; }
    long broken() const { return m_broken; }

private:
    bool isNext(const std::string& line) {
        int thread = -1;
        if (line.size() < stampLength ||
            sscanf(line.c_str() + stampLength, "[ERROR] long-runs(1): %d ", &thread) != 1 ||
            thread < 0 || thread >= threads) {
            return false;
        }
        int& next = m_next[static_cast<size_t>(thread)];
        const std::string expected = "[ERROR] long-runs(1): " + std::to_string(thread) + " " +
                                     std::to_string(next) + " " + payload(thread, next) + ".";
        ++next;
        return line.compare(stampLength, std::string::npos, expected) == 0;
    }

    std::array<int, threads> m_next = {};
    long m_whole = 0;
    long m_broken = 0;
};

} // namespace

int logLines(const std::string& scratch, int lines) {
    fs::create_directories(scratch);
    const std::string log = scratch + "/launcher.log";
    Logger::Initialize(Logger::FILE_LOGGER, log, "", generations, Logger::ThreadSafe);
    std::vector<std::thread> writers;
    for (int thread = 0; thread < threads; ++thread) {
        writers.emplace_back(&writeLines, thread, lines / threads);
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
    Logger::Destroy();
    int rotations = 0;
    while (fs::exists(log + "_" + std::to_string(rotations))) {
        ++rotations;
    }
    Reader reader;
    for (int n = rotations - 1; n >= 0; --n) {
        reader.read(log + "_" + std::to_string(n));
    }
    reader.read(log);
    const bool all = reader.whole() == lines / threads * threads && reader.broken() == 0;
    return row("lines of eight threads that are whole and in order",
               std::to_string(reader.whole()) + ", broken " + std::to_string(reader.broken()) +
                   ", rotations " + std::to_string(rotations),
               all)
               ? 0
               : 1;
}
