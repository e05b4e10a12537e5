#include "tests/support/installed-tree.h"

#include "tests/support/command.h"
#include "tests/support/files.h"

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
    return home(".AldaneTessel/AldaneTessel.app/" + relative);
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

QStringList InstalledTree::log(const QString& source) const {
    const QString text = QString::fromUtf8(readFile(home(".AldaneTessel/log/launcher.log")));
    static const QRegularExpression stamp("^\\S+ [ \\d]\\d \\d\\d:\\d\\d:\\d\\d ");
    return text.split('\n')
        .replaceInStrings(stamp, QString())
        .filter(QRegularExpression("^\\[[A-Z]+\\] " + source + "\\("));
}

QProcessEnvironment InstalledTree::environment() const {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("HOME", home());
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    environment.insert("LC_ALL", "C.UTF-8");
    return environment;
}
