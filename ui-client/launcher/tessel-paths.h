#pragma once

#include <QString>

/// Fills the path registry with the nine paths of a user's tree and of the installation. Start-up
/// does so for the user who runs the launcher; whoever looks at another home names that one.
/// \param home the user's home folder.
/// \param root the installation tree, the folder that holds INFO and "package".
void registerTesselPaths(const QString& home, const QString& root);
