#include "lib/ustring/ustring.h"

#include <algorithm>
#include <bitset>
#include <string_view>

// A view answers as these members have to, but for a start at or behind the end.

size_t ustring::find(const char* s, size_t pos) const {
    return pos < data_len ? std::string_view(data, data_len).find(s, pos) : npos;
}

size_t ustring::find_first_of(const char* set, size_t pos) const {
    return pos < data_len ? std::string_view(data, data_len).find_first_of(set, pos) : npos;
}

size_t ustring::find_first_not_of(const char* set, size_t pos) const {
    return pos < data_len ? std::string_view(data, data_len).find_first_not_of(set, pos) : npos;
}

size_t ustring::rfind(const char* s, size_t pos) const {
    const std::string_view text(data, data_len);
    return text.empty() ? npos : text.rfind(s, std::min(pos, data_len - 1));
}

size_t ustring::find_last_of(const char* set, size_t pos) const {
    return std::string_view(data, data_len).find_last_of(set, pos);
}

size_t ustring::find_last_not_of(const char* set, size_t pos) const {
    return std::string_view(data, data_len).find_last_not_of(set, pos);
}

size_t ustring::find(char c, size_t pos) const {
    return c == '\0' ? find("", pos) : std::string_view(data, data_len).find(c, pos);
}

size_t ustring::rfind(char c, size_t pos) const {
    return c == '\0' ? rfind("", pos) : std::string_view(data, data_len).rfind(c, pos);
}

namespace {

// A copy of the set: the caller's may lie in the text that is being trimmed.
class ByteSet {
public:
    explicit ByteSet(const char* set) {
        for (; *set != '\0'; ++set) {
            m_bytes.set(static_cast<unsigned char>(*set));
        }
    }

    size_t skip_forward(const char* text, size_t first, size_t last) const {
        while (first < last && contains(text[first])) {
            ++first;
        }
        return first;
    }

    size_t skip_backward(const char* text, size_t first, size_t last) const {
        while (first < last && contains(text[last - 1])) {
            --last;
        }
        return last;
    }

private:
    bool contains(char byte) const { return m_bytes[static_cast<unsigned char>(byte)]; }

    std::bitset<256> m_bytes;
};

} // namespace

ustring& ustring::rtrim(const char* set) {
    keep(0, ByteSet(set).skip_backward(data, 0, data_len));
    return *this;
}

ustring& ustring::ltrim(const char* set) {
    keep(ByteSet(set).skip_forward(data, 0, data_len), data_len);
    return *this;
}

ustring& ustring::trim(const char* set) {
    const ByteSet dropped(set);
    const size_t first = dropped.skip_forward(data, 0, data_len);
    keep(first, dropped.skip_backward(data, first, data_len));
    return *this;
}
