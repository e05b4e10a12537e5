#include "ui-client/launcher/linux/package_info.h"

#include "ui-client/launcher/registered-path.h"

#include <QDir>

PackageInfo::PackageInfo()
    : ImageFolder("/opt/Aldane/AldaneTessel/images"),
      LogFolder(toUstring(QDir::homePath() + "/.AldaneTessel")),
      LogLevelPath("/opt/Aldane/AldaneTessel/log/launcher.debug"),
      PackagePath("/opt/Aldane/AldaneTessel/package/skylark.tpx"),
      ConfigFolder("/opt/Aldane/AldaneTessel/conf") {}

PackageInfo* PackageInfo::GetInstance() {
    static PackageInfo instance;
    return &instance;
}
