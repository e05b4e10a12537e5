#pragma once

#include "tools/package/outcome.h"
#include "tools/package/package-builder.h"
#include "tools/package/package-checker.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

/// A sound client of build 7 in a fresh folder, and room for an installation tree beside it.
class ClientFixture {
public:
    ClientFixture();
    ~ClientFixture();
    ClientFixture(const ClientFixture&) = delete;
    ClientFixture& operator=(const ClientFixture&) = delete;

    QString client(const QString& relative = QString()) const { return below("client", relative); }
    QString root(const QString& relative = QString()) const { return below("R", relative); }
    QString archive() const { return root("package/skylark.tpx"); }
    /// Another place in the fresh folder.
    QString path(const QString& relative) const { return m_folder.filePath(relative); }

    /// Runs a bash script in the client's folder. It finds the package's path in $P, what belongs
    /// to its end in "${last[@]}", and all others in their order in "${others[@]}".
    QByteArray run(const QString& script) const;
    /// A builder for this client and tree, and what it answers.
    package::PackageBuilder builder() const;
    package::Outcome build() const { return builder().build(); }
    /// What a check of the tree's package, or of the tree with its INFO, answers.
    package::Outcome checkPackage() const;
    package::Outcome checkTree() const;
    /// The names in the package, in its order, as libarchive's own program lists them.
    QStringList names() const;

private:
    QString below(const QString& folder, const QString& relative) const;

    QTemporaryDir m_folder;
};

/// Each finding's line, in byte order.
QStringList linesOf(const package::Outcome& outcome);
