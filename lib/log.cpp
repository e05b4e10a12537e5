#include "lib/log.h"

#include "lib/config.h"
#include "lib/errno_guard.h"

#include <sys/stat.h>
#include <syslog.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <new>
#include <sstream>

std::map<std::string, int> Logger::log_level;
// The type says standard output, the stream is standard error: that mismatch is meant.
Logger::Type Logger::log_type = Logger::STDOUT_LOGGER;
FILE* Logger::log_fp = stderr;
int* Logger::log_size = nullptr;
int Logger::rotate_cnt = 50;
std::string Logger::log_path;
pthread_mutex_t* Logger::log_lock = nullptr;
int Logger::log_flock = -1;
Logger::SafetyScope Logger::safety_scope = Logger::ThreadSafe;
uint64_t* Logger::log_rotated_count_shared = nullptr;
uint64_t Logger::log_rotated_count_private = 0;
bool Logger::log_initialized = true;

namespace {

constexpr int max_file_bytes = 1024 * 1024;

struct LoggerLock {
    LoggerLock() { Logger::Lock(); }
    ~LoggerLock() { Logger::Unlock(); }
    LoggerLock(const LoggerLock&) = delete;
    LoggerLock& operator=(const LoggerLock&) = delete;
};

// To open one for writing is to wait for a reader, for ever where none comes.
bool is_fifo(const std::string& path) {
    struct stat info = {};
    return stat(path.c_str(), &info) == 0 && S_ISFIFO(info.st_mode);
}

// A value that does not start with a number leaves 0: that component logs L_EMERG alone.
int parse_level(const std::string& text) {
    int level = 0;
    std::istringstream(text) >> level;
    return level;
}

} // namespace

int Logger::Initialize(Type type, const std::string& path, const std::string& levelFile,
                       int rotateCount, SafetyScope scope) {
    DestroySharedData();
    DestroyLock();
    log_initialized = false;
    log_path = path;
    safety_scope = type == FILE_LOGGER ? scope : NonSafe;
    InitializeLock();
    InitializeSharedData();
    if (log_size == nullptr || log_rotated_count_shared == nullptr) {
        return -1;
    }
    LoadLevels(levelFile);
    log_type = type;
    if (type == SYSLOG_LOGGER || type == STDOUT_LOGGER || type == STDERR_LOGGER) {
        UseStandardStream();
    } else if (!OpenLogFile(path, rotateCount)) {
        return -1;
    }
    *log_rotated_count_shared = 0;
    log_rotated_count_private = 0;
    log_initialized = true;
    return 0;
}

void Logger::LoadLevels(const std::string& levelFile) {
    // Only a caller that names this component itself sees it: it is no fallback for the others.
    log_level["default_component"] = L_WARNING;
    if (levelFile.empty()) {
        return;
    }
    Config levels;
    levels.read(levelFile);
    for (const auto& [component, level] : levels) {
        log_level[component] = parse_level(level);
    }
}

void Logger::UseStandardStream() {
    log_fp = nullptr;
    if (log_type == STDOUT_LOGGER) {
        log_fp = stdout;
    } else if (log_type == STDERR_LOGGER) {
        log_fp = stderr;
    }
    log_path.clear();
    *log_size = -1;
}

bool Logger::OpenLogFile(const std::string& path, int rotateCount) {
    if (path.empty() || is_fifo(path)) {
        return false;
    }
    FILE* const file = fopen(path.c_str(), "ae");
    if (file == nullptr) {
        return false;
    }
    log_fp = file;
    rotate_cnt = rotateCount;
    *log_size = GetFileSize(path);
    return true;
}

void Logger::Destroy() {
    log_initialized = false;
    if (log_type == FILE_LOGGER) {
        if (log_fp != nullptr) {
            fclose(log_fp);
        }
        // The type says standard error, the stream is standard output: that mismatch is meant.
        log_type = STDERR_LOGGER;
        log_fp = stdout;
        log_path.clear();
        rotate_cnt = 32;
    }
    DestroySharedData();
    DestroyLock();
}

void Logger::LogMsg(Level level, const std::string& component, const char* format, ...) {
    va_list args;
    va_start(args, format);
    LogMsg2(level, component, format, args);
    va_end(args);
}

void Logger::LogMsg2(Level level, const std::string& component, const char* format, va_list args) {
    if (!IsNeedToLog(level, component)) {
        return;
    }
    const ErrnoGuard keep_errno;
    const LoggerLock lock;
    // Under the lock: the stream is null for a moment while another thread rotates, and a look
    // without the lock would lose this line.
    if (log_type != SYSLOG_LOGGER && log_fp == nullptr) {
        return;
    }
    ReloadLogFile();
    int written = 0;
    if (log_type == SYSLOG_LOGGER) {
        vsyslog(LOG_ERR, format, args); // one priority for every level
    } else if (log_type >= STDOUT_LOGGER && log_type <= FILE_LOGGER) {
        written = PrintToFilePointerV(format, args);
    } else {
        vfprintf(stderr, format, args);
    }
    RotateIfFileBig(written);
}

bool Logger::IsNeedToLog(Level level, const std::string& component) {
    return log_initialized && level <= GetCompLevel(component);
}

int Logger::GetCompLevel(const std::string& component) {
    const auto found = log_level.find(component);
    return found == log_level.end() ? L_WARNING : found->second;
}

int Logger::PrintToFilePointer(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int written = PrintToFilePointerV(format, args);
    va_end(args);
    return written;
}

int Logger::PrintToFilePointerV(const char* format, va_list args) {
    if (log_fp == nullptr) {
        return 0;
    }
    const time_t now = time(nullptr);
    struct tm local = {};
    localtime_r(&now, &local);
    char stamp[512];
    const size_t length = strftime(stamp, sizeof stamp, "%b %d %H:%M:%S ", &local);
    // Counts and fails like fprintf("%s"), at a third of its price.
    int written = fwrite(stamp, 1, length, log_fp) == length ? static_cast<int>(length) : -1;
    written += vfprintf(log_fp, format, args);
    fflush(log_fp);
    return written;
}

int Logger::GetFileSize(const std::string& path) {
    struct stat info = {};
    if (stat(path.c_str(), &info) != 0) {
        const int error = errno;
        PrintToFilePointer("stat(%s): %s (%d)\n", path.c_str(), strerror(error), error);
        return 0;
    }
    return static_cast<int>(info.st_size);
}

int Logger::RotateIfFileBig(int bytesWritten) {
    if (log_type != FILE_LOGGER || bytesWritten < 0) {
        return 0;
    }
    // Summed in 64 bits: the count of a file just below 2 GiB must not overflow.
    const int64_t bytes = int64_t{*log_size} + bytesWritten;
    if (bytes <= max_file_bytes) {
        *log_size = static_cast<int>(bytes);
        return 0;
    }
    const int result = Rotate();
    *log_size = 0;
    return result;
}

void Logger::InitializeLock() {
    InitializeFileLock();
    if (safety_scope >= ThreadSafe && log_lock == nullptr) {
        log_lock = new (std::nothrow) pthread_mutex_t;
        if (log_lock != nullptr) {
            pthread_mutex_init(log_lock, nullptr);
        }
    }
}

void Logger::DestroyLock() {
    if (log_lock != nullptr) {
        pthread_mutex_destroy(log_lock);
        delete log_lock;
        log_lock = nullptr;
    }
    DestroyFileLock();
}

void Logger::Lock() {
    if (log_lock != nullptr) {
        pthread_mutex_lock(log_lock);
    }
}

void Logger::Unlock() {
    if (log_lock != nullptr) {
        pthread_mutex_unlock(log_lock);
    }
}

void Logger::InitializeFileLock() {}

void Logger::DestroyFileLock() {}

void Logger::InitializeSharedData() {
    if (log_size != nullptr && log_rotated_count_shared != nullptr) {
        return;
    }
    // One missing cell makes both anew.
    DestroySharedData();
    log_size = new (std::nothrow) int(0);
    log_rotated_count_shared = new (std::nothrow) uint64_t(0);
}

void Logger::DestroySharedData() {
    delete log_size;
    log_size = nullptr;
    delete log_rotated_count_shared;
    log_rotated_count_shared = nullptr;
}

void LogMSG_c(int level, const char* component, const char* format, va_list args) {
    Logger::LogMsg2(static_cast<Logger::Level>(level), std::string(component), format, args);
}
