#pragma once

#include <map>
#include <string>

/// Reader of flat key=value files: the client's pid file and the logger's level switch file.
/// Owned by its caller, reports by result only and logs nothing, since the logger itself uses it.
/// One thread at a time.
class Config {
public:
    using iterator = std::map<std::string, std::string>::iterator;
    using const_iterator = std::map<std::string, std::string>::const_iterator;

    /// Parses the file at `path` (UTF-8 bytes) into the map; keys that are already there stay
    /// unless the file sets them again.
    /// \return 0 read; -1 an empty path, a file that does not open (nor does a FIFO or a device
    /// without an end), or a malformed line, which empties the whole map.
    int read(const std::string& path);

    /// Parses one NUL-terminated line, which is cut in place.
    /// \param length ignored; kept for its callers.
    /// \return 0 an entry, in `key` and `value`; 1 blank or comment; 2 syntax error.
    int parse(char* line, int length, std::string& key, std::string& value);

    /// The value of `key`; an absent key is inserted with an empty value, so both read alike.
    std::string& operator[](const std::string& key) { return store[key]; }

    /// When true, a quoted value keeps its quotes. False from the start.
    void set_preserve(bool keep) { preserve = keep; }

    /// The entries in byte order of their keys.
    iterator begin() { return store.begin(); }
    iterator end() { return store.end(); }
    const_iterator begin() const { return store.begin(); }
    const_iterator end() const { return store.end(); }

    static bool is_key_char(unsigned char byte);
    static bool is_value_char(unsigned char byte);
    static bool is_space(unsigned char byte);

private:
    static char* skip_spaces(char* cursor);
    static char* skip_key(char* cursor);

    std::map<std::string, std::string> store;
    bool preserve = false;
};
