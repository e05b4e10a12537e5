#pragma once

#include "tests/support/command.h"

#include <QStringList>
#include <QTemporaryDir>

#include <memory>

/// A healthy home and installation, and the program to look at them.
class DoctorFixture {
protected:
    /// Makes both anew.
    void make();
    struct Answer {
        int status = -1;
        QString out;
        QString err;
    };
    Answer run(const QStringList& more, const QByteArray& input = QByteArray()) const;
    QString home(const QString& relative) const { return m_folder->filePath("home/" + relative); }
    QString app(const QString& relative) const {
        return home(".AldaneTessel/AldaneTessel.app/" + relative);
    }
    void shell(const QString& script) const { runCommand(script, m_folder->path()); }
    /// Names, kinds, modes, sizes and times of modification of all there is.
    QByteArray snapshot() const;

    std::unique_ptr<QTemporaryDir> m_folder;
};
