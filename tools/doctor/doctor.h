#pragma once

#include "tools/doctor/patient.h"
#include "tools/doctor/report.h"

#include <QStringList>

namespace doctor {

/// The homes of all users of the machine that have a folder of the launcher's, each once.
QStringList allHomes();

/// Every examination of the installation and of each of `homes`.
Report examineAll(const QString& root, const QStringList& homes, const PackageContents& package);

} // namespace doctor
