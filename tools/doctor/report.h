#pragma once

#include "tools/doctor/finding.h"

#include <QByteArray>

namespace doctor {

/// What one run of the doctor has to say.
struct Report {
    struct Home {
        QString path;
        QString user;      // the owner's name, or number where it has none
        QString nextStart; // "install", "upgrade" or "start"; empty where it cannot be told
        Findings findings;
    };
    QString root;
    Findings installation;
    QList<Home> homes;

    bool isHealthy() const;
};

QByteArray toText(const Report& report);
QByteArray toJson(const Report& report);

/// `text` with every control character as "\x1b": names of users' files reach the terminal.
QString printable(const QString& text);

} // namespace doctor
