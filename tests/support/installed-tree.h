#pragma once

#include "tests/support/home-fixture.h"

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QTemporaryDir>

/// The program as it is installed, in a tree of its own, beside a fresh home: its parts come from
/// the rules of the installation, so a file that those forget is missing here too.
class InstalledTree {
public:
    InstalledTree();

    QString home(const QString& relative = QString()) const { return m_home.path(relative); }
    /// A path in the installation tree.
    QString root(const QString& relative = QString()) const;
    QString launcher() const { return root("bin/launcher"); }
    /// A path in the user's copy of the client.
    QString app(const QString& relative) const;

    /// Packs a client of this build number, and writes the tree's INFO beside it. The client's
    /// start-stop runs `script` with sh; it finds the home folder in HOME.
    void pack(int build, const QByteArray& script) const;
    /// Puts a client of this build number into the home, as an earlier run has left it.
    void installCopy(int build, const QByteArray& script) const;
    /// Raises the level of every component, as the administrator does.
    void logEverything() const;

    /// The launcher's log without time stamps, and without lines of other sources than `source`.
    QStringList log(const QString& source) const;

    /// The caller's environment on the platform without a screen, and this home.
    QProcessEnvironment environment() const;

private:
    HomeFixture m_home;
    QTemporaryDir m_root;
};
