#pragma once

#include <pthread.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>

#define LOG_TAG_L_ERR "[ERROR] " // one per level; L_NOTICE is "[NOTE] "
#define LOG_TAG_L_WARNING "[WARNING] "
#define LOG_TAG_L_NOTICE "[NOTE] "
#define LOG_TAG_L_INFO "[INFO] "
#define LOG_TAG_L_DEBUG "[DEBUG] "

#define LOG_AT(line, text)                                                                         \
    LOG_SOURCE "(%d): " text, line            // a fixed number: main, launcher, extractor
#define LOG_HERE(text) LOG_AT(__LINE__, text) // this source line: everywhere else

/// Writes one line if its component logs at `level`; otherwise the arguments are not evaluated.
/// A source names itself once, after its includes: LOG_SOURCE in the line, LOG_COMPONENT in the
/// level table.
#define WRITE_LOG(level, ...)                                                                      \
    do {                                                                                           \
        if (Logger::IsNeedToLog(Logger::level, LOG_COMPONENT)) {                                   \
            Logger::LogMsg(Logger::level, LOG_COMPONENT, LOG_TAG_##level __VA_ARGS__);             \
        }                                                                                          \
    } while (0)

/// The process-wide diagnostic log: one output, one level per component, rotation by size.
/// Never instantiated. Initialize and Destroy run while no other thread logs; everything else may
/// be called from any thread once a ThreadSafe output is set up. Before Initialize, warnings and
/// worse go to standard error with their time.
class Logger {
public:
    // The underlying types are fixed, so that any number a caller hands in is a valid value.
    enum Type : int {
        ANDROID_LOGGER = 0, // standard error without time stamps, although a file is opened
        SYSLOG_LOGGER = 1,
        STDOUT_LOGGER = 2,
        STDERR_LOGGER = 3,
        FILE_LOGGER = 4
    };
    enum Level : int {
        L_EMERG = 0,
        L_ALERT = 1,
        L_CRIT = 2,
        L_ERR = 3,
        L_WARNING = 4,
        L_NOTICE = 5,
        L_INFO = 6,
        L_DEBUG = 7
    };
    enum SafetyScope {
        NonSafe = 0,
        ThreadSafe = 1, // one mutex around every write and rotation
        ProcessSafe = 2 // the mutex, and the file is opened anew once somebody else rotated it
    };

    /// Sets the output up. Blocks on the disk.
    /// \param path the log file; needed by FILE_LOGGER and ANDROID_LOGGER, dropped by the others.
    /// \param levelFile key=value lines, component and level; empty or missing adds nothing.
    /// \param rotateCount file generations, the live one counted.
    /// \param scope in force for FILE_LOGGER alone.
    /// \return 0; -1 no memory, an empty path, or a file that does not open: logging is then off.
    /// A stream that an earlier call opened stays open.
    static int Initialize(Type type, const std::string& path, const std::string& levelFile,
                          int rotateCount, SafetyScope scope);
    /// Turns logging off and gives lock and counters back; the level table stays.
    static void Destroy();

    /// Writes one message, printf-style; `format` brings tag, source, line number and line feed.
    /// errno is on return what it was before.
    static void LogMsg(Level level, const std::string& component, const char* format, ...)
        __attribute__((format(printf, 3, 4)));
    static void LogMsg2(Level level, const std::string& component, const char* format, va_list args)
        __attribute__((format(printf, 3, 0)));
    static bool IsNeedToLog(Level level, const std::string& component);
    /// The level of a component; L_WARNING where the table does not name it.
    static int GetCompLevel(const std::string& component);

    /// Moves the live file to generation 0 and opens a new one; the caller holds the lock.
    /// \return 0; -1 the file could not be renamed or opened: every later message is dropped; -1
    /// also where a generation's name exceeds 1023 bytes: then nothing is touched and logging goes
    /// on.
    static int Rotate();
    /// Adds to the file's byte count and rotates past 1 MiB. \return 0, or what Rotate answered.
    static int RotateIfFileBig(int bytesWritten);
    /// Opens the file anew when the shared rotation counter has moved on (ProcessSafe only).
    static void ReloadLogFile();
    /// Bytes of a file, cut to 32 bits; 0, and a line in the log, where stat fails.
    static int GetFileSize(const std::string& path);

    /// Write one time-stamped line to the current stream, without lock or level test.
    /// \return bytes written; 0 without a stream.
    static int PrintToFilePointer(const char* format, ...) __attribute__((format(printf, 1, 2)));
    static int PrintToFilePointerV(const char* format, va_list args)
        __attribute__((format(printf, 1, 0)));

    static void InitializeLock();
    static void DestroyLock();
    static void Lock();
    static void Unlock();
    static void InitializeFileLock(); // placeholder: no file is ever locked
    static void DestroyFileLock();    // placeholder, likewise
    static void InitializeSharedData();
    static void DestroySharedData();

private:
    static void LoadLevels(const std::string& levelFile);
    static void UseStandardStream();
    static bool OpenLogFile(const std::string& path, int rotateCount);

    // The initial values matter: they make logging work before, and without, Initialize.
    static std::map<std::string, int> log_level;
    static Type log_type;
    static FILE* log_fp;  // null for the system log, and after a failed rotation
    static int* log_size; // bytes in the live file, time stamps included; null before Initialize
    static int rotate_cnt;
    static std::string log_path;
    static pthread_mutex_t* log_lock;
    static int log_flock; // never used
    static SafetyScope safety_scope;
    // Heap cells behind pointers, so that they could lie in memory shared between processes.
    static uint64_t* log_rotated_count_shared;
    static uint64_t log_rotated_count_private;
    static bool log_initialized;
};

/// Plain-function entry point for callers that do not use the class.
void LogMSG_c(int level, const char* component, const char* format, va_list args)
    __attribute__((format(printf, 3, 0)));
