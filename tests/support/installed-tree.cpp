#include "tests/support/installed-tree.h"

#include "tests/support/command.h"
#include "tests/support/files.h"
#include "tests/support/log-capture.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>

#include <stdexcept>

namespace {

void writeClient(const QString& folder, int build, const QByteArray& script) {
    writeFile(folder + "/INFO", "[Version]\nbuild_version=" + QByteArray::number(build) + "\n");
    writeFile(folder + "/bin/cloud-tessel-ui", "#!/bin/sh\n", 0755);
    writeFile(folder + "/package/start-stop", "#!/bin/sh\n" + script + "\n", 0755);
    for (int i = 0; i < 100; ++i) {
        writeFile(QString("%1/share/%2").arg(folder).arg(i), QByteArray(2000, 'x'));
    }
}

} // namespace

const QByteArray noteCall = R"(build=$(sed -n 's/^build_version=//p' "${0%/*}/../INFO")
echo "$1 $build" >>"$HOME/calls")";

InstalledTree::InstalledTree() {
    const QString installed = TESSEL_INSTALLED;
    QDir(m_root.path()).mkdir("bin");
    QDir(m_root.path()).mkdir("log");
    QDir(m_root.path()).mkdir("package");
    // A copy: the program finds its tree by the place of its own file.
    if (!QFile::copy(installed + "/bin/launcher", launcher()) ||
        !QFile::link(installed + "/lib", root("lib")) ||
        !QFile::link(installed + "/images", root("images"))) {
        throw std::runtime_error("nothing is installed in " + installed.toStdString());
    }
}

QString InstalledTree::root(const QString& relative) const {
    return relative.isEmpty() ? m_root.path() : m_root.filePath(relative);
}

QString InstalledTree::app(const QString& relative) const {
    const QString app = home(".AldaneTessel/AldaneTessel.app");
    return relative.isEmpty() ? app : app + '/' + relative;
}

void InstalledTree::pack(int build, const QByteArray& script) const {
    const QTemporaryDir stage;
    writeClient(stage.path(), build, script);
    runCommand("tar -czf '" + root("package/skylark.tpx") + "' *", stage.path());
    writeFile(root("INFO"), readFile(stage.filePath("INFO")));
}

void InstalledTree::installCopy(int build, const QByteArray& script) const {
    writeClient(home(".AldaneTessel/AldaneTessel.app"), build, script);
}

void InstalledTree::logEverything() const {
    writeFile(root("log/launcher.debug"),
              "launcher_debug=7\nservice_debug=7\nextractor_debug=7\nfile_op_debug=7\n");
}

QStringList InstalledTree::log() const {
    if (!QFile::exists(logFile())) {
        return {};
    }
    static const QRegularExpression number(
        "^(\\[[A-Z]+\\] (?:cloud-service|linux/linux-service|file-op))\\(\\d+\\): ");
    return logLines(logFile())
        .replaceInStrings(number, "\\1(#): ")
        .replaceInStrings(home(), "H")
        .replaceInStrings(root(), "T");
}

QStringList InstalledTree::log(const QString& source) const {
    return log().filter(QRegularExpression("^\\[[A-Z]+\\] " + source + "\\("));
}

QStringList InstalledTree::calls() const {
    const QString file = home("calls");
    return QFile::exists(file) ? QString::fromUtf8(readFile(file)).split('\n', Qt::SkipEmptyParts)
                               : QStringList();
}

QProcessEnvironment InstalledTree::environment() const {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("HOME", home());
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    environment.insert("LC_ALL", "C.UTF-8");
    return environment;
}
