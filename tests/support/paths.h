#pragma once

#include "lib/ustring/ustring.h"

#include <QFile>
#include <QString>

/// A path of the test's as the library takes it, and back.
inline ustring toPath(const QString& path) {
    return ustring(QFile::encodeName(path).constData());
}
inline QString toText(const ustring& text) {
    return QString::fromUtf8(text.c_str());
}
