// ustring against std::string and ICU: the input is a list of changes and questions, and after each
// one both must hold and answer the same.
#include "lib/ustring/ustring.h"
#include "tests/fuzz/require.h"

#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

class Input {
public:
    Input(const uint8_t* bytes, size_t size) : m_next(bytes), m_end(bytes + size) {}
    bool empty() const { return m_next == m_end; }
    uint8_t byte() { return empty() ? uint8_t{0} : *m_next++; }
    /// A text of up to 63 bytes; as everywhere in ustring, a NUL ends it.
    std::string text() {
        std::string bytes;
        for (size_t left = byte() % 64; left > 0 && !empty(); --left) {
            bytes += static_cast<char>(byte());
        }
        return bytes.c_str();
    }
    size_t position() {
        const uint8_t value = byte();
        return value == 255 ? std::string::npos : value;
    }

private:
    const uint8_t* m_next;
    const uint8_t* m_end;
};

using Utf16 = std::u16string;

/// False where `text` is not UTF-8.
bool toUtf16(const std::string& text, Utf16& result) {
    UErrorCode error = U_ZERO_ERROR;
    int32_t length = 0;
    result.resize(text.size() + 1);
    u_strFromUTF8(&result[0], static_cast<int32_t>(result.size()), &length, text.data(),
                  static_cast<int32_t>(text.size()), &error);
    result.resize(U_SUCCESS(error) ? static_cast<size_t>(length) : 0);
    return U_SUCCESS(error) != 0;
}

std::string toUtf8(const Utf16& text) {
    UErrorCode error = U_ZERO_ERROR;
    int32_t length = 0;
    std::string result(text.size() * 3 + 1, '\0');
    u_strToUTF8(&result[0], static_cast<int32_t>(result.size()), &length, text.data(),
                static_cast<int32_t>(text.size()), &error);
    require(U_SUCCESS(error) != 0, "ICU takes back what it gave");
    result.resize(static_cast<size_t>(length));
    return result;
}

std::string normalized(const std::string& text, ustring::normalization_form form) {
    Utf16 units;
    if (!toUtf16(text, units)) {
        return {};
    }
    UErrorCode error = U_ZERO_ERROR;
    const UNormalizer2* const normalizer = unorm2_getInstance(
        nullptr, "nfc", form == ustring::NFC ? UNORM2_COMPOSE : UNORM2_DECOMPOSE, &error);
    Utf16 result(units.size() * 20 + 1, u'\0');
    const int32_t length =
        unorm2_normalize(normalizer, units.data(), static_cast<int32_t>(units.size()), &result[0],
                         static_cast<int32_t>(result.size()), &error);
    require(U_SUCCESS(error) != 0, "ICU normalises what it has read");
    result.resize(static_cast<size_t>(length));
    return toUtf8(result);
}

/// Both strings, and what is done to both.
class Pair {
public:
    void change(Input& input) {
        switch (input.byte() % 13) {
        case 0:
            return append(input.text());
        case 1:
            return appendPart(input.text(), input.position(), input.position());
        case 2:
            return repeat(static_cast<char>(input.byte() | 1), input.byte());
        case 3:
            return assign(input.text());
        case 4:
            return cut(input.position(), input.position());
        case 5:
            return appendSelf(input.position(), input.position());
        case 6:
            return exchange(static_cast<char>(input.byte()), static_cast<char>(input.byte() | 1));
        case 7:
            return trim(input.text());
        case 8:
            return appendUnits(input.text());
        case 9:
            return move();
        case 10:
            return search(input.text(), input.position());
        case 11:
            return compare(input.text(), input.position());
        default:
            return normalize();
        }
    }

    void check() const {
        require(m_string.length() == m_model.size() && m_model == m_string.c_str(),
                "both texts are the same");
        Utf16 units;
        require(toUtf16(m_model, units) == ustring::is_valid(m_string), "both judge UTF-8 alike");
        require(units == m_string.c_str_utf16(), "both UTF-16 texts are the same");
    }

private:
    void append(const std::string& text) {
        m_string.append(text.c_str());
        m_model += text;
    }
    void appendPart(const std::string& text, size_t position, size_t count) {
        if (position <= text.size()) {
            m_string.append(text, position, count);
            m_model.append(text, position, count);
        } else {
            m_string.append(text.c_str(), count);
            m_model.append(text, 0, count);
        }
    }
    void repeat(char c, size_t count) {
        m_string.append(c, count);
        m_model.append(count, c);
    }
    void assign(const std::string& text) {
        m_string = text;
        m_model = text;
    }
    void cut(size_t position, size_t count) {
        if (position <= m_model.size()) {
            m_string = m_string.substr(position, count);
            m_model = m_model.substr(position, count);
        }
    }
    void appendSelf(size_t position, size_t count) {
        // Doubled without a limit, it would soon be all that the input does.
        if (position <= m_model.size() && m_model.size() < 4096) {
            m_string.append(m_string, position, count);
            m_model.append(std::string(m_model), position, count);
        }
    }
    void exchange(char from, char to) {
        m_string.replace(from, to);
        std::replace(m_model.begin(), m_model.end(), from, to);
        m_string = ustring(m_string.c_str()); // the UTF-16 side knows nothing of it
    }
    void trim(const std::string& set) {
        m_string.trim(set.c_str());
        const size_t first = m_model.find_first_not_of(set);
        const size_t last = m_model.find_last_not_of(set);
        m_model = first == std::string::npos ? "" : m_model.substr(first, last - first + 1);
    }
    void appendUnits(const std::string& text) {
        Utf16 own;
        Utf16 units;
        if (toUtf16(m_model, own) && toUtf16(text, units)) {
            m_string.append(units.c_str());
            m_model += text;
        }
    }
    void move() {
        ustring other(std::move(m_string));
        m_string = "moved from";
        m_string.swap(other);
        require(other == ustring("moved from"), "a moved-from string is as good as a new one");
    }
    void search(const std::string& text, size_t position) const {
        const bool nothing = m_model.empty();
        const bool behind = nothing || position >= m_model.size();
        const auto forward = [behind](size_t found) { return behind ? std::string::npos : found; };
        // Backwards, the last byte is the last place from which to look.
        const size_t last = nothing ? 0 : std::min(position, m_model.size() - 1);
        const auto backward = [nothing](size_t found) {
            return nothing ? std::string::npos : found;
        };
        const char* const s = text.c_str();
        require(m_string.find(s, position) == forward(m_model.find(text, position)), "find");
        require(m_string.rfind(s, position) == backward(m_model.rfind(text, last)), "rfind");
        require(m_string.find_first_of(s, position) ==
                    forward(m_model.find_first_of(text, position)),
                "find_first_of");
        require(m_string.find_first_not_of(s, position) ==
                    forward(m_model.find_first_not_of(text, position)),
                "find_first_not_of");
        require(m_string.find_last_of(s, position) == backward(m_model.find_last_of(text, last)),
                "find_last_of");
        require(m_string.find_last_not_of(s, position) ==
                    backward(m_model.find_last_not_of(text, last)),
                "find_last_not_of");
    }
    void compare(const std::string& text, size_t count) const {
        const int whole = strcmp(m_model.c_str(), text.c_str());
        const int part = strncmp(m_model.c_str(), text.c_str(), count);
        const auto sign = [](int value) { return (value > 0) - (value < 0); };
        require(sign(m_string.compare(ustring(text))) == sign(whole), "compare");
        require(sign(m_string.compare(ustring(text), count)) == sign(part), "compare a part");
        require((m_string < ustring(text)) == (whole < 0), "less");
    }
    void normalize() const {
        for (const auto form : {ustring::NFC, ustring::NFD}) {
            require(normalized(m_model, form) == m_string.normalize(form).c_str(), "normalize");
        }
    }

    ustring m_string;
    std::string m_model;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    Input input(bytes, size);
    Pair pair;
    while (!input.empty()) {
        pair.change(input);
        pair.check();
    }
    return 0;
}
