#pragma once

#include <QString>

/// How much larger than the standard density the display is. GUI thread only.
class DPIinfo {
public:
    static DPIinfo* getInstance();

    /// The primary screen's logical dots per inch over 96, the standard density; 1.0 without a
    /// screen. Asked afresh by every call, so a changed screen shows.
    double getDPI() const;

    /// The style sheet with every pixel length multiplied by getDPI() and rounded to a whole
    /// number, halves away from zero. Everything else stays as it is, also what merely looks like
    /// a length: in names, strings, comments and url(...).
    QString getScaledStyleSheet(const QString& styleSheet) const;

private:
    DPIinfo() = default;
};
