#include "tools/doctor/checks.h"

#include <QFile>
#include <QFileInfo>

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace doctor {

namespace {

/// What the launcher does with a place of the installation.
struct Use {
    const char* place;
    int right; // as access() takes it
};

// INFO and the package themselves are told with the installation: they are for all users.
constexpr Use uses[] = {{"/bin/launcher", X_OK},
                        {"/package", X_OK},
                        {"/lib/plugins/platforms", R_OK | X_OK},
                        {"/lib/plugins/platforms/libqxcb.so", R_OK}};

std::vector<gid_t> groupsOf(uid_t user) {
    const passwd* entry = getpwuid(user);
    if (entry == nullptr) {
        return {};
    }
    int count = 0;
    getgrouplist(entry->pw_name, entry->pw_gid, nullptr, &count);
    std::vector<gid_t> groups(static_cast<size_t>(count));
    getgrouplist(entry->pw_name, entry->pw_gid, groups.data(), &count);
    return groups;
}

/// Whether `user` has the right to what stands at `path`, the way there aside.
bool has(uid_t user, const std::vector<gid_t>& groups, const QByteArray& path, int right) {
    if (user == geteuid()) {
        // The kernel knows best. What is missing is told with the installation.
        return access(path.constData(), right) == 0 || errno == ENOENT;
    }
    struct stat status {};
    if (user == 0 || stat(path.constData(), &status) != 0) {
        return true;
    }
    const bool isInGroup = std::find(groups.begin(), groups.end(), status.st_gid) != groups.end();
    const int shift = status.st_uid == user ? 6 : isInGroup ? 3 : 0;
    return (static_cast<int>(status.st_mode >> shift) & right) == right;
}

/// The first place on the way to `path` that keeps `user` out, `path` included; empty where none.
QString barrier(uid_t user, const std::vector<gid_t>& groups, const QString& path, int right) {
    for (int end = path.indexOf('/', 1); end > 0; end = path.indexOf('/', end + 1)) {
        const QString folder = path.left(end);
        if (!has(user, groups, QFile::encodeName(folder), X_OK)) {
            return folder;
        }
    }
    return has(user, groups, QFile::encodeName(path), right) ? QString() : path;
}

} // namespace

void checkReach(const Patient& patient, Findings& findings) {
    const std::vector<gid_t> groups = groupsOf(patient.owner);
    const QString root = QFileInfo(patient.root).canonicalFilePath();
    QStringList told;
    for (const Use& use : uses) {
        const QString closed = barrier(patient.owner, groups, root + use.place, use.right);
        if (!closed.isEmpty() && !told.contains(closed)) {
            told << closed;
            findings.fault("installation",
                           closed + " is closed to this user: no launcher, no upgrade",
                           "chmod a+rX " + closed);
        }
    }
}

} // namespace doctor
