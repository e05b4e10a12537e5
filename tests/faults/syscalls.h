#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

/// One system call of a traced thread, as far as it changes the disk.
struct FileCall {
    std::string name; // empty: the call changes nothing below the root
    std::string path;
    bool creates = false;     // needs room on the disk
    int length_argument = -1; // of a write: the argument that holds its byte count
    explicit operator bool() const { return !name.empty(); }
};

/// Tells what `number` with `arguments` would do below `root`, seen from thread `tid`.
FileCall classify(pid_t tid, uint64_t number, const uint64_t (&arguments)[6],
                  const std::string& root);
