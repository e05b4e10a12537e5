#pragma once

#include <cerrno>

/// Gives errno back at the end of its scope as it was at the start: clean-up and logging must not
/// hide from the caller what the failing call has said.
struct ErrnoGuard {
    const int saved = errno;
    ErrnoGuard() = default;
    ~ErrnoGuard() { errno = saved; }
    ErrnoGuard(const ErrnoGuard&) = delete;
    ErrnoGuard& operator=(const ErrnoGuard&) = delete;
};
