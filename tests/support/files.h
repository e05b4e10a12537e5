#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/// Small helpers over real files; each throws std::runtime_error where the disk says no, so that a
/// broken arrangement never looks like a passed test.
void writeFile(const QString& path, const QByteArray& content, unsigned mode = 0644);
QByteArray readFile(const QString& path);

/// Every path below `folder`, relative and sorted; folders end in "/", links read "name -> target".
QStringList listTree(const QString& folder);
