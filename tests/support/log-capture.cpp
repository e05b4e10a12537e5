#include "tests/support/log-capture.h"

#include "lib/log.h"
#include "tests/support/files.h"

#include <QRegularExpression>

#include <stdexcept>

namespace {

const QRegularExpression& stamp() {
    static const QRegularExpression pattern("^\\S+ \\d\\d \\d\\d:\\d\\d:\\d\\d ",
                                            QRegularExpression::MultilineOption);
    return pattern;
}

} // namespace

QStringList logLines(const QString& file) {
    QStringList lines = QString::fromUtf8(readFile(file)).split('\n');
    if (lines.last().isEmpty()) {
        lines.removeLast();
    }
    static const QRegularExpression stamp("^\\S+ [ \\d]\\d \\d\\d:\\d\\d:\\d\\d ");
    return lines.replaceInStrings(stamp, QString());
}

LogCapture::LogCapture(int level) {
    QByteArray levels;
    for (const char* component :
         {"launcher_debug", "service_debug", "extractor_debug", "file_op_debug"}) {
        levels += component + QByteArray("=") + QByteArray::number(level) + "\n";
    }
    writeFile(m_folder.filePath("levels"), levels);
    if (Logger::Initialize(Logger::FILE_LOGGER, m_folder.filePath("log").toStdString(),
                           m_folder.filePath("levels").toStdString(), 50,
                           Logger::ThreadSafe) != 0) {
        throw std::runtime_error("the log does not open");
    }
}

LogCapture::~LogCapture() {
    Logger::Destroy();
}

QStringList LogCapture::lines() const {
    return logLines(m_folder.filePath("log"));
}

QStringList LogCapture::unnumbered() const {
    static const QRegularExpression number("^(\\[[A-Z]+\\] [^ (]+)\\(\\d+\\): ");
    return lines().replaceInStrings(number, "\\1(#): ");
}

QByteArray markStamps(const QByteArray& text) {
    return QString::fromUtf8(text).replace(stamp(), "@ ").toUtf8();
}
