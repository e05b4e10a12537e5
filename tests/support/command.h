#pragma once

#include <QByteArray>
#include <QString>

/// Runs `script` with bash, UTF-8 as its character set, in `folder`, and waits for it.
/// \return what it wrote to standard output.
/// Throws std::runtime_error, with its standard error, unless it ends with 0: an arrangement that
/// failed never looks like a passed test.
QByteArray runCommand(const QString& script, const QString& folder = QString());

/// Keeps what is written to standard output, through the C or the C++ library, from going there.
class StdoutCapture {
public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    /// What was written so far.
    QByteArray text() const;

private:
    int m_saved;
    int m_file;
};
