#include "bench/allocations.h"

#include <cstdlib>
#include <new>

std::atomic<long> allocations{0};

void* operator new(size_t size) {
    ++allocations;
    void* const block = malloc(size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete(void* block) noexcept {
    free(block);
}

void operator delete(void* block, size_t /*size*/) noexcept {
    free(block);
}
