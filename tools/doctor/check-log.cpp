#include "tools/doctor/checks.h"
#include "tools/doctor/known-errors.h"

#include <QFile>
#include <QFileInfo>

namespace doctor {

namespace {

constexpr int told_errors = 5;
constexpr int generations = 49; // beside the live file
constexpr char tag[] = "[ERROR] ";

/// The errors of one file in their order; each with its time in front. Some lines lack their
/// line feed, so that a line of the file may hold more than one.
QStringList errorsOf(const QString& path) {
    QStringList errors;
    QFile file(path);
    if (!QFileInfo(path).isFile() || !file.open(QIODevice::ReadOnly)) {
        return errors;
    }
    while (!file.atEnd()) {
        const QString line = QString::fromUtf8(file.readLine()).trimmed();
        int at = line.indexOf(tag);
        const QString time = line.left(qMax(0, at));
        while (at >= 0) {
            const int next = line.indexOf(tag, at + 1);
            errors.append(time + line.mid(at, next < 0 ? -1 : next - at));
            at = next;
        }
    }
    return errors;
}

/// In their order: the line that tells the cause stands above those that follow from it.
QStringList lastErrors(const QString& log) {
    QStringList errors = errorsOf(log);
    for (int number = 0; number < generations && errors.size() < told_errors; ++number) {
        errors = errorsOf(QString("%1_%2").arg(log).arg(number)) + errors;
    }
    return errors.mid(qMax(0, errors.size() - told_errors));
}

} // namespace

void checkLog(const Patient& patient, Findings& findings) {
    const QStringList errors = lastErrors(patient.folder() + "/log/launcher.log");
    if (errors.isEmpty()) {
        findings.fact("log", "no errors");
    }
    for (const QString& line : errors) {
        const KnownError* known = findError(line.mid(line.indexOf(tag) + int(sizeof tag) - 1));
        const QString cause = known != nullptr ? known->cause : "not a line of this launcher's";
        if (patient.isUpToDate()) {
            findings.fact("log", line + " (" + cause + "; overcome since: the copy is whole)");
        } else {
            findings.fault("log", line + " (" + cause + ")",
                           known != nullptr ? known->remedy : "none known");
        }
    }
}

} // namespace doctor
