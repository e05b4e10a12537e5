#pragma once

#include <QString>
#include <QStringList>

/// Collects what goes to Qt's message channels for its lifetime, instead of printing it.
/// One at a time, and only for messages of the thread that made it.
class MessageCapture {
public:
    MessageCapture();
    ~MessageCapture();
    MessageCapture(const MessageCapture&) = delete;
    MessageCapture& operator=(const MessageCapture&) = delete;

    /// The messages so far, to the letter but for the source line: every ":123 " reads ":# ".
    QStringList unnumbered() const;
};
