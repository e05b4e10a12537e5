#include "lib/config.h"

#include "lib/endless.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

namespace {

struct FileClose {
    void operator()(FILE* file) const { fclose(file); }
};
using FilePtr = std::unique_ptr<FILE, FileClose>;

// As fopen(path, "r"), with which a folder opens and reads as empty; but what has no end does not.
FilePtr open_for_reading(const char* path) {
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        return nullptr;
    }
    struct stat info = {};
    const bool finite = fstat(fd, &info) == 0 && !is_endless(info);
    FILE* const file = finite ? fdopen(fd, "r") : nullptr;
    if (file == nullptr) {
        close(fd);
    }
    return FilePtr(file);
}

} // namespace

int Config::read(const std::string& path) {
    const FilePtr file = path.empty() ? nullptr : open_for_reading(path.c_str());
    if (!file) {
        return -1;
    }
    char line[8192];
    while (fgets(line, sizeof line, file.get()) != nullptr) {
        std::string key;
        std::string value;
        const int outcome = parse(line, sizeof line, key, value);
        if (outcome == 2) {
            // Half a file is worse than none: nothing of it, nor of an earlier one, stays.
            store.clear();
            return -1;
        }
        if (outcome == 0) {
            store[key] = value;
        }
    }
    return 0;
}

int Config::parse(char* line, int /*length*/, std::string& key, std::string& value) {
    char* const key_begin = skip_spaces(line);
    char* const key_end = skip_key(key_begin);
    // A key with "#" right behind it makes the whole line a comment; that is meant.
    if (*key_end == '#' || *key_end == '\0') {
        return 1;
    }
    char* cursor = skip_spaces(key_end);
    if (*cursor != '=') {
        return 2;
    }
    cursor = skip_spaces(cursor + 1);
    if (*cursor == '\0') {
        return 2;
    }
    const bool quoted = *cursor == '"' || *cursor == '\'';
    const char delimiter = quoted ? *cursor++ : ' ';
    char* const value_begin = cursor;
    while (is_value_char(static_cast<unsigned char>(*cursor)) && *cursor != delimiter) {
        ++cursor;
    }
    char* const value_end = cursor;
    if (quoted && *cursor++ != delimiter) {
        return 2;
    }
    cursor = skip_spaces(cursor);
    if (*cursor != '\0' && *cursor != '#') {
        return 2;
    }
    *key_end = '\0';
    *value_end = '\0';
    key = key_begin;
    value = value_begin;
    if (preserve && quoted) {
        value = delimiter + value + delimiter;
    }
    return 0;
}

char* Config::skip_spaces(char* cursor) {
    while (is_space(static_cast<unsigned char>(*cursor))) {
        ++cursor;
    }
    return cursor;
}

char* Config::skip_key(char* cursor) {
    while (is_key_char(static_cast<unsigned char>(*cursor))) {
        ++cursor;
    }
    return cursor;
}

bool Config::is_key_char(unsigned char byte) {
    return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
           (byte >= 'a' && byte <= 'z') || byte == '-' || byte == '_' || byte == '.';
}

bool Config::is_value_char(unsigned char byte) {
    return byte >= 32 && byte != 127;
}

bool Config::is_space(unsigned char byte) {
    return (byte >= 9 && byte <= 13) || byte == ' ';
}
