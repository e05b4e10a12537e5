#pragma once

#include "lib/ustring/ustring.h"

/// The fixed places of the system-wide installation. The upgrade takes its paths from the path
/// registry; these are for whoever needs to name the installed folders.
class PackageInfo {
public:
    PackageInfo();

    static PackageInfo* GetInstance();

    const ustring& GetImageFolder() const { return ImageFolder; }
    const ustring& GetLogFolder() const { return LogFolder; }
    const ustring& GetLogLevelPath() const { return LogLevelPath; }
    const ustring& GetPackagePath() const { return PackagePath; }
    const ustring& GetConfigFolder() const { return ConfigFolder; }

private:
    ustring ImageFolder;
    ustring LogFolder; // the one that lies in the user's home
    ustring LogLevelPath;
    ustring PackagePath;
    ustring ConfigFolder;
};
