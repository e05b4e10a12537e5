#pragma once

#include "tests/support/home-fixture.h"

#include <QString>
#include <QTemporaryDir>

/// A fresh home and a fresh installation tree, registered as start-up registers them.
class TreeFixture {
public:
    TreeFixture();

    QString home(const QString& relative = QString()) const { return m_home.path(relative); }
    /// A path in the installation tree.
    QString root(const QString& relative) const { return m_root.filePath(relative); }
    /// The user's copy of the client, or a path in it.
    QString app(const QString& relative = QString()) const;

private:
    HomeFixture m_home;
    QTemporaryDir m_root;
};
