#include "tests/tools/package/client-fixture.h"

#include "tests/support/command.h"
#include "tests/support/files.h"

#include <QDir>

#include <filesystem>

ClientFixture::ClientFixture() {
    writeFile(client("INFO"), "[Version]\nmajor_version=4\nbuild_version=7\n");
    writeFile(client("bin/cloud-tessel-ui"), QByteArray(300, 'c') + '\0' + "\r\n", 0755);
    writeFile(client("package/start-stop"), "#!/bin/sh\nexit 0\n", 0755);
    writeFile(client("lib/module.so.7"), QByteArray(200000, 'm'));
    writeFile(client("lib/module-a"), "sorts between lib/module and lib/module.so.7");
    writeFile(client("share/help/page 1.txt"), "Page 1\n");
    run("ln -s module.so.7 lib/module.so; ln -s ../lib/module.so.7 bin/module; mkdir share/empty");
}

ClientFixture::~ClientFixture() {
    // The names of another character set are not for QTemporaryDir.
    std::filesystem::remove_all(m_folder.path().toStdString());
}

QByteArray ClientFixture::run(const QString& script) const {
    QDir().mkpath(root("package"));
    const QString names =
        "P='" + archive() + "'\n" +
        R"(list() { find . -mindepth 1 -printf '%P\0' | LC_ALL=C sort -z | LC_ALL=C grep -zxE "$@"; }
                             mapfile -d '' others < <(list -v 'INFO|bin/cloud-tessel-ui')
                             mapfile -d '' last < <(list 'INFO|bin/cloud-tessel-ui' | sort -rz)
                            )";
    return runCommand(names + script, client());
}

package::PackageBuilder ClientFixture::builder() const {
    return {client().toStdString(), root().toStdString()};
}

package::Outcome ClientFixture::checkPackage() const {
    return package::PackageChecker(archive().toStdString()).check();
}

package::Outcome ClientFixture::checkTree() const {
    package::PackageChecker checker(archive().toStdString());
    checker.setInfo(root("INFO").toStdString());
    return checker.check();
}

QStringList ClientFixture::names() const {
    return QString::fromUtf8(runCommand("bsdtar -tf '" + archive() + "'"))
        .split('\n', Qt::SkipEmptyParts);
}

QString ClientFixture::below(const QString& folder, const QString& relative) const {
    return m_folder.filePath(relative.isEmpty() ? folder : folder + '/' + relative);
}

QStringList linesOf(const package::Outcome& outcome) {
    QStringList lines;
    for (const package::Finding& finding : outcome.findings) {
        lines << QString::fromStdString(toLine(finding));
    }
    lines.sort();
    return lines;
}
