#pragma once

#include "lib/ustring/ustring.h"
#include "libui/UIPathManager.h"

#include <QString>

/// The UTF-8 form in which a path leaves the toolkit.
inline ustring toUstring(const QString& text) {
    return ustring(text.toUtf8().constData());
}

/// The path that start-up registered under `key`; empty for an unknown key.
inline ustring registeredPath(const char* key) {
    return toUstring(UIPathManager::getInstance()->getPath(key));
}
