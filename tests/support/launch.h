#pragma once

#include "tests/support/child.h"
#include "tests/support/installed-tree.h"

#include <functional>

/// Runs the launcher of `tree` to its end, in the tree's environment. `prepare` runs in its process
/// before it is executed: for what a healthy desktop never hands to a program.
/// \return its status as inChild answers it, and what it printed; 142 (SIGALRM) after two minutes.
ChildRun launch(const InstalledTree& tree, const std::function<void()>& prepare);

/// For `prepare`: gives up root's rights, which no permission binds. An ordinary user's test keeps
/// its user. Ends the process where the rights stay.
void becomeOrdinaryUser();

/// Lets an ordinary user read the installation and have the home. The build folder, where the parts
/// of the installation come from, may be closed to them.
void openToOrdinaryUser(const InstalledTree& tree);
