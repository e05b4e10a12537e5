#include "lib/ustring/ustring.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace {

// The number of bytes, up to `n`, that `a` and `b` have in common from their start. The libraries'
// own comparisons tell which is less, not where they differ.
size_t common_bytes(const char* a, const char* b, size_t n) {
    constexpr size_t block = 256;
    size_t at = 0;
    while (n - at >= block && memcmp(a + at, b + at, block) == 0) {
        at += block;
    }
    uint64_t left = 0;
    uint64_t right = 0;
    while (n - at >= sizeof left) {
        memcpy(&left, a + at, sizeof left);
        memcpy(&right, b + at, sizeof right);
        if (left != right) {
            break;
        }
        at += sizeof left;
    }
    while (at < n && a[at] == b[at]) {
        ++at;
    }
    return at;
}

// Compares `n` bytes, the terminating NULs among them; nothing behind a NUL of both counts.
int difference(const char* a, const char* b, size_t n) {
    const size_t at = common_bytes(a, b, n);
    if (at == n || memchr(a, '\0', at) != nullptr) {
        return 0;
    }
    return static_cast<unsigned char>(a[at]) - static_cast<unsigned char>(b[at]);
}

constexpr std::array<unsigned char, 256> make_lower_table() {
    std::array<unsigned char, 256> table = {};
    for (size_t byte = 0; byte < table.size(); ++byte) {
        const bool capital = byte >= 'A' && byte <= 'Z';
        table[byte] = static_cast<unsigned char>(capital ? byte - 'A' + 'a' : byte);
    }
    return table;
}

constexpr std::array<unsigned char, 256> lower = make_lower_table();

int difference_ignoring_case(const char* a, const char* b) {
    for (;; ++a, ++b) {
        const unsigned char left = lower[static_cast<unsigned char>(*a)];
        const unsigned char right = lower[static_cast<unsigned char>(*b)];
        if (left != right || left == 0) {
            return left - right;
        }
    }
}

} // namespace

int ustring::compare(const ustring& other, size_t n) const {
    return difference(data, other.data, std::min({n, data_len + 1, other.data_len + 1}));
}

int ustring::compare(const ustring& a, const ustring& b, bool ignoreCase) {
    if (ignoreCase) {
        return difference_ignoring_case(a.data, b.data);
    }
    return difference(a.data, b.data, std::min(a.data_len, b.data_len) + 1);
}
