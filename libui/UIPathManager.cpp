#include "libui/UIPathManager.h"

UIPathManager* UIPathManager::getInstance() {
    static UIPathManager instance;
    return &instance;
}

void UIPathManager::setPath(const QString& key, const QString& path) {
    m_paths.insert(key, path);
}

QString UIPathManager::getPath(const QString& key) const {
    return m_paths.value(key);
}
