#pragma once

#include <QHash>
#include <QString>

/// The process-wide registry of well-known paths, by key.
/// Filled once by start-up, before the worker thread starts, and only read afterwards: any thread
/// may then call getPath, without a lock.
class UIPathManager {
public:
    static UIPathManager* getInstance();

    void setPath(const QString& key, const QString& path);
    /// The path of `key`; empty for a key that was never set.
    QString getPath(const QString& key) const;

private:
    UIPathManager() = default;

    QHash<QString, QString> m_paths;
};
