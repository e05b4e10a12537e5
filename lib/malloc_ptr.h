#pragma once

#include <cstdlib>
#include <memory>

struct MallocFree {
    void operator()(char* memory) const { free(memory); }
};
/// Owns bytes that malloc, strdup or realpath has handed out.
using MallocPtr = std::unique_ptr<char, MallocFree>;
