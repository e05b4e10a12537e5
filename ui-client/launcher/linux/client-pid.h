#pragma once

#include <cstdlib>
#include <string>

constexpr int no_pid = 0;

/// The process id in `text`, cut to 32 bits; `no_pid` where it names no single process: 0 would
/// signal the launcher's own group, a negative one a group, or all that the user may signal.
inline int parsePid(const std::string& text) {
    // NOLINTNEXTLINE(cert-err34-c): a text without digits reads as 0
    const int pid = static_cast<int>(atol(text.c_str()));
    return pid > 0 ? pid : no_pid;
}
