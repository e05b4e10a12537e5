#include "tools/package/version-record.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QSettings>
#include <QTemporaryFile>
#include <QVariant>

#include <cctype>
#include <cstdlib>

namespace package {

namespace {

const QByteArray versionGroup = "Version";
const QByteArray buildKey = "build_version";

struct Ini {
    QMap<QString, QVariant> values;
    std::string trouble;
};

// The reader takes a file, not a text.
Ini readIni(const QByteArray& text) {
    Ini ini;
    QTemporaryFile file;
    if (!file.open() || file.write(text) != text.size() || !file.flush()) {
        ini.trouble = file.errorString().toStdString();
        return ini;
    }
    const QSettings settings(file.fileName(), QSettings::IniFormat);
    for (const QString& key : settings.allKeys()) {
        ini.values.insert(key, settings.value(key));
    }
    return ini;
}

QString keyName(const QByteArray& key) {
    return QString::fromLatin1(versionGroup + '/' + key);
}

QByteArray keyOf(const QByteArray& line) {
    return line.left(line.indexOf('=')).trimmed();
}

bool isHeader(const QByteArray& line) {
    return line.startsWith('[') && line.endsWith(']');
}

QByteArray reordered(const QByteArray& info, const QByteArray& build) {
    QByteArray others;
    QByteArray version;
    bool inVersion = false;
    for (const QByteArray& rawLine : info.split('\n')) {
        const QByteArray line = rawLine.trimmed();
        if (isHeader(line)) {
            inVersion = line.mid(1, line.size() - 2).trimmed() == versionGroup;
        }
        const bool told = inVersion && (isHeader(line) || keyOf(line) == buildKey);
        if (!line.isEmpty() && !told) {
            (inVersion ? version : others) += line + '\n';
        }
    }
    return others + '[' + versionGroup + "]\n" + version + buildKey + '=' + build + '\n';
}

} // namespace

VersionRecord readVersionRecord(const std::string& info) {
    const Ini ini = readIni(QByteArray::fromStdString(info));
    VersionRecord record;
    for (const QString& key : ini.values.keys()) {
        record.hasGroup = record.hasGroup || key.startsWith(keyName(QByteArray()));
    }
    record.build = ini.values.value(keyName(buildKey)).toString().toStdString();
    record.trouble = ini.trouble;
    return record;
}

std::optional<int> buildNumber(const std::string& build) {
    bool isNumber = !build.empty();
    for (const char digit : build) {
        isNumber = isNumber && digit >= '0' && digit <= '9';
    }
    bool fits = false;
    const int number = isNumber ? QByteArray::fromStdString(build).toInt(&fits) : 0;
    return fits && number > 0 ? std::optional<int>(number) : std::nullopt;
}

std::optional<std::string> normalisedInfo(const std::string& info) {
    const QByteArray text = QByteArray::fromStdString(info);
    const std::string build = readVersionRecord(info).build;
    if (!buildNumber(build)) {
        return {};
    }
    const QByteArray result = reordered(text, QByteArray::fromStdString(build));
    if (readIni(text).values != readIni(result).values) {
        return {};
    }
    return result.toStdString();
}

bool endsWithBuild(const std::string& info) {
    const QList<QByteArray> lines = QByteArray::fromStdString(info).trimmed().split('\n');
    const QByteArray& last = lines.last();
    const QByteArray value = last.mid(last.indexOf('=') + 1).trimmed();
    return keyOf(last) == buildKey && value.toStdString() == readVersionRecord(info).build;
}

} // namespace package
