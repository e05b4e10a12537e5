#include "libui/DPIinfo.h"

#include <QGuiApplication>
#include <QRegularExpression>
#include <QScreen>

#include <cmath>

namespace {

constexpr double standardDpi = 96.0;

/// Matches the tokens of a style sheet that are, or could be mistaken for, a pixel length. Only a
/// pixel length sets "number"; its sign stays outside, so it is carried over as written.
QRegularExpression tokenExpression() {
    const QString escape = QStringLiteral(R"re(\\(?:[0-9A-Fa-f]{1,6}\s?|.))re");
    const QString start = QStringLiteral(R"re((?:[A-Za-z_]|[^\x00-\x7F]|%1))re").arg(escape);
    const QString part = QStringLiteral(R"re((?:[A-Za-z0-9_-]|[^\x00-\x7F]|%1))re").arg(escape);
    const QString number = QStringLiteral(R"re((?:\d*\.)?\d+)re");
    const QStringList alternatives{
        QStringLiteral(R"re(/\*.*?(?:\*/|\z))re"),                          // comment
        QStringLiteral(R"re("(?:[^"\\\n]|\\.)*"?|'(?:[^'\\\n]|\\.)*'?)re"), // string
        QStringLiteral(R"re((?i:url)\(\s*+(?!["'])(?:[^)\\]|\\.)*)re"),      // bare address
        QStringLiteral("(?<number>%1)(?i:px)(?!%2)").arg(number, part),     // pixel length
        QStringLiteral("%1(?:-?%2%3*)?").arg(number, start, part),          // other length, number
        QStringLiteral("#%1+|(?:--|-?%2)%1*").arg(part, start),                // colour or id, name
    };
    return QRegularExpression(alternatives.join('|'),
                              QRegularExpression::DotMatchesEverythingOption);
}

} // namespace

DPIinfo* DPIinfo::getInstance() {
    static DPIinfo instance;
    return &instance;
}

double DPIinfo::getDPI() const {
    const QScreen* const screen = QGuiApplication::primaryScreen();
    return screen == nullptr ? 1.0 : screen->logicalDotsPerInch() / standardDpi;
}

QString DPIinfo::getScaledStyleSheet(const QString& styleSheet) const {
    // Most sheets hold no length; the expression is long, and compiling it shows in the start.
    if (!styleSheet.contains("px", Qt::CaseInsensitive)) {
        return styleSheet;
    }
    const double scale = getDPI();
    QString scaled;
    int copied = 0; // the sheet up to here is in `scaled`
    QRegularExpressionMatchIterator matches = tokenExpression().globalMatch(styleSheet);
    while (matches.hasNext()) {
        const QRegularExpressionMatch match = matches.next();
        const QStringRef number = match.capturedRef("number");
        if (number.isNull()) {
            continue;
        }
        scaled += styleSheet.midRef(copied, match.capturedStart("number") - copied);
        scaled += QString::number(std::round(number.toDouble() * scale), 'f', 0);
        copied = match.capturedEnd("number");
    }
    return scaled + styleSheet.midRef(copied);
}
