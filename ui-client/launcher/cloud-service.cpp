#include "ui-client/launcher/cloud-service.h"

#include "lib/file/dir_guard.h"
#include "lib/file/file-op.h"
#include "lib/log.h"
#include "ui-client/launcher/extractor.h"
#include "ui-client/launcher/registered-path.h"

#include <QDir>
#include <QFileInfo>
#include <QSettings>

#include <cstdio>

#define LOG_SOURCE "cloud-service"
#define LOG_COMPONENT "service_debug"

namespace {

constexpr int max_backups = 10;

ustring nativePath(const char* key) {
    return toUstring(QDir::toNativeSeparators(UIPathManager::getInstance()->getPath(key)));
}

void loadVersion(const ustring& path, Service::VersionInfo& version) {
    const QString file = QString::fromUtf8(path.c_str());
    // A FIFO in the place of the file would keep the reader waiting for ever.
    const QFileInfo status(file);
    if (!status.isFile()) {
        if (status.exists() && !status.isDir()) {
            WRITE_LOG(L_WARNING, LOG_HERE("'%s' is not a regular file\n"), path.c_str());
        }
        return;
    }
    QSettings info(file, QSettings::IniFormat);
    info.beginGroup("Version");
    const auto load = [&info](const char* key, ustring& field) {
        if (info.contains(key)) {
            field = toUstring(info.value(key, QVariant()).toString());
        }
    };
    load("major_version", version.major_version);
    load("minor_version", version.minor_version);
    load("build_version", version.build_version);
    load("icon_overlay_version", version.icon_overlay_version);
}

} // namespace

Service::~Service() = default;

void Service::SetTimeout(int ms) {
    timeout = ms;
}

QString Service::GetUserInstallPath() {
    return QDir::homePath();
}

void Service::LoadSourceVersion() {
    const ustring path = registeredPath("user_aldane_tessel_resource_path") + "/INFO";
    if (!IsFileExist(path, false)) {
        WRITE_LOG(L_INFO, LOG_HERE("source does not exist\n"));
        return;
    }
    loadVersion(path, source_version);
    WRITE_LOG(L_INFO, LOG_HERE("source_version = (%s, %s, %s, %s)\n"),
              source_version.major_version.c_str(), source_version.minor_version.c_str(),
              source_version.build_version.c_str(), source_version.icon_overlay_version.c_str());
}

void Service::LoadTargetVersion() {
    loadVersion(registeredPath("root_resource_path") + "/INFO", target_version);
    WRITE_LOG(L_INFO, LOG_HERE("target_version = (%s, %s, %s, %s)\n"),
              target_version.major_version.c_str(), target_version.minor_version.c_str(),
              target_version.build_version.c_str(), target_version.icon_overlay_version.c_str());
}

ustring GetAppBackupDir(const ustring& path, int n) {
    ustring base = path + "_tmp";
    if (n == 0) {
        return base;
    }
    char postfix[8];
    // Volatile: the optimiser takes it for granted that "%d" cannot fail, and drops the branch.
    const volatile int length = snprintf(postfix, sizeof postfix, "%d", n);
    if (length < 0) {
        // The line has no line feed at its end; that is meant.
        WRITE_LOG(L_ERR, LOG_HERE("snprintf failed (continuing without postfix)"));
        postfix[0] = '\0';
    }
    return base + postfix;
}

int Service::ExtractPackage() {
    const ustring archive = registeredPath("root_resource_path") + "/package/skylark.tpx";
    const ustring folder = registeredPath("user_aldane_tessel_app_path");
    if (FSMKDir(folder, true) < 0) {
        WRITE_LOG(L_ERR, LOG_HERE("failed to create folder: '%s'\n"), folder.c_str());
        return -1;
    }
    WRITE_LOG(L_INFO, LOG_HERE("extract package: '%s' -> '%s'\n"), archive.c_str(), folder.c_str());
    Extractor extractor;
    extractor.SetSource(archive);
    extractor.SetTarget(folder);
    return extractor.Extract();
}

namespace {

/// Moves `folder` to the first of its backup names that can be had.
/// \param attempt on success the number of `backup`.
/// \return 0; -1 none could be had: the folder is where it was.
int moveAside(const ustring& folder, ustring& backup, int& attempt) {
    for (attempt = 0; attempt < max_backups; ++attempt) {
        backup = GetAppBackupDir(folder, attempt);
        if (FSRename(folder, backup, false) == 0) {
            return 0;
        }
        WRITE_LOG(L_ERR, LOG_HERE("failed to backup app from '%s' -> '%s'\n"), folder.c_str(),
                  backup.c_str());
    }
    WRITE_LOG(L_ERR, LOG_HERE("failed to backup app from '%s' -> '%s' at max retries, exiting\n"),
              folder.c_str(), backup.c_str());
    return -1;
}

void rollBack(const ustring& folder, const ustring& backup) {
    if (backup.empty()) {
        WRITE_LOG(L_ERR,
                  LOG_HERE("Failed to extract package, and no old installation to rollback\n"));
        return;
    }
    WRITE_LOG(L_ERR, LOG_HERE("Failed to extract package, rollback to old installation\n"));
    FSRemove(folder, false);
    FSRename(backup, folder, false);
}

} // namespace

int Service::PrepareUserEnv() {
    const ustring& folder = per_user_install_path;
    ustring backup;
    int attempt = 0;
    if (IsFileExist(folder, false) && moveAside(folder, backup, attempt) != 0) {
        return -1;
    }
    if (ExtractPackage() != 0) {
        rollBack(folder, backup);
        return -1;
    }
    WRITE_LOG(L_INFO, LOG_HERE("user installation is ready, removing backup app\n"));
    // The lower numbers are what an interrupted run may have left in this one's way.
    for (int n = 0; n <= attempt; ++n) {
        FSRemove(GetAppBackupDir(folder, n), false);
    }
    return 0;
}

namespace {

/// Some file systems do not tell the type of a folder's entries; then the entry itself is asked.
bool isFolder(const DIR_ENTRY& entry, const ustring& path) {
    FILE_INFO info;
    return entry.type == FT_DIR ||
           (entry.type == FT_ERR && FSStat(path, info, false) == 0 && info.type == FT_DIR);
}

int copyPath(const ustring& src, const ustring& dst);

int copyEntries(const ustring& src, const ustring& dst) {
    DIR_HANDLE folder;
    if (FSOpenDir(src, 0, folder) < 0) {
        // A folder that cannot be read is left out, without an error. Both blanks are meant.
        WRITE_LOG(L_WARNING, LOG_HERE("FSCopyPath: failed to create handle  for src '%s' failed\n"),
                  src.c_str());
        return 0;
    }
    const DirGuard guard(folder);
    DIR_ENTRY entry;
    while (FSReadDir(folder, entry) >= 1) {
        if (entry.name == "." || entry.name == "..") {
            continue;
        }
        const ustring from = src + "/" + entry.name;
        const ustring to = dst + "/" + entry.name;
        if ((isFolder(entry, from) ? copyPath(from, to) : FSCopy(from, to, false)) < 0) {
            WRITE_LOG(L_ERR, LOG_HERE("FSCopyPath: failed to copy from '%s' to '%s'\n"),
                      from.c_str(), to.c_str());
            return -1;
        }
    }
    return 0;
}

int copyPath(const ustring& src, const ustring& dst) {
    WRITE_LOG(L_DEBUG, LOG_HERE("copy from '%s' to '%s'\n"), src.c_str(), dst.c_str());
    FILE_INFO info;
    if (FSStat(src, info, false) < 0) {
        WRITE_LOG(L_ERR, LOG_HERE("FSCopyPath: failed to stat source '%s'\n"), src.c_str());
        return -1;
    }
    if (!info.isExist) {
        WRITE_LOG(L_ERR, LOG_HERE("FSCopyPath: source path '%s' does not exist\n"), src.c_str());
        return -1;
    }
    if (info.type != FT_DIR) {
        FSCopy(src, dst, false);
        return 0; // also where the copy failed: callers rely on it
    }
    if (FSMKDir(dst, true) < 0) {
        WRITE_LOG(L_ERR, LOG_HERE("FSCopyPath: failed to create dest folder '%s'\n"), dst.c_str());
        return -1;
    }
    return copyEntries(src, dst);
}

} // namespace

int Service::FSCopyPath(const ustring& src, const ustring& dst) {
    return copyPath(src, dst);
}

void Service::MigrateService() {
    const ustring old_path = nativePath("user_skylark_path");
    const ustring new_path = nativePath("user_aldane_tessel_path");
    const ustring new_app = new_path + "/AldaneTessel.app";
    // Inside the new folder: it comes along when the whole old folder takes the new name.
    const ustring old_app = new_path + "/Skylark.app";
    if (FSRename(old_path, new_path, true) == 0) {
        if (IsFileExist(old_app, true) && FSRename(old_app, new_app, true) != 0) {
            WRITE_LOG(L_ERR, LOG_HERE("Move failed when move to %s\n"), new_app.c_str());
        }
        return;
    }
    WRITE_LOG(L_ERR, LOG_HERE("Move failed when move to %s\n"), new_path.c_str());
    if (!IsFileExist(new_path, true) && FSMKDir(new_path, true) < 0) {
        WRITE_LOG(L_ERR, LOG_HERE("Failed to create Aldane Tessel folder\n"));
        return;
    }
    const ustring old_data = old_path + "/data";
    if (IsFileExist(old_data, true) && FSRename(old_data, new_path + "/data", true) < 0) {
        WRITE_LOG(L_ERR, LOG_HERE("Failed to move data to Aldane Tessel folder\n"));
    }
}

void Service::RemoveAgedFolders() {
    const ustring aged = nativePath("user_skylark_path") + "/app";
    WRITE_LOG(L_INFO, LOG_HERE("removing aged app folder %s\n"), aged.c_str());
    FSRemove(aged, false);
}
