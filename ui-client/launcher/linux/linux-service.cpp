#include "ui-client/launcher/linux/linux-service.h"

#include "lib/config.h"
#include "lib/file/file-op.h"
#include "lib/log.h"
#include "ui-client/launcher/linux/client-pid.h"
#include "ui-client/launcher/registered-path.h"

#include <QProcess>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#define LOG_SOURCE "linux/linux-service"
#define LOG_COMPONENT "service_debug"

namespace {

constexpr int max_waits = 5;

int buildNumber(const ustring& text) {
    // NOLINTNEXTLINE(cert-err34-c): a build text without digits reads as 0
    return text.empty() ? 0 : atoi(text.c_str());
}

bool isGone(int pid) {
    return kill(pid, 0) != 0 && errno == ESRCH;
}

void waitOneSecond() {
    // A signal cuts the first sleep short; one more makes up for it.
    if (sleep(1) != 0) {
        sleep(1);
    }
}

/// Ends the process `pid`: politely, and after about five seconds by force.
void terminate(int pid) {
    if (kill(pid, SIGTERM) != 0) {
        const int error = errno;
        if (error == ESRCH) {
            return;
        }
        WRITE_LOG(L_ERR, LOG_HERE("kill: %s (%d)\n"), strerror(error), error);
    }
    for (int waits = 0; waits < max_waits; ++waits) {
        if (isGone(pid)) {
            return;
        }
        waitOneSecond();
    }
    kill(pid, SIGKILL); // without a further probe
}

/// Whether this process may hold the descriptors that the start of another one takes. Where they
/// run out half-way, QProcess can wait for ever for a process that does not exist.
bool descriptorsSuffice() {
    constexpr int needed = 9; // four pipes, and the new process itself
    int held[needed];
    int count = 0;
    while (count < needed && (held[count] = open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0) {
        ++count;
    }
    const int error = errno;
    for (int i = 0; i < count; ++i) {
        close(held[i]);
    }
    errno = error;
    return count == needed;
}

} // namespace

LinuxService::LinuxService() {
    timeout = 10000;
    per_user_install_path = registeredPath("user_aldane_tessel_app_path");
}

LinuxService* LinuxService::GetInstace() {
    static LinuxService instance;
    return &instance;
}

void LinuxService::LoadSourceVerInfo() {
    LoadSourceVersion();
}

void LinuxService::LoadTargetVerInfo() {
    LoadTargetVersion();
}

void LinuxService::PreUpgrade() {
    LoadTargetVerInfo();
    LoadSourceVerInfo();
    WRITE_LOG(L_DEBUG, LOG_HERE("Source version: ('%s', '%s')\n"),
              source_version.build_version.c_str(), source_version.icon_overlay_version.c_str());
    WRITE_LOG(L_DEBUG, LOG_HERE("Target version: ('%s', '%s')\n"),
              target_version.build_version.c_str(), target_version.icon_overlay_version.c_str());
}

bool LinuxService::IsNeedUpgrade() {
    const int source = buildNumber(source_version.build_version);
    const int target = buildNumber(target_version.build_version);
    WRITE_LOG(L_DEBUG, LOG_HERE("source version = %d, target version = %d\n"), source, target);
    // A user without an executable is installed even when the builds speak against it.
    return target > source || !PerUserBinPathExist();
}

int LinuxService::HandlePackageUpgrade() {
    // Without an executable no client can be running.
    if (PerUserBinPathExist()) {
        WRITE_LOG(L_DEBUG, LOG_HERE("local appdata exist\n"));
        StopService();
    }
    return PrepareUserEnv();
}

void LinuxService::PostUpgrade() {
    LaunchPerUserBin();
}

void LinuxService::StopService() {
    const ustring pid_file = registeredPath("user_aldane_tessel_path") + "/ui.pid";
    if (!IsFileExist(pid_file, false)) {
        WRITE_LOG(L_DEBUG, LOG_HERE("pid file '%s' does not exist, no need to terminate\n"),
                  pid_file.c_str());
        return;
    }
    Config config;
    if (config.read(pid_file.c_str()) < 0) {
        WRITE_LOG(L_NOTICE, LOG_HERE("Failed to read pid file '%s', not exist ?\n"),
                  pid_file.c_str());
        return;
    }
    const int pid = parsePid(config["pid"]);
    if (pid == no_pid) {
        WRITE_LOG(L_NOTICE, LOG_HERE("pid file '%s' names no process, nothing to terminate\n"),
                  pid_file.c_str());
        return;
    }
    terminate(pid);
}

bool LinuxService::PerUserBinPathExist() {
    return access(registeredPath("user_aldane_tessel_ui_path").c_str(), F_OK) == 0;
}

int LinuxService::LaunchPerUserBin() {
    const ustring command = per_user_install_path + "/package/start-stop start";
    if (!descriptorsSuffice()) {
        const int error = errno;
        WRITE_LOG(L_ERR, LOG_HERE("cannot start '%s': %s (%d)\n"), command.c_str(), strerror(error),
                  error);
        return 0;
    }
    // One string, although deprecated: it is split at blanks, those of the path as well.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    QProcess::execute(QString::fromUtf8(command.c_str()));
#pragma GCC diagnostic pop
    return 0;
}
