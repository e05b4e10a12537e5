#pragma once

#include "lib/ustring/ustring.h"

#include <QString>

/// The upgrade of one user's own copy of the client, but for what differs from platform to
/// platform: stopping the running client, the decision, and the hooks around the upgrade.
/// Owned by the worker, which alone calls it, on its own thread; never copied, takes no lock.
/// Nothing here throws or reaches the user: failures are results and lines in the log.
class Service {
public:
    /// One version record; a field is empty where it is not known.
    struct VersionInfo {
        ustring major_version;
        ustring minor_version;
        ustring build_version; // a decimal number as text; it alone decides on an upgrade
        ustring icon_overlay_version;
    };

    Service() = default;
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    // The order of the virtual operations is fixed.
    virtual ~Service();
    /// Ends the user's running client, if there is one. May block for some seconds.
    virtual void StopService() = 0;
    virtual void SetTimeout(int ms);
    /// Replaces the user's copy by the packaged one. \return 0 done; anything else failed.
    virtual int HandlePackageUpgrade() = 0;
    virtual void PostUpgrade() = 0;
    virtual void PreUpgrade() = 0;
    virtual bool IsNeedUpgrade() = 0;

    /// Unpacks the system-wide package into the user's installation folder. Blocks on the disk.
    /// \return 0 unpacked; -1 no folder, or the extraction failed: what it wrote stays.
    virtual int ExtractPackage();

    /// Read a version record from an INFO file. A key that the file lacks leaves its field as it
    /// was; a file that cannot be read counts as one without keys.
    virtual void LoadSourceVersion(); // of the user's copy
    virtual void LoadTargetVersion(); // of the system-wide package

    /// Moves the user's copy aside, unpacks the package in its place, and then drops the backups or
    /// puts the old copy back. Blocks on the disk.
    /// \return 0 the new copy is in place; -1 it is not: the old copy, if there was one, is back
    /// under its own name, or was never moved since no backup name was free.
    virtual int PrepareUserEnv();

    /// Moves the former product generation's folder to the current one, or, where that fails, its
    /// data alone. The upgrade does not call it; it is here for callers that migrate.
    virtual void MigrateService();

    /// Deletes the former product generation's application folder, if it exists.
    void RemoveAgedFolders();

    /// Copies a file, or a folder with all it holds. The upgrade does not call it.
    /// \return 0 copied, and also where a single file failed or a folder cannot be opened; -1 the
    /// source is missing, a folder cannot be made, or an entry failed: what was copied stays.
    int FSCopyPath(const ustring& src, const ustring& dst);

    /// The user's home folder, from which start-up builds the per-user paths.
    static QString GetUserInstallPath();

protected:
    int timeout = 0; // milliseconds; a settable property that nothing here reads back
    ustring per_user_install_path;
    VersionInfo target_version; // what the system-wide package would bring
    VersionInfo source_version; // what the user's copy is
};

/// The name of backup folder `n` of the folder `path`: with "_tmp" behind it, and the number where
/// that is not 0.
ustring GetAppBackupDir(const ustring& path, int n);
