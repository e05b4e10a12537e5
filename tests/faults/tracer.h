#pragma once

#include <functional>
#include <string>
#include <vector>

/// What happens at one mutating file call of the traced program.
struct Fault {
    enum Kind {
        none,
        kill_before, // SIGKILL, and the call does not happen
        kill_torn,   // half of a write happens, then SIGKILL; any other call as kill_before
        fail_once,   // the call fails with `number`, the rest goes on
        disk_full,   // this and every later call that creates or writes fails with ENOSPC
        signalled    // the signal `number` comes during the call
    };
    Kind kind = none;
    int point = -1; // counted from 0 over the mutating calls of the whole run
    int number = 0; // the error, or the signal
};

struct Trace {
    std::vector<std::string> calls; // "rename /home/.../AldaneTessel.app", in order of their entry
    int status = 0;                 // exit status, or 128 + the signal that ended the program
};

/// Runs `program` under ptrace, its threads included and its child processes not, and lets `fault`
/// strike. A call counts when it changes a file, folder or link below `root`.
/// \param prepare runs in the child before the program is executed (user, environment).
/// Blocks until the program has ended. One trace at a time in a process.
Trace trace(const std::string& program, const std::string& root, const Fault& fault,
            const std::function<void()>& prepare);
