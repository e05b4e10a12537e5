#include "lib/config.h"
#include "libui/LauncherLock.h"
#include "tools/doctor/checks.h"
#include "ui-client/launcher/linux/client-pid.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

namespace doctor {

namespace {

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Whether process `pid` holds a lock on the file `lock` through one of its descriptors.
bool holds(const QString& pid, const struct stat& lock) {
    const QString folder = "/proc/" + pid;
    for (const QString& fd : QDir(folder + "/fd").entryList(QDir::Files | QDir::System)) {
        struct stat status {};
        const QByteArray path = QFile::encodeName(folder + "/fd/" + fd);
        if (stat(path.constData(), &status) == 0 && status.st_ino == lock.st_ino &&
            status.st_dev == lock.st_dev && readAll(folder + "/fdinfo/" + fd).contains("\nlock:")) {
            return true;
        }
    }
    return false;
}

QString pidFile(const Patient& patient) {
    return patient.folder() + "/ui.pid";
}

/// Whether the process is the user's client: its program, or the script that it runs, lies in the
/// user's copy.
bool isClient(const QString& process, const Patient& patient) {
    const QString app = patient.live.path + '/';
    return QFile::symLinkTarget(process + "/exe").startsWith(app) ||
           readAll(process + "/cmdline").contains(QFile::encodeName(app));
}

QString programOf(const QString& process) {
    const QString program = QFile::symLinkTarget(process + "/exe");
    return program.isEmpty() ? QString::fromUtf8(readAll(process + "/comm").trimmed()) : program;
}

void checkProcess(int pid, const Patient& patient, Findings& findings) {
    const QString process = QString("/proc/%1").arg(pid);
    const QString remedy =
        "remove " + pidFile(patient) + "; the client must remove it when it ends";
    if (!QFileInfo::exists(process)) {
        findings.fault("client",
                       QString("ui.pid names process %1, which does not live: an upgrade ends "
                               "whatever process of the user's gets that number")
                           .arg(pid),
                       remedy);
        return;
    }
    const QString told = QString("process %1, %2").arg(pid).arg(programOf(process));
    if (!isClient(process, patient)) {
        findings.fault("client",
                       QString("ui.pid names %1, which is not the user's client: an upgrade "
                               "signals it")
                           .arg(told),
                       remedy);
        return;
    }
    findings.fact("client", "runs: " + told);
}

} // namespace

int launcherProcess(const Patient& patient) {
    struct stat lock {};
    const QString path = launcherLockPath(patient.home, patient.owner);
    if (lstat(QFile::encodeName(path).constData(), &lock) != 0 || !S_ISREG(lock.st_mode)) {
        return 0;
    }
    // Looked up in the kernel's tables, not tried: a launcher that started while the doctor had the
    // lock would go away without a word.
    for (const QString& pid : QDir("/proc").entryList({"[0-9]*"}, QDir::Dirs)) {
        if (holds(pid, lock)) {
            return pid.toInt();
        }
    }
    return 0;
}

void checkLauncher(const Patient& patient, Findings& findings) {
    const int pid = launcherProcess(patient);
    findings.fact("launcher", pid == 0 ? QString("none runs")
                                       : QString("runs as process %1: a second one ends without a "
                                                 "word until it is done")
                                             .arg(pid));
}

void checkClient(const Patient& patient, Findings& findings) {
    const QString path = pidFile(patient);
    if (!QFileInfo::exists(path)) {
        findings.fact("client", "no ui.pid: no client is running");
        return;
    }
    Config config;
    if (config.read(QFile::encodeName(path).toStdString()) != 0) {
        findings.fault("client", "ui.pid cannot be read: an upgrade takes it that no client runs",
                       "remove " + path + ", or let the client write one line 'pid=NUMBER'");
        return;
    }
    const int pid = parsePid(config["pid"]);
    if (pid == no_pid) {
        findings.fault("client", "ui.pid names no process: an upgrade takes it that no client runs",
                       "remove " + path + ", or let the client write one line 'pid=NUMBER'");
        return;
    }
    checkProcess(pid, patient, findings);
}

} // namespace doctor
