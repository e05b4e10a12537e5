#include "lib/ustring/text_side.h"
#include "lib/ustring/ustring.h"

#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <new>
#include <type_traits>

static_assert(std::is_same_v<uchar16_t, UChar>, "texts go to ICU without a cast");

namespace {

// In one piece, so that the lines of two threads do not mix.
void warn(const char* function, UErrorCode status, int line) {
    std::cerr << "Warning: " + std::string(function) + ": error code " + std::to_string(status) +
                     " at line " + std::to_string(line) + "\n"
              << std::flush;
}

// ICU counts in 32 bits.
int32_t icu_size(size_t count) {
    if (count > INT32_MAX) {
        throw std::bad_alloc();
    }
    return static_cast<int32_t>(count);
}

} // namespace

int ustring::convert_from_data() const {
    icu_size(data_len);
    UErrorCode status = U_ZERO_ERROR;
    int32_t len = 0;
    u_strFromUTF8(nullptr, 0, &len, data, -1, &status);
    status = U_ZERO_ERROR;
    realloc_wdata(static_cast<size_t>(len) + 1);
    u_strFromUTF8(wdata, icu_size(wdata_cap), nullptr, data, -1, &status);
    if (U_FAILURE(status)) {
        warn("u_strFromUTF8", status, __LINE__);
        clear_wdata();
        return -1;
    }
    utf16().terminate(static_cast<size_t>(len));
    return 0;
}

int ustring::convert_from_wdata() {
    // Not built until the UTF-8 side agrees with it: should memory run out, the former text stays.
    const size_t units = wdata_len;
    wdata_len = 0;
    icu_size(3 * units);
    UErrorCode status = U_ZERO_ERROR;
    int32_t len = 0;
    u_strToUTF8(nullptr, 0, &len, wdata, -1, &status);
    status = U_ZERO_ERROR;
    realloc_data(static_cast<size_t>(len) + 1);
    u_strToUTF8(data, icu_size(data_cap), nullptr, wdata, -1, &status);
    if (U_FAILURE(status)) {
        warn("u_strToUTF8", status, __LINE__);
        clear();
        return -1;
    }
    utf8().terminate(static_cast<size_t>(len));
    wdata_len = units;
    return 0;
}

const uchar16_t* ustring::c_str_utf16() const {
    if (wdata_len == 0) {
        convert_from_data();
    }
    return wdata;
}

// Builds the UTF-16 side where it is not yet; text that is not valid UTF-8 leaves it empty, and the
// change goes on from there. \return whether it had to be built.
bool ustring::build_wdata() const {
    const bool missing = wdata_len == 0 && data_len > 0;
    if (missing) {
        convert_from_data();
    }
    return missing;
}

ustring& ustring::append(const uchar16_t* s, size_t n) {
    TextSide<uchar16_t> side = utf16();
    const bool own = side.owns(s);
    const size_t offset = own ? side.offset_of(s) : 0;
    if (build_wdata() && own) {
        s = wdata + std::min(offset, wdata_len); // the buffer may have moved, or become smaller
    }
    side.append(s, side.taken_from(s, n));
    convert_from_wdata();
    return *this;
}

ustring& ustring::append(const uchar16_t* s) {
    return append(s, npos);
}

ustring& ustring::append(uchar16_t c, size_t n) {
    build_wdata();
    utf16().append(c, n);
    convert_from_wdata();
    return *this;
}

ustring& ustring::assign(const uchar16_t* s) {
    if (s != wdata) {
        clear();
        append(s);
    }
    return *this;
}

ustring& ustring::assign(const uchar16_t* s, size_t n) {
    if (s != wdata) {
        clear();
        return append(s, n);
    }
    build_wdata();
    if (n < wdata_len) {
        utf16().terminate(n);
        convert_from_wdata();
    }
    return *this;
}

ustring& ustring::assign(uchar16_t c, size_t n) {
    clear();
    return append(c, n);
}

ustring ustring::normalize(const ustring& src, normalization_form form) {
    ustring result;
    if (src.empty()) {
        return result;
    }
    UErrorCode status = U_ZERO_ERROR;
    const UNormalization2Mode mode = form == NFC ? UNORM2_COMPOSE : UNORM2_DECOMPOSE;
    const UNormalizer2* const normalizer = unorm2_getInstance(nullptr, "nfc", mode, &status);
    if (U_FAILURE(status) || normalizer == nullptr) {
        warn("unorm2_getInstance", status, __LINE__);
        return result;
    }
    const uchar16_t* const text = src.c_str_utf16();
    const int32_t length = unorm2_normalize(normalizer, text, -1, nullptr, 0, &status);
    result.realloc_wdata(static_cast<size_t>(length) + 1);
    status = U_ZERO_ERROR;
    unorm2_normalize(normalizer, text, -1, result.wdata, icu_size(result.wdata_cap), &status);
    if (U_FAILURE(status)) {
        warn("unorm2_normalize", status, __LINE__);
        result.clear();
        return result;
    }
    result.utf16().terminate(static_cast<size_t>(length));
    result.convert_from_wdata();
    return result;
}

bool ustring::is_valid(const ustring& s) {
    if (s.empty()) {
        return true;
    }
    icu_size(s.data_len);
    UErrorCode status = U_ZERO_ERROR;
    u_strFromUTF8(nullptr, 0, nullptr, s.data, -1, &status);
    return status != U_INVALID_CHAR_FOUND;
}
