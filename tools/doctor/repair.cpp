#include "tools/doctor/repair.h"

#include "lib/file/file-op.h"
#include "libui/LauncherLock.h"
#include "tools/doctor/checks.h"
#include "tools/doctor/report.h"
#include "ui-client/launcher/registered-path.h"

#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <string>

namespace doctor {

namespace {

/// The complete backup with the highest build; null where none is complete.
const Copy* bestBackup(const Patient& patient) {
    const Copy* best = nullptr;
    for (const Copy& backup : patient.backups) {
        if (backup.isComplete() &&
            (best == nullptr || backup.build.toInt() > best->build.toInt())) {
            best = &backup;
        }
    }
    return best;
}

/// A backup name that is free; empty where none is.
QString freeName(const Patient& patient) {
    for (int number = 0; number < backup_names; ++number) {
        const QString name = backupPath(patient.home, number);
        bool isTaken = false;
        for (const Copy& backup : patient.backups) {
            isTaken = isTaken || backup.path == name;
        }
        if (!isTaken) {
            return name;
        }
    }
    return {};
}

RepairPlan giveNameBack(const Patient& patient) {
    const Copy* backup = bestBackup(patient);
    const QString aside = freeName(patient);
    if (backup == nullptr || (patient.live.exists && aside.isEmpty())) {
        return {};
    }
    RepairPlan plan;
    if (patient.live.exists) {
        plan << RepairStep{RepairStep::Move, patient.live.path, aside};
    }
    return plan << RepairStep{RepairStep::Move, backup->path, patient.live.path};
}

bool execute(const RepairStep& step) {
    if (step.kind == RepairStep::Move) {
        // The plain call, not the launcher's move: that one would copy where a rename is refused.
        return rename(toUstring(step.path).c_str(), toUstring(step.target).c_str()) == 0;
    }
    FSRemove(toUstring(step.path), false);
    return !IsFileExist(toUstring(step.path), false);
}

bool isAnsweredYes() {
    std::string answer;
    return std::getline(std::cin, answer) && answer == "yes";
}

void say(const QString& text) {
    fputs(text.toUtf8().constData(), stdout);
    fflush(stdout);
}

struct LockGuard {
    const LauncherLock lock;
    explicit LockGuard(const QString& home) : lock(takeLauncherLock(home)) {}
    ~LockGuard() {
        if (lock.file != -1) {
            close(lock.file);
        }
    }
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;
};

RepairResult refuse(const char* reason) {
    say(QString("Refused: %1. Nothing was changed.\n").arg(reason));
    return RepairResult::Refused;
}

RepairResult executeAll(const RepairPlan& plan) {
    for (const RepairStep& step : plan) {
        if (!execute(step)) {
            say("Failed: " + printable(step.text()) + '\n');
            return RepairResult::Failed;
        }
        say("Done: " + printable(step.text()) + '\n');
    }
    return RepairResult::Done;
}

} // namespace

QString RepairStep::text() const {
    return kind == Move ? "move " + path + " to " + target : "remove " + path;
}

RepairPlan planRepair(const Patient& patient) {
    if (!patient.live.isComplete()) {
        return giveNameBack(patient);
    }
    RepairPlan plan;
    for (const Copy& backup : patient.backups) {
        // Only what equals the package can be installed again at any time. A newer backup is kept.
        if (patient.live.isVerified && backup.isFolder &&
            backup.build.toInt() <= patient.live.build.toInt()) {
            plan << RepairStep{RepairStep::Remove, backup.path, QString()};
        }
    }
    return plan;
}

RepairResult repair(const Patient& patient, const std::function<Patient()>& examineAgain) {
    const RepairPlan plan = planRepair(patient);
    if (plan.isEmpty()) {
        say("\nNothing to repair here.\n");
        return RepairResult::NothingToDo;
    }
    if (launcherProcess(patient) != 0) {
        return refuse("a launcher runs");
    }
    say("\nThe repair would:\n");
    for (const RepairStep& step : plan) {
        say("  " + printable(step.text()) + '\n');
    }
    say("Do it? Only \"yes\" does: ");
    if (!isAnsweredYes()) {
        say("\nNothing was changed.\n");
        return RepairResult::Declined;
    }
    const LockGuard guard(patient.home);
    if (guard.lock.file == -1) {
        return refuse(guard.lock.isElsewhere ? "a launcher runs" : "the lock cannot be had");
    }
    if (!(planRepair(examineAgain()) == plan)) {
        return refuse("the home has changed meanwhile");
    }
    return executeAll(plan);
}

} // namespace doctor
