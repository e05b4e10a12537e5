#include "lib/log.h"

namespace {

// The name of generation `number`, formatted as the log's readers expect it.
class Generation {
public:
    Generation(const std::string& path, int number)
        : m_length(snprintf(m_name, sizeof m_name, "%s_%d", path.c_str(), number)) {}
    const char* c_str() const { return m_name; }
    bool fits() const { return m_length >= 0 && m_length < static_cast<int>(sizeof m_name); }

private:
    char m_name[1024] = {};
    int m_length;
};

} // namespace

int Logger::Rotate() {
    // No generation has a longer name. One that was cut short may be somebody else's file: nothing
    // is moved or removed then, and the live file goes on growing.
    const Generation oldest(log_path, rotate_cnt - 1);
    if (!oldest.fits()) {
        return -1;
    }
    for (int i = rotate_cnt - 2; i >= 0; --i) {
        rename(Generation(log_path, i).c_str(), Generation(log_path, i + 1).c_str());
    }
    // Removes what the loop has just moved here, so rotate_cnt also counts the live file: 50 keeps
    // 49 old ones.
    remove(oldest.c_str());
    fclose(log_fp);
    log_fp = nullptr;
    if (rename(log_path.c_str(), Generation(log_path, 0).c_str()) != 0) {
        return -1;
    }
    log_fp = fopen(log_path.c_str(), "ae");
    if (log_fp == nullptr) {
        return -1;
    }
    ++*log_rotated_count_shared;
    ++log_rotated_count_private;
    return 0;
}

void Logger::ReloadLogFile() {
    if (log_type != FILE_LOGGER || safety_scope != ProcessSafe ||
        *log_rotated_count_shared == log_rotated_count_private) {
        return;
    }
    if (log_fp != nullptr) {
        fclose(log_fp);
    }
    log_fp = fopen(log_path.c_str(), "ae");
    if (log_fp == nullptr) {
        return;
    }
    *log_size = GetFileSize(log_path);
    log_rotated_count_private = *log_rotated_count_shared;
}
