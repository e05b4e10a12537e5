#pragma once

#include "tools/doctor/patient.h"

#include <functional>

namespace doctor {

/// One step of a repair; none loses anything that a user or the launcher could still want.
struct RepairStep {
    enum Kind { Move, Remove };
    Kind kind = Move;
    QString path;
    QString target; // of a move

    QString text() const;
    bool operator==(const RepairStep& other) const {
        return kind == other.kind && path == other.path && target == other.target;
    }
};
using RepairPlan = QList<RepairStep>;

/// What would help `patient`: a complete backup gets its name back where the live copy is not
/// complete, which then takes a backup's name itself; backups go where the live copy equals a sound
/// package. Empty where nothing is to be done, or nothing can be done without a loss.
RepairPlan planRepair(const Patient& patient);

enum class RepairResult {
    NothingToDo,
    Done,
    Declined,
    Refused, // a launcher runs, or the home has changed since the plan was shown
    Failed   // a step failed; the steps before it are done
};

/// Shows the plan on standard output, asks on standard input, and does it after a "yes". The
/// launcher's lock is held meanwhile. Only for the process's own user's home: links in a home would
/// lead root astray.
/// \param examineAgain the patient's present state, asked once the lock is held.
RepairResult repair(const Patient& patient, const std::function<Patient()>& examineAgain);

} // namespace doctor
