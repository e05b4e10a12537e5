#include "tests/support/tree-fixture.h"

#include "libui/UIPathManager.h"

TreeFixture::TreeFixture() {
    UIPathManager* paths = UIPathManager::getInstance();
    paths->setPath("user_aldane_tessel_path", home(".AldaneTessel"));
    paths->setPath("user_aldane_tessel_app_path", app());
    paths->setPath("user_aldane_tessel_resource_path", app());
    paths->setPath("user_aldane_tessel_data_path", home(".AldaneTessel/data"));
    paths->setPath("user_aldane_tessel_working_dir_path", app("bin"));
    paths->setPath("user_aldane_tessel_ui_path", app("bin/cloud-tessel-ui"));
    paths->setPath("user_skylark_path", home(".Skylark"));
    paths->setPath("user_skylark_resource_path", home(".Skylark/Skylark.app"));
    paths->setPath("root_resource_path", m_root.path());
}

QString TreeFixture::app(const QString& relative) const {
    const QString folder = ".AldaneTessel/AldaneTessel.app";
    return home(relative.isEmpty() ? folder : folder + "/" + relative);
}
