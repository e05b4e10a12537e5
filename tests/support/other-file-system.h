#pragma once

#include <QString>
#include <QTemporaryDir>

#include <memory>

/// A fresh folder on another file system than the temporary files', for moves that rename()
/// refuses. Where the machine shows only one, root mounts a second one, for this process alone.
class OtherFileSystem {
public:
    OtherFileSystem();
    ~OtherFileSystem();
    OtherFileSystem(const OtherFileSystem&) = delete;
    OtherFileSystem& operator=(const OtherFileSystem&) = delete;

    /// False where the machine truly has one alone, and the caller may not mount another.
    bool exists() const { return m_folder != nullptr; }
    /// The folder, or `relative` below it.
    QString path(const QString& relative = QString()) const;

private:
    bool mountOne();

    QTemporaryDir m_mount_point; // its own file system is the one to differ from
    std::unique_ptr<QTemporaryDir> m_folder;
    bool m_mounted = false;
};
