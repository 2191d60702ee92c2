#include "support/allocation_count.h"

#include <cstdlib>
#include <new>

// Replaces the allocation functions of the whole program; the forms for arrays and for nothrow end here too.

namespace {

thread_local uint64_t allocations = 0;

} // namespace

uint64_t AllocationCount() { return allocations; }

void *operator new(size_t size) {
    ++allocations;
    if (void *memory = std::malloc(size ? size : 1)) return memory;
    throw std::bad_alloc();
}

void operator delete(void *memory) noexcept { std::free(memory); }

void operator delete(void *memory, size_t) noexcept { std::free(memory); }
