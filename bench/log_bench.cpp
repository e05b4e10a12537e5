// A log line beside what any such line must do, a suppressed one beside spdlog's, and eight threads
// beside one.

#include "bench/allocations.h"
#include "lib/log.h"

#include <benchmark/benchmark.h>
#include <spdlog/sinks/null_sink.h>
#include <spdlog/spdlog.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>

#define LOG_SOURCE "log_bench"
#define LOG_COMPONENT "service_debug"

namespace {

const std::string& folder() {
    static const std::string path = [] {
        const char* const temporary = getenv("TMPDIR");
        std::string name(temporary != nullptr ? temporary : "/tmp");
        name += "/log-bench-XXXXXX";
        return std::string(mkdtemp(name.data()) != nullptr ? name : ".");
    }();
    return path;
}

void open_logger() {
    static const int result =
        Logger::Initialize(Logger::FILE_LOGGER, folder() + "/log", "", 50, Logger::ThreadSafe);
    if (result != 0) {
        abort();
    }
}

// Rotation is part of the logger's work and no part of the other's: both start from an empty file.
void written_by_hand(benchmark::State& state) {
    FILE* const file = fopen((folder() + "/hand").c_str(), "ae");
    for (auto _ : state) {
        const time_t now = time(nullptr);
        tm local = {};
        localtime_r(&now, &local);
        char stamp[512];
        strftime(stamp, sizeof stamp, "%b %d %H:%M:%S ", &local);
        fprintf(file, "%s", stamp);
        fprintf(file, "[ERROR] log_bench(%d): failed to create folder: '%s'\n", __LINE__,
                "/home/user/.AldaneTessel");
        fflush(file);
    }
    fclose(file);
}

void written_by_logger(benchmark::State& state) {
    open_logger();
    for (auto _ : state) {
        WRITE_LOG(L_ERR, LOG_HERE("failed to create folder: '%s'\n"), "/home/user/.AldaneTessel");
    }
}

void suppressed_by_spdlog(benchmark::State& state) {
    static const auto logger = spdlog::null_logger_mt("bench");
    logger->set_level(spdlog::level::warn);
    for (auto _ : state) {
        logger->debug("copy from '{}' to '{}'", "/a", "/b");
        benchmark::ClobberMemory();
    }
}

void suppressed_by_logger(benchmark::State& state) {
    open_logger();
    const long before = allocations;
    for (auto _ : state) {
        WRITE_LOG(L_DEBUG, LOG_HERE("copy from '%s' to '%s'\n"), "/a", "/b");
        benchmark::ClobberMemory();
    }
    state.SetLabel(std::to_string(allocations - before));
}

void written_by_threads(benchmark::State& state) {
    open_logger();
    for (auto _ : state) {
        WRITE_LOG(L_ERR, LOG_HERE("failed to create folder: '%s'\n"), "/home/user/.AldaneTessel");
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(written_by_hand);
BENCHMARK(written_by_logger);
BENCHMARK(suppressed_by_spdlog);
BENCHMARK(suppressed_by_logger);
BENCHMARK(written_by_threads)->Threads(1)->UseRealTime();
BENCHMARK(written_by_threads)->Threads(8)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
