#pragma once

#include <QList>
#include <QString>

namespace doctor {

/// One thing that the doctor saw.
struct Finding {
    enum Level {
        Fact, // worth knowing, nothing is wrong
        Fault // keeps the client from starting or upgrading, or soon will
    };
    Level level = Fact;
    QString check;  // which examination: "versions", "launcher", "package" …
    QString text;   // what it saw, and for a fault also what follows from it
    QString remedy; // of a fault
};

/// What an examination saw, in the order in which it looked.
class Findings : public QList<Finding> {
public:
    void fact(const char* check, const QString& text) {
        append({Finding::Fact, QString::fromLatin1(check), text, QString()});
    }
    void fault(const char* check, const QString& text, const QString& remedy) {
        append({Finding::Fault, QString::fromLatin1(check), text, remedy});
    }
};

} // namespace doctor
