#include "lib/ustring/ustring.h"

#include "lib/ustring/text_side.h"

#include <istream>
#include <ostream>
#include <stdexcept>
#include <utility>

TextSide<char> ustring::utf8() {
    return {data, data_len, data_cap};
}

TextSide<uchar16_t> ustring::utf16() const {
    return {wdata, wdata_len, wdata_cap};
}

void ustring::realloc_data(size_t need) {
    utf8().resize(need);
}

void ustring::realloc_wdata(size_t need) const {
    utf16().resize(need);
}

void ustring::clear_data() {
    utf8().terminate(0);
}

void ustring::clear_wdata() const {
    utf16().terminate(0);
}

ustring::ustring() : ustring(Unallocated()) {
    init();
}

ustring::ustring(const char* s) : ustring(Unallocated()) {
    init_with(s, strlen(s));
}

ustring::ustring(const std::string& s) : ustring(s.c_str()) {}

ustring::ustring(char c) : ustring() {
    assign(c, 1);
}

ustring::ustring(const ustring& other) : ustring(Unallocated()) {
    init_with(other.data, strnlen(other.data, other.data_len));
}

ustring::ustring(const uchar16_t* s) : ustring() {
    assign(s);
}

// NOLINTNEXTLINE(performance-noexcept-move-constructor): `other` needs buffers of its own
ustring::ustring(ustring&& other) : ustring() {
    swap(other);
}

// Freed pointers do not stay behind. The writes are volatile, or the optimiser would drop them as
// the last ones of an object that ends.
ustring::~ustring() {
    free(data);
    free(wdata);
    *const_cast<char* volatile*>(&data) = nullptr;
    *const_cast<uchar16_t* volatile*>(&wdata) = nullptr;
}

// Both buffers start with room for four.
void ustring::init(size_t room) {
    data = nullptr;
    data_cap = 0;
    wdata = nullptr;
    wdata_cap = 0;
    realloc_data(std::max<size_t>(room, 4));
    realloc_wdata(4);
    clear();
}

// A longer text gets its room at once: growing into it would cost half as much again.
void ustring::init_with(const char* s, size_t n) {
    init(n + 1);
    utf8().append_other(s, n);
}

void ustring::swap(ustring& other) noexcept {
    std::swap(data, other.data);
    std::swap(data_len, other.data_len);
    std::swap(data_cap, other.data_cap);
    std::swap(wdata, other.wdata);
    std::swap(wdata_len, other.wdata_len);
    std::swap(wdata_cap, other.wdata_cap);
}

void ustring::clear() {
    clear_data();
    clear_wdata();
}

ustring& ustring::replace(char from, char to) {
    std::replace(data, data + strnlen(data, data_len), from, to);
    return *this;
}

ustring& ustring::append(const char* s, size_t n) {
    clear_wdata();
    TextSide<char> side = utf8();
    if (side.owns(s)) {
        side.append(s, side.taken_from(s, n));
    } else {
        side.append_other(s, strnlen(s, n));
    }
    return *this;
}

ustring& ustring::append(const char* s) {
    return append(s, npos);
}

ustring& ustring::append(const std::string& s, size_t pos, size_t n) {
    if (pos == 0 && n >= s.size()) {
        return append(s.c_str(), s.size());
    }
    return append(s.substr(pos, n).c_str());
}

ustring& ustring::append(const ustring& s, size_t pos, size_t n) {
    // Not the general append: of the own text, too, a part ends with its first NUL.
    const char* const part = s.tail(pos);
    clear_wdata();
    utf8().append(part, strnlen(part, std::min(n, s.data_len - pos)));
    return *this;
}

ustring& ustring::append(char c, size_t n) {
    clear_wdata();
    utf8().append(c, n);
    return *this;
}

ustring& ustring::assign(const char* s) {
    if (s != data) {
        clear();
        append(s);
    }
    return *this;
}

ustring& ustring::assign(const char* s, size_t n) {
    if (s != data) {
        clear();
        append(s, n);
    } else if (n < data_len) {
        keep(0, n);
    }
    return *this;
}

ustring& ustring::assign(const std::string& s, size_t pos, size_t n) {
    clear();
    return append(s, pos, n);
}

ustring& ustring::assign(const ustring& s, size_t pos, size_t n) {
    if (&s == this) {
        return assign(s.substr(pos, n), 0, npos);
    }
    clear();
    return append(s, pos, n);
}

ustring& ustring::assign(char c, size_t n) {
    clear();
    return append(c, n);
}

ustring& ustring::operator=(ustring&& other) noexcept {
    swap(other);
    return *this;
}

ustring ustring::substr(size_t pos, size_t n) const {
    const char* const begin = tail(pos);
    ustring part{Unallocated()};
    part.init_with(begin, strnlen(begin, std::min(n, data_len - pos)));
    return part;
}

const char* ustring::tail(size_t pos) const {
    if (pos > data_len) {
        throw std::out_of_range("substr");
    }
    return data + pos;
}

// The bytes from `first` up to `last` become the text.
void ustring::keep(size_t first, size_t last) {
    if (last - first < data_len) {
        memmove(data, data + first, last - first);
        utf8().terminate(last - first);
        clear_wdata();
    }
}

namespace {

template <class Right>
ustring joined(const ustring& left, const Right& right) {
    ustring result(left);
    result += right;
    return result;
}

} // namespace

ustring operator+(const ustring& left, const ustring& right) {
    return joined(left, right);
}

ustring operator+(const ustring& left, const char* right) {
    return joined(left, right);
}

ustring operator+(const ustring& left, char right) {
    return joined(left, right);
}

ustring operator+(const ustring& left, const uchar16_t* right) {
    return joined(left, right);
}

ustring operator+(const ustring& left, uchar16_t right) {
    return joined(left, right);
}

std::ostream& operator<<(std::ostream& out, const ustring& s) {
    return out << s.c_str(); // which sets the bad bit for a null text
}

std::istream& operator>>(std::istream& in, ustring& s) {
    std::string word;
    in >> word;
    s.assign(word, 0, ustring::npos);
    return in;
}
