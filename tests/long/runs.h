#pragma once

#include <string>

/// The long runs. Each prints its rows and answers how many of them do not hold. `scratch` is a
/// folder of its own, which may be missing.

/// `lines` lines from eight threads into one log, over as many rotations as they take.
int logLines(const std::string& scratch, int lines);

/// `times` upgrades by one service in this process, in one home.
int upgradesInOneProcess(const std::string& installation, const std::string& scratch, int times);

/// The same by the installed program, one start after the other.
int upgradesByStarts(const std::string& installation, const std::string& scratch, int times);

/// `starts` starts in one home, ten at a time.
int simultaneousStarts(const std::string& installation, const std::string& scratch, int starts);
