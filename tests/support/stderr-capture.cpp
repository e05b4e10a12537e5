#include "tests/support/stderr-capture.h"

#include "tests/support/files.h"

#include <QRegularExpression>

#include <unistd.h>

#include <stdexcept>

StderrCapture::StderrCapture() : m_saved(dup(STDERR_FILENO)) {
    if (m_saved < 0 || !m_file.open() || dup2(m_file.handle(), STDERR_FILENO) < 0) {
        throw std::runtime_error("standard error does not go into a file");
    }
}

StderrCapture::~StderrCapture() {
    dup2(m_saved, STDERR_FILENO);
    close(m_saved);
}

QByteArray StderrCapture::text() const {
    return readFile(m_file.fileName());
}

QByteArray StderrCapture::unnumbered() const {
    static const QRegularExpression number("at line \\d+");
    return QString::fromUtf8(text()).replace(number, "at line #").toUtf8();
}
