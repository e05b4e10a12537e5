#pragma once

#include <cstddef>
#include <cstring>
#include <iosfwd>
#include <string>

/// One UTF-16 unit: the type of u"" literals and of ICU's texts.
using uchar16_t = char16_t;

template <class Unit>
class TextSide;

/// The string of every path and file name below the user interface: UTF-8, which is what the
/// operating system gets, with a UTF-16 twin for ICU that is built when somebody asks for it.
///
/// The UTF-8 side counts. The UTF-16 side is a cache, valid while its length is not 0; whatever
/// changes the UTF-8 side empties it, and whatever changes the UTF-16 side rebuilds the UTF-8 side
/// at once. Lengths and positions are bytes, not characters. Invalid UTF-8 is kept as it is.
///
/// A pointer argument is never null. It may point into this string's own text, at any offset. Where
/// a number of units comes with it, no NUL needs to follow them; where one comes earlier, the text
/// ends there.
///
/// Every member may throw std::bad_alloc, a length that no buffer can hold included; the string is
/// valid then. Not for concurrent use: c_str_utf16 and normalize write the cache of a const string.
class ustring {
public:
    enum normalization_form { NFC = 0, NFD = 1 };

    /// "Not found", and "up to the end".
    static constexpr size_t npos = static_cast<size_t>(-1);

    ustring();
    ustring(const char* s);
    ustring(const std::string& s);
    ustring(char c);
    ustring(const ustring& other);
    ustring(const uchar16_t* s);
    /// Leaves `other` empty, with buffers of its own: a moved-from string is as good as a new one.
    // NOLINTNEXTLINE(performance-noexcept-move-constructor): `other` needs buffers of its own
    ustring(ustring&& other);
    ~ustring();

    void swap(ustring& other) noexcept;

    const char* c_str() const { return data; }
    const char* c_str_utf8() const { return data; }
    /// The text as UTF-16, good until the string changes. Invalid UTF-8 gives an empty text, and a
    /// warning on standard error.
    const uchar16_t* c_str_utf16() const;
    size_t length() const { return data_len; }
    size_t size() const { return data_len; }
    bool empty() const { return data_len == 0; }

    /// The byte at `index`, unchecked. A write through it leaves the UTF-16 side as it was: callers
    /// rely on the cache surviving.
    char& operator[](size_t index) { return data[index]; }
    const char& operator[](size_t index) const { return data[index]; }
    /// Replaces every byte `from` up to the first NUL; like a write through operator[], it leaves
    /// the UTF-16 side as it was.
    ustring& replace(char from, char to);

    /// Appends the text of `s`, at most `n` bytes of it. \return this string.
    ustring& append(const char* s, size_t n);
    ustring& append(const char* s);
    /// Appends at most `n` bytes of `s` from `pos` on, up to the first NUL.
    /// \throw std::out_of_range where `pos` lies behind the end of `s`.
    ustring& append(const std::string& s, size_t pos = 0, size_t n = npos);
    ustring& append(const ustring& s, size_t pos = 0, size_t n = npos);
    /// Appends `n` times the byte `c`; a NUL counts as a byte here.
    ustring& append(char c, size_t n = 1);
    ustring& operator+=(const char* s) { return append(s); }
    ustring& operator+=(const std::string& s) { return append(s, 0, npos); }
    ustring& operator+=(const ustring& s) { return append(s, 0, npos); }
    ustring& operator+=(char c) { return append(c, 1); }

    /// Replaces the text by what the append of the same arguments would add to an empty string.
    /// Where that append throws, the string is empty; only a part of itself is looked for first.
    ustring& assign(const char* s);
    ustring& assign(const char* s, size_t n);
    ustring& assign(const std::string& s, size_t pos = 0, size_t n = npos);
    ustring& assign(const ustring& s, size_t pos = 0, size_t n = npos);
    ustring& assign(char c, size_t n = 1);
    ustring& operator=(const char* s) { return assign(s); }
    ustring& operator=(const std::string& s) { return assign(s, 0, npos); }
    // NOLINTNEXTLINE(bugprone-unhandled-self-assignment,cert-oop54-cpp): assign sees to it
    ustring& operator=(const ustring& s) { return assign(s, 0, npos); }
    ustring& operator=(char c) { return assign(c, 1); }
    /// Leaves this string's former text in `other`.
    ustring& operator=(ustring&& other) noexcept;

    /// The same on the UTF-16 side: builds it, changes it, and rebuilds the UTF-8 side from it.
    /// Text that was not valid UTF-8 is lost by that; UTF-16 that is not valid leaves the whole
    /// string empty. Either puts a warning on standard error.
    ustring& append(const uchar16_t* s, size_t n);
    ustring& append(const uchar16_t* s);
    ustring& append(uchar16_t c, size_t n = 1);
    ustring& operator+=(const uchar16_t* s) { return append(s); }
    ustring& operator+=(uchar16_t c) { return append(c, 1); }
    ustring& assign(const uchar16_t* s);
    ustring& assign(const uchar16_t* s, size_t n);
    ustring& assign(uchar16_t c, size_t n = 1);
    ustring& operator=(const uchar16_t* s) { return assign(s); }
    ustring& operator=(uchar16_t c) { return assign(c, 1); }

    /// Empties both sides and keeps both buffers.
    void clear();

    /// At most `n` bytes from `pos` on, up to the first NUL.
    /// \throw std::out_of_range ("substr") where `pos` lies behind the end.
    ustring substr(size_t pos = 0, size_t n = npos) const;

    /// The searches. The forward ones start at `pos`, the backward ones at `pos` or at the last
    /// byte, whichever comes first. \return a byte index or npos; always npos from a start at or
    /// behind the end, and in an empty string. An empty text is found at the start; a byte outside
    /// an empty set as well.
    size_t find(const char* s, size_t pos = 0) const;
    size_t rfind(const char* s, size_t pos = npos) const;
    size_t find_first_of(const char* set, size_t pos = 0) const;
    size_t find_first_not_of(const char* set, size_t pos = 0) const;
    size_t find_last_of(const char* set, size_t pos = npos) const;
    size_t find_last_not_of(const char* set, size_t pos = npos) const;

    /// The same with another type of argument; a NUL for `c` is an empty text or set.
    size_t find(char c, size_t pos = 0) const;
    size_t find(const ustring& s, size_t pos = 0) const { return find(s.data, pos); }
    size_t find(const std::string& s, size_t pos = 0) const { return find(s.c_str(), pos); }
    size_t rfind(char c, size_t pos = npos) const;
    size_t rfind(const ustring& s, size_t pos = npos) const { return rfind(s.data, pos); }
    size_t rfind(const std::string& s, size_t pos = npos) const { return rfind(s.c_str(), pos); }
    size_t find_first_of(char c, size_t pos = 0) const { return c == '\0' ? npos : find(c, pos); }
    size_t find_first_of(const ustring& set, size_t pos = 0) const {
        return find_first_of(set.data, pos);
    }
    size_t find_first_of(const std::string& set, size_t pos = 0) const {
        return find_first_of(set.c_str(), pos);
    }
    size_t find_first_not_of(char c, size_t pos = 0) const {
        return find_first_not_of(Single(c).text, pos);
    }
    size_t find_first_not_of(const ustring& set, size_t pos = 0) const {
        return find_first_not_of(set.data, pos);
    }
    size_t find_first_not_of(const std::string& set, size_t pos = 0) const {
        return find_first_not_of(set.c_str(), pos);
    }
    size_t find_last_of(char c, size_t pos = npos) const {
        return c == '\0' ? npos : rfind(c, pos);
    }
    size_t find_last_of(const ustring& set, size_t pos = npos) const {
        return find_last_of(set.data, pos);
    }
    size_t find_last_of(const std::string& set, size_t pos = npos) const {
        return find_last_of(set.c_str(), pos);
    }
    size_t find_last_not_of(char c, size_t pos = npos) const {
        return find_last_not_of(Single(c).text, pos);
    }
    size_t find_last_not_of(const ustring& set, size_t pos = npos) const {
        return find_last_not_of(set.data, pos);
    }
    size_t find_last_not_of(const std::string& set, size_t pos = npos) const {
        return find_last_not_of(set.c_str(), pos);
    }

    /// Drop the bytes of `set` from the right, the left, both ends. The buffer keeps its size.
    ustring& rtrim(const char* set = " \t\n\v\f\r");
    ustring& ltrim(const char* set = " \t\n\v\f\r");
    ustring& trim(const char* set = " \t\n\v\f\r");
    ustring& rtrim(const ustring& set) { return rtrim(set.data); }
    ustring& ltrim(const ustring& set) { return ltrim(set.data); }
    ustring& trim(const ustring& set) { return trim(set.data); }

    /// Compares at most the first `n` bytes, up to the end of the text.
    /// \return the first differing byte of this string minus that of `other`, both as unsigned
    /// values; 0 where none differs.
    int compare(const ustring& other, size_t n) const;
    int compare(const ustring& other) const { return compare(*this, other, false); }
    /// \param ignoreCase takes A to Z for a to z, and tells all other bytes apart.
    /// \return the first differing byte of `a` minus that of `b`; 0 where none differs.
    static int compare(const ustring& a, const ustring& b, bool ignoreCase);

    /// The text in a normalisation form; empty, and a warning on standard error, where ICU fails.
    static ustring normalize(const ustring& src, normalization_form form);
    ustring normalize(normalization_form form) const { return normalize(*this, form); }
    /// False only where the text is not UTF-8.
    static bool is_valid(const ustring& s);

private:
    struct Unallocated {};
    struct Single {
        explicit Single(char c) : text{c, '\0'} {}
        const char text[2];
    };

    // Makes an object that the destructor can release, should init() run out of memory.
    explicit ustring(Unallocated) noexcept {}
    void init(size_t room = 4);
    void init_with(const char* s, size_t n);
    TextSide<char> utf8();
    TextSide<uchar16_t> utf16() const;
    void clear_data();
    void clear_wdata() const;
    void realloc_data(size_t need);
    void realloc_wdata(size_t need) const;
    int convert_from_data() const;
    int convert_from_wdata();
    bool build_wdata() const;
    const char* tail(size_t pos) const;
    void keep(size_t first, size_t last);

    char* data = nullptr; // owned; NUL-terminated at data_len
    size_t data_len = 0;
    size_t data_cap = 0;                // bytes
    mutable uchar16_t* wdata = nullptr; // owned; NUL-terminated at wdata_len
    mutable size_t wdata_len = 0;       // 0 with data_len > 0: not built yet
    mutable size_t wdata_cap = 0;       // units
};

inline void swap(ustring& a, ustring& b) noexcept {
    a.swap(b);
}

// The signs of compare(a, b, false), which the C library answers without looking for the place.
inline bool operator<(const ustring& a, const ustring& b) {
    return strcmp(a.c_str(), b.c_str()) < 0;
}
inline bool operator>(const ustring& a, const ustring& b) {
    return strcmp(a.c_str(), b.c_str()) > 0;
}
inline bool operator==(const ustring& a, const ustring& b) {
    return strcmp(a.c_str(), b.c_str()) == 0;
}
inline bool operator!=(const ustring& a, const ustring& b) {
    return !(a == b);
}
// An equal pair answers false from both <= and >=: callers rely on it.
inline bool operator<=(const ustring& a, const ustring& b) {
    return b > a;
}
inline bool operator>=(const ustring& a, const ustring& b) {
    return b < a;
}

ustring operator+(const ustring& left, const ustring& right);
ustring operator+(const ustring& left, const char* right);
ustring operator+(const ustring& left, char right);
ustring operator+(const ustring& left, const uchar16_t* right);
ustring operator+(const ustring& left, uchar16_t right);

/// Writes the UTF-8 text.
std::ostream& operator<<(std::ostream& out, const ustring& s);
/// Reads one word, up to white space; where there is none, `s` becomes empty.
std::istream& operator>>(std::istream& in, ustring& s);
