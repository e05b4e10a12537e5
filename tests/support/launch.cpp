#include "tests/support/launch.h"

#include "tests/support/command.h"

#include <QFile>

#include <grp.h>
#include <unistd.h>

#include <cstdlib>

namespace {

constexpr unsigned patience = 120; // seconds
constexpr int nobody = 65534;

} // namespace

ChildRun launch(const InstalledTree& tree, const std::function<void()>& prepare) {
    const QProcessEnvironment environment = tree.environment();
    const QByteArray program = QFile::encodeName(tree.launcher());
    const QByteArray folder = QFile::encodeName(tree.root());
    return observeChild([&] {
        for (const QString& name : environment.keys()) {
            qputenv(name.toLatin1().constData(), environment.value(name).toUtf8());
        }
        alarm(patience); // stays set over the execution
        // The test's own files are none of the program's.
        for (int file = STDERR_FILENO + 1; file < 256; ++file) {
            close(file);
        }
        if (chdir(folder.constData()) == 0) {
            prepare();
            execl(program.constData(), program.constData(), nullptr);
        }
        return 127;
    });
}

void becomeOrdinaryUser() {
    if (geteuid() == 0 &&
        (setgroups(0, nullptr) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)) {
        _exit(126);
    }
    // The list of leaks that are not ours lies beside the sources, which may be closed to this user.
    qunsetenv("LSAN_OPTIONS");
    qputenv("ASAN_OPTIONS", "detect_leaks=0");
}

void openToOrdinaryUser(const InstalledTree& tree) {
    runCommand(
        "for part in lib images; do\n"
        "    cp -rL --remove-destination $part open-$part && rm $part && mv open-$part $part\n"
        "done\n"
        "chmod -R a+rX .",
        tree.root());
    if (geteuid() == 0) {
        runCommand(QString("chown -R %1:%1 .").arg(nobody), tree.home());
    }
}
