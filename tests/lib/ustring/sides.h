#pragma once

#include "lib/ustring/ustring.h"

#include <QByteArray>
#include <QString>

#include <random>

/// Both sides of a string in types that a failed comparison prints.
inline QByteArray bytes(const ustring& text) {
    return QByteArray(text.c_str(), static_cast<int>(text.length()));
}
inline QString units(const ustring& text) {
    return QString::fromUtf16(text.c_str_utf16());
}

/// A byte array literal that may hold NULs.
template <size_t size>
QByteArray literal(const char (&text)[size]) {
    return QByteArray(text, static_cast<int>(size - 1));
}

/// Random numbers that are the same in each run, so that a failure can be looked at again.
inline std::mt19937 seeded(unsigned seed) {
    return std::mt19937(seed);
}
