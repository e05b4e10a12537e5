#include "tests/support/home-fixture.h"

#include <QFile>

HomeFixture::HomeFixture() : m_saved(qgetenv("HOME")) {
    qputenv("HOME", QFile::encodeName(m_home.path()));
}

HomeFixture::~HomeFixture() {
    qputenv("HOME", m_saved);
}

QString HomeFixture::path(const QString& relative) const {
    return relative.isEmpty() ? m_home.path() : m_home.filePath(relative);
}
