#include "lib/ustring/ustring.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

namespace {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "the lowest byte of a word is its first");

uint64_t word_at(const char* text) {
    uint64_t word = 0;
    memcpy(&word, text, sizeof word);
    return word;
}

int minus(const char* a, const char* b) {
    return static_cast<unsigned char>(*a) - static_cast<unsigned char>(*b);
}

// The difference of the first bytes that differ, as some of the first `n` do. The C library
// promises no more than the sign of it.
int difference(const char* a, const char* b, size_t n) {
    constexpr size_t block = 256;
    for (; n >= block && memcmp(a, b, block) == 0; n -= block) {
        a += block;
        b += block;
    }
    for (; n >= sizeof(uint64_t); n -= sizeof(uint64_t)) {
        const uint64_t differing = word_at(a) ^ word_at(b);
        if (differing != 0) {
            const int first = __builtin_ctzll(differing) / 8;
            return minus(a + first, b + first);
        }
        a += sizeof differing;
        b += sizeof differing;
    }
    while (*a == *b) {
        ++a;
        ++b;
    }
    return minus(a, b);
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
    const size_t shorter = std::min(data_len, other.data_len);
    return strncmp(data, other.data, n) == 0 ? 0 : difference(data, other.data, shorter + 1);
}

int ustring::compare(const ustring& a, const ustring& b, bool ignoreCase) {
    if (ignoreCase) {
        return difference_ignoring_case(a.data, b.data);
    }
    const size_t shorter = std::min(a.data_len, b.data_len);
    return strcmp(a.data, b.data) == 0 ? 0 : difference(a.data, b.data, shorter + 1);
}
