#pragma once

#include "tests/support/command.h"
#include "tests/support/files.h"
#include "ui-client/launcher/extractor.h"

#include <QTemporaryDir>

#include <sys/stat.h>

#include <stdexcept>

/// Counts and unpacks one archive of a folder of its own into "out" there.
class Workshop {
public:
    QString path(const QString& name = QString()) const {
        return name.isEmpty() ? m_folder.path() : m_folder.filePath(name);
    }
    QString out(const QString& name = QString()) const {
        return path(name.isEmpty() ? "out" : "out/" + name);
    }
    QByteArray run(const QString& script) const { return runCommand(script, path()); }

    Extractor extractor(const QString& archive) const {
        Extractor extractor;
        extractor.SetSource(path(archive).toUtf8().constData());
        extractor.SetTarget(out().toUtf8().constData());
        return extractor;
    }
    int extract(const QString& archive) const { return extractor(archive).Extract(); }
    int count(const QString& archive) const { return extractor(archive).Count(); }

    /// A small client: text, program, several blocks of data, nothing, a name with a blank, letters
    /// beyond ASCII, an empty folder, a link to a file, and one that leads nowhere.
    void makeTree() const {
        writeFile(path("tree/INFO"), "[Version]\nbuild_version=7\n");
        writeFile(path("tree/bin/cloud tessel"), "#!/bin/sh\nexit 0\n", 0755);
        writeFile(path("tree/data/empty"), "");
        writeFile(path(QString::fromUtf8("tree/data/Größe 日本.txt")), "wide");
        QByteArray blocks;
        for (int i = 0; blocks.size() < 1024 * 1024; ++i) {
            blocks += QByteArray::number(i * 2654435761U);
        }
        writeFile(path("tree/data/blocks"), blocks);
        run("mkdir tree/nothing; ln -s ../INFO tree/data/link; ln -s nowhere tree/data/dangling");
    }

private:
    QTemporaryDir m_folder;
};

inline struct stat statOf(const QString& path) {
    struct stat info = {};
    if (lstat(QFile::encodeName(path).constData(), &info) != 0) {
        throw std::runtime_error("no such file: " + path.toStdString());
    }
    return info;
}

inline QString permissions(const QString& path) {
    return QString::number(statOf(path).st_mode & 07777, 8);
}
