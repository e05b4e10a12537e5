#pragma once

#include "ui-client/launcher/cloud-service.h"

/// A Service whose platform half does nothing, and whose fields a test can see.
class PlainService : public Service {
public:
    using Service::per_user_install_path;
    using Service::source_version;
    using Service::target_version;
    using Service::timeout;

    void StopService() override {}
    int HandlePackageUpgrade() override { return 0; }
    void PostUpgrade() override {}
    void PreUpgrade() override {}
    bool IsNeedUpgrade() override { return false; }
};
