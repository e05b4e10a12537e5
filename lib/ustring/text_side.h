#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <type_traits>

/// One side of a ustring, seen through references to its three members: what the two encodings
/// share. A helper of the class's own sources.
template <class Unit>
class TextSide {
public:
    TextSide(Unit*& text, size_t& length, size_t& capacity)
        : m_text(text), m_length(length), m_capacity(capacity) {}

    /// Makes the buffer exactly `need` units, unless it is big enough and at most twice as big.
    /// \throw std::bad_alloc; the buffer is then as it was.
    void resize(size_t need) {
        if (m_capacity >= need && need >= m_capacity >> 1) {
            return;
        }
        if (need > PTRDIFF_MAX / sizeof(Unit)) {
            throw std::bad_alloc();
        }
        // An empty text is not carried over: a block of its own costs half of what resizing does.
        Unit* const carried = m_length > 0 ? m_text : nullptr;
        Unit* const resized = static_cast<Unit*>(realloc(carried, need * sizeof(Unit)));
        if (resized == nullptr) {
            throw std::bad_alloc();
        }
        if (carried == nullptr) {
            free(m_text);
            resized[0] = 0;
        }
        m_text = resized;
        m_capacity = need;
    }

    /// Ends the text behind `length` units.
    void terminate(size_t length) {
        m_text[length] = 0;
        m_length = length;
    }

    /// How many units an append of `s` adds: at most `n`, up to the first NUL. The own text counts
    /// by its length; from further inside the buffer, what is read ends with the buffer.
    size_t taken_from(const Unit* s, size_t n) const {
        if (s == m_text) {
            return std::min(n, m_length);
        }
        return length_of(s, owns(s) ? std::min(n, m_capacity - offset_of(s)) : n);
    }

    /// Appends exactly `n` units, which may lie anywhere in the own buffer.
    void append(const Unit* s, size_t n) {
        if (owns(s)) {
            append_own(offset_of(s), n);
        } else {
            append_other(s, n);
        }
    }

    /// The same, of units that do not lie in the own buffer.
    void append_other(const Unit* s, size_t n) {
        resize(size_with(n));
        memcpy(m_text + m_length, s, n * sizeof(Unit));
        terminate(m_length + n);
    }

    void append(Unit unit, size_t n) {
        resize(size_with(n));
        std::fill_n(m_text + m_length, n, unit);
        terminate(m_length + n);
    }

    bool owns(const Unit* s) const {
        return std::less_equal<>()(m_text, s) && std::less<>()(s, m_text + m_capacity);
    }

    size_t offset_of(const Unit* s) const { return static_cast<size_t>(s - m_text); }

    static size_t length_of(const Unit* s, size_t n) {
        if constexpr (std::is_same_v<Unit, char>) {
            return strnlen(s, n);
        } else {
            size_t length = 0;
            while (length < n && s[length] != 0) {
                ++length;
            }
            return length;
        }
    }

private:
    void append_own(size_t offset, size_t n) {
        const size_t need = size_with(n);
        // A smaller buffer may not reach as far as the source: that one is copied first.
        if (need > m_capacity) {
            resize(need);
        }
        memmove(m_text + m_length, m_text + offset, n * sizeof(Unit));
        terminate(m_length + n);
        resize(need);
    }

    // The units of the text with `n` more and the NUL.
    size_t size_with(size_t n) const {
        if (n >= SIZE_MAX - m_length) {
            throw std::bad_alloc();
        }
        return m_length + n + 1;
    }

    Unit*& m_text;
    size_t& m_length;
    size_t& m_capacity;
};
