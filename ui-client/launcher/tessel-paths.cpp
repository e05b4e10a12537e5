#include "ui-client/launcher/tessel-paths.h"

#include "libui/UIPathManager.h"

#include <QDir>

void registerTesselPaths(const QString& home, const QString& root) {
    const auto registerPath = [](const char* key, const QString& path) {
        UIPathManager::getInstance()->setPath(key, QDir::cleanPath(path));
    };
    registerPath("user_aldane_tessel_path", home + "/.AldaneTessel");
    registerPath("user_aldane_tessel_app_path", home + "/.AldaneTessel/AldaneTessel.app");
    // The same on purpose: the copy's resources lie in its own folder.
    registerPath("user_aldane_tessel_resource_path", home + "/.AldaneTessel/AldaneTessel.app");
    registerPath("user_aldane_tessel_data_path", home + "/.AldaneTessel/data");
    registerPath("user_aldane_tessel_working_dir_path",
                 home + "/.AldaneTessel/AldaneTessel.app/bin");
    registerPath("user_aldane_tessel_ui_path",
                 home + "/.AldaneTessel/AldaneTessel.app/bin/cloud-tessel-ui");
    registerPath("user_skylark_path", home + "/.Skylark");
    registerPath("user_skylark_resource_path", home + "/.Skylark/Skylark.app");
    registerPath("root_resource_path", root);
}
