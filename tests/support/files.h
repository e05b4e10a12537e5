#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/// Small helpers over real files; each throws std::runtime_error where the disk says no, so that a
/// broken arrangement never looks like a passed test.
void writeFile(const QString& path, const QByteArray& content, unsigned mode = 0644);
QByteArray readFile(const QString& path);
void makeFolder(const QString& path, unsigned mode = 0755);
void makeLink(const QString& target, const QString& path);

/// Every path below `folder`, relative and sorted; folders end in "/", links read "name -> target".
QStringList listTree(const QString& folder);

/// The entries of a folder in the order in which the system tells them.
QStringList inReadingOrder(const QString& folder);
QStringList sorted(QStringList names);

/// How many file descriptors this process holds.
int openDescriptors();
