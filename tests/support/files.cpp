#include "tests/support/files.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>

namespace {

[[noreturn]] void fail(const QString& what, const QString& path) {
    throw std::runtime_error((what + ": " + path).toStdString());
}

} // namespace

void writeFile(const QString& path, const QByteArray& content, unsigned mode) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        file.write(content) != content.size()) {
        fail("cannot write", path);
    }
    file.close();
    if (chmod(QFile::encodeName(path).constData(), mode) != 0) {
        fail("cannot change mode", path);
    }
}

QByteArray readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        fail("cannot read", path);
    }
    return file.readAll();
}

void makeFolder(const QString& path, unsigned mode) {
    if (!QDir().mkpath(path) || chmod(QFile::encodeName(path).constData(), mode) != 0) {
        fail("cannot make folder", path);
    }
}

void makeLink(const QString& target, const QString& path) {
    if (symlink(QFile::encodeName(target).constData(), QFile::encodeName(path).constData()) != 0) {
        fail("cannot link", path);
    }
}

QStringList listTree(const QString& folder) {
    QStringList names;
    const QDir root(folder);
    QDirIterator walk(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                      QDirIterator::Subdirectories);
    while (walk.hasNext()) {
        const QFileInfo info(walk.next());
        QString name = root.relativeFilePath(info.filePath());
        if (info.isSymLink()) {
            char target[4096] = {};
            const auto length =
                readlink(QFile::encodeName(info.filePath()).constData(), target, sizeof target - 1);
            name += " -> " + QString::fromUtf8(target, static_cast<int>(length));
        } else if (info.isDir()) {
            name += '/';
        }
        names << name;
    }
    names.sort();
    return names;
}

QStringList inReadingOrder(const QString& folder) {
    QStringList names;
    for (const auto& entry : std::filesystem::directory_iterator(folder.toStdString())) {
        names << QString::fromStdString(entry.path().filename().string());
    }
    return names;
}

QStringList sorted(QStringList names) {
    names.sort();
    return names;
}

int openDescriptors() {
    return QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System).size();
}
