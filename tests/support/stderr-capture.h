#pragma once

#include <QByteArray>
#include <QTemporaryFile>

/// Sends standard error into a file for its lifetime, below the streams: whatever writes there is
/// seen, by std::cerr or otherwise.
class StderrCapture {
public:
    StderrCapture();
    ~StderrCapture();
    StderrCapture(const StderrCapture&) = delete;
    StderrCapture& operator=(const StderrCapture&) = delete;

    /// What was written so far.
    QByteArray text() const;
    /// The same with the number behind every "at line " as "#", for texts whose number may move.
    QByteArray unnumbered() const;

private:
    QTemporaryFile m_file;
    int m_saved;
};
