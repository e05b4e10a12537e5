#pragma once

#include <atomic>

/// How often the program has called operator new.
extern std::atomic<long> allocations;
