#include "tests/support/message-capture.h"

#include <QRegularExpression>
#include <QtGlobal>

namespace {

QStringList messages;

void collect(QtMsgType, const QMessageLogContext&, const QString& message) {
    messages << message;
}

} // namespace

MessageCapture::MessageCapture() {
    messages.clear();
    qInstallMessageHandler(collect);
}

MessageCapture::~MessageCapture() {
    qInstallMessageHandler(nullptr);
}

QStringList MessageCapture::unnumbered() const {
    static const QRegularExpression number(":\\d+ ");
    return QStringList(messages).replaceInStrings(number, ":# ");
}
