#pragma once

#include "tests/support/home-fixture.h"

#include <QByteArray>
#include <QDir>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// A start-stop script that notes its argument and the build of the copy to which it belongs.
extern const QByteArray noteCall;

/// The program as it is installed, in a tree of its own, beside a fresh home: its parts come from
/// the rules of the installation, so a file that those forget is missing here too.
class InstalledTree {
public:
    InstalledTree();

    QString home(const QString& relative = QString()) const { return m_home.path(relative); }
    /// A path in the installation tree.
    QString root(const QString& relative = QString()) const;
    QString launcher() const { return root("bin/launcher"); }
    /// The user's copy of the client, or a path in it.
    QString app(const QString& relative = QString()) const;

    /// Packs a client of this build number, and writes the tree's INFO beside it. The client's
    /// start-stop runs `script` with sh; it finds the home folder in HOME.
    void pack(int build, const QByteArray& script = noteCall) const;
    /// Puts a client of this build number into the home, as an earlier run has left it.
    void installCopy(int build, const QByteArray& script = noteCall) const;
    /// Raises the level of every component, as the administrator does.
    void logEverything() const;

    QString logFile() const { return home(".AldaneTessel/log/launcher.log"); }
    /// The launcher's log without time stamps; the folders of tree and home read "T" and "H", and
    /// "(#)" stands for a number that follows the lines of its source.
    QStringList log() const;
    /// The same without lines of other sources than `source`.
    QStringList log(const QString& source) const;
    /// What the script noteCall has noted so far.
    QStringList calls() const;

    /// The caller's environment on the platform without a screen, and this home.
    QProcessEnvironment environment() const;

private:
    HomeFixture m_home;
    QTemporaryDir m_root{QDir::tempPath() + "/Aldane Tessel XXXXXX"}; // a blank does no harm
};
