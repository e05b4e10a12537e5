#pragma once

#include "tools/doctor/finding.h"
#include "tools/doctor/patient.h"

namespace doctor {

// One examination each; none writes, signals or takes a lock. Those of a patient need the paths of
// its home in the path registry, where examine() has put them.

/// Program, plug-ins, INFO and package of the installation.
void checkInstallation(const QString& root, const PackageContents& package, Findings& findings);
/// The level switch file of the log.
void checkVerbosity(const QString& root, Findings& findings);

/// Whether the home's user may enter the installation and run what is in it.
void checkReach(const Patient& patient, Findings& findings);
/// Both versions, and what the next start does.
void checkVersions(const Patient& patient, Findings& findings);
/// Whether a launcher runs.
void checkLauncher(const Patient& patient, Findings& findings);
/// The pid file, and the process that it names.
void checkClient(const Patient& patient, Findings& findings);
/// The live copy and the backup folders.
void checkCopies(const Patient& patient, Findings& findings);
/// Owner, permissions and links from the home to the copy and the log.
void checkPath(const Patient& patient, Findings& findings);
/// Free space against what the next start unpacks.
void checkSpace(const Patient& patient, Findings& findings);
/// The last ERROR lines.
void checkLog(const Patient& patient, Findings& findings);

/// The number of the process that holds the lock of `patient`'s launcher; 0 where none is seen.
int launcherProcess(const Patient& patient);

/// Bytes for people: "12.3 MiB".
QString sizeText(uint64_t bytes);

} // namespace doctor
