#include "tests/support/command.h"

#include <QProcess>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <stdexcept>

QByteArray runCommand(const QString& script, const QString& folder) {
    QProcess shell;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LC_ALL", "C.UTF-8");
    shell.setProcessEnvironment(environment);
    shell.setWorkingDirectory(folder);
    shell.start("bash", {"-e", "-o", "pipefail", "-c", script});
    if (!shell.waitForFinished() || shell.exitStatus() != QProcess::NormalExit ||
        shell.exitCode() != 0) {
        throw std::runtime_error(script.toStdString() + ": " +
                                 shell.readAllStandardError().toStdString());
    }
    return shell.readAllStandardOutput();
}

StdoutCapture::StdoutCapture()
    : m_saved(dup(STDOUT_FILENO)), m_file(open("/tmp", O_TMPFILE | O_RDWR, 0600)) {
    (void)fflush(stdout);
    if (m_saved < 0 || m_file < 0 || dup2(m_file, STDOUT_FILENO) < 0) {
        throw std::runtime_error("cannot redirect standard output");
    }
}

StdoutCapture::~StdoutCapture() {
    (void)fflush(stdout);
    dup2(m_saved, STDOUT_FILENO);
    close(m_saved);
    close(m_file);
}

QByteArray StdoutCapture::text() const {
    (void)fflush(stdout);
    struct stat info = {};
    fstat(m_file, &info);
    QByteArray bytes(static_cast<int>(info.st_size), '\0');
    if (pread(m_file, bytes.data(), static_cast<size_t>(bytes.size()), 0) != bytes.size()) {
        throw std::runtime_error("cannot read the output back");
    }
    return bytes;
}
