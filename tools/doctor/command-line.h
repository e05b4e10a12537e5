#pragma once

#include <QString>
#include <QStringList>

namespace doctor {

/// What the arguments ask for.
struct Command {
    enum Kind { Examine, Tell, Unusable };
    Kind kind = Unusable;
    QString text; // what to tell, or why the arguments are unusable
    QString home; // empty: the caller's
    QString root; // empty: the folder above the program's own
    bool isForAllUsers = false;
    bool isJson = false;
    bool isRepair = false;
};

/// Needs the application object.
Command parseCommandLine(const QStringList& arguments);

} // namespace doctor
