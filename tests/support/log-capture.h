#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// The lines of a log file, without their time stamps.
QStringList logLines(const QString& file);

/// Sends the Logger into a fresh file for its lifetime, every component at `level`.
class LogCapture {
public:
    explicit LogCapture(int level = 7);
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    /// The lines so far, without their time stamps.
    QStringList lines() const;
    /// The same with every "(123)" of a source line as "(#)", for lines whose number may move.
    QStringList unnumbered() const;

private:
    QTemporaryDir m_folder;
};

/// `text` of a log with every time stamp that starts a line as "@ ", so that a line without one and
/// a stamp in the wrong place show.
QByteArray markStamps(const QByteArray& text);
