#pragma once

#include "tests/support/installed-tree.h"

#include <QProcess>
#include <QString>
#include <QStringList>

/// The launcher of a tree, or another program, as the tree's user runs it. Killed with the object.
class Program : public QProcess {
public:
    /// Starts the launcher of `tree` by its full path, or another program of its environment.
    explicit Program(const InstalledTree& tree, const QString& program = QString(),
                     const QStringList& arguments = {});
    ~Program() override;

    /// Waits for its end. \return its exit status; -1 where a signal ended it.
    int status();
};
