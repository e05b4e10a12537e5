#include "tools/doctor/patient.h"

#include "libui/UIPathManager.h"
#include "ui-client/launcher/linux/linux-service.h"
#include "ui-client/launcher/registered-path.h"
#include "ui-client/launcher/tessel-paths.h"

#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

#include <filesystem>

namespace doctor {

namespace {

namespace fs = std::filesystem;

constexpr int told_obstacles = 3;

QString toQString(const ustring& text) {
    return QString::fromUtf8(text.c_str());
}

/// The launcher's own version records and decision.
class Reader : public LinuxService {
public:
    QString installedBuild() const { return toQString(source_version.build_version); }
    QString packagedBuild() const { return toQString(target_version.build_version); }
};

bool statOf(const QString& path, struct stat& status) {
    return lstat(QFile::encodeName(path).constData(), &status) == 0;
}

/// The build of the copy in `folder`, wherever it stands: its path takes the live copy's place in
/// the registry for the time of the reading.
QString buildOf(const QString& folder) {
    const char* key = "user_aldane_tessel_resource_path";
    const QString live = UIPathManager::getInstance()->getPath(key);
    UIPathManager::getInstance()->setPath(key, folder);
    Reader reader;
    reader.LoadSourceVerInfo();
    UIPathManager::getInstance()->setPath(key, live);
    return reader.installedBuild();
}

void needProgram(const char* name, Copy& copy) {
    struct stat status {};
    if (stat(QFile::encodeName(copy.path + '/' + name).constData(), &status) != 0 ||
        !S_ISREG(status.st_mode)) {
        copy.lacking << name;
    } else if ((status.st_mode & S_IXUSR) == 0) {
        copy.lacking << QString("run bit of ") + name;
    }
}

/// Whether the entry stands in the folder as the package would write it, content aside.
bool standsIn(const QString& folder, const package::Entry& entry) {
    struct stat status {};
    if (!statOf(folder + '/' + QString::fromStdString(entry.name), status)) {
        return false;
    }
    if (entry.kind != package::Entry::File) {
        const mode_t type = entry.kind == package::Entry::Folder ? S_IFDIR : S_IFLNK;
        return (status.st_mode & S_IFMT) == type;
    }
    const bool lacksRunBit = (entry.mode & S_IXUSR & ~status.st_mode) != 0;
    return S_ISREG(status.st_mode) && !lacksRunBit &&
           static_cast<uint64_t>(status.st_size) == entry.size;
}

bool equalsPackage(const Copy& copy, const PackageContents& package) {
    for (const package::Entry& entry : package.entries) {
        if (!standsIn(copy.path, entry)) {
            return false;
        }
    }
    return package.isSound();
}

void note(const fs::path& path, uid_t owner, Copy& copy) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        return;
    }
    copy.bytes += static_cast<uint64_t>(status.st_blocks) * 512;
    const bool isClosed = S_ISDIR(status.st_mode) && (status.st_mode & S_IRWXU) != S_IRWXU;
    const bool isForeign = S_ISDIR(status.st_mode) && status.st_uid != owner;
    if ((isClosed || isForeign) && copy.obstacles.size() < told_obstacles) {
        copy.obstacles << QString::fromStdString(path.string());
    }
}

void measure(uid_t owner, Copy& copy) {
    const fs::path top = QFile::encodeName(copy.path).toStdString();
    note(top, owner, copy);
    std::error_code error;
    fs::recursive_directory_iterator entry(top, fs::directory_options::skip_permission_denied,
                                           error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        note(entry->path(), owner, copy);
    }
}

Copy look(const QString& path, const Patient& patient) {
    Copy copy;
    copy.path = path;
    struct stat status {};
    copy.exists = statOf(path, status);
    copy.isFolder = copy.exists && S_ISDIR(status.st_mode);
    if (!copy.isFolder) {
        return copy;
    }
    copy.build = buildOf(path);
    if (copy.build.toInt() < 1) {
        copy.lacking << "INFO with a build_version";
    }
    needProgram("bin/cloud-tessel-ui", copy);
    needProgram("package/start-stop", copy);
    if (copy.build == patient.packagedBuild && patient.package.isSound()) {
        if (!equalsPackage(copy, patient.package)) {
            copy.lacking << "entries of the package of the same build";
        }
        copy.isVerified = copy.isComplete() && patient.package.brokenRules.isEmpty();
    }
    measure(patient.owner, copy);
    return copy;
}

} // namespace

QString backupPath(const QString& home, int number) {
    const QString live = home + "/.AldaneTessel/AldaneTessel.app";
    return toQString(GetAppBackupDir(toUstring(live), number));
}

Patient examine(const QString& home, const QString& root, const PackageContents& package) {
    registerTesselPaths(home, root);
    Patient patient;
    patient.home = home;
    patient.root = root;
    patient.owner = QFileInfo(home).ownerId();
    patient.package = package;
    Reader reader;
    reader.PreUpgrade();
    patient.packagedBuild = reader.packagedBuild();
    patient.needsUpgrade = reader.IsNeedUpgrade();
    patient.hasExecutable = reader.PerUserBinPathExist();
    patient.live =
        look(UIPathManager::getInstance()->getPath("user_aldane_tessel_app_path"), patient);
    for (int number = 0; number < backup_names; ++number) {
        const Copy backup = look(backupPath(home, number), patient);
        if (backup.exists) {
            patient.backups << backup;
        }
    }
    return patient;
}

} // namespace doctor
