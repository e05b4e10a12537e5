#pragma once

#include "ui-client/launcher/cloud-service.h"

/// The upgrade on Linux: finds the running client by its pid file and starts the user's copy
/// through that copy's start-stop script. Reads the path registry, so start-up must have filled it.
class LinuxService : public Service {
public:
    LinuxService();

    /// An instance for the whole process. The worker has its own.
    static LinuxService* GetInstace(); // callers know the name in this spelling

    /// Asks the client whose pid the file "ui.pid" tells to end, waits up to about five seconds,
    /// and then kills it. Without a file or a pid in it nothing is signalled.
    void StopService() override;
    /// Stops the client, if the user has one installed, and installs the package.
    /// \return what PrepareUserEnv answers: 0 done, anything else failed.
    int HandlePackageUpgrade() override;
    /// Starts the user's copy, whatever became of the upgrade. Blocks until its script returns.
    void PostUpgrade() override;
    /// Loads both version records.
    void PreUpgrade() override;
    /// \return true when the packaged build is above the installed one, or when the user's client
    /// executable is missing.
    bool IsNeedUpgrade() override;

    void LoadSourceVerInfo();
    void LoadTargetVerInfo();
    /// \return false also where the path cannot be looked at.
    bool PerUserBinPathExist();
    /// Runs the copy's start-stop script with "start" and waits for its end.
    /// \return 0, whatever became of the script.
    int LaunchPerUserBin();
};
