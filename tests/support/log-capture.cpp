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
    const QString text = QString::fromUtf8(readFile(m_folder.filePath("log")));
    QStringList lines = text.split('\n');
    if (lines.last().isEmpty()) {
        lines.removeLast();
    }
    return lines.replaceInStrings(stamp(), QString());
}

QStringList LogCapture::unnumbered() const {
    static const QRegularExpression number("^(\\[[A-Z]+\\] [^ (]+)\\(\\d+\\): ");
    return lines().replaceInStrings(number, "\\1(#): ");
}

QByteArray markStamps(const QByteArray& text) {
    return QString::fromUtf8(text).replace(stamp(), "@ ").toUtf8();
}
