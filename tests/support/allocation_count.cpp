#include "support/allocation_count.h"

#include <cstdlib>
#include <new>

// Replaces the allocation functions of the whole program, all but the over-aligned ones: a sanitizer brings
// its own of each form, and memory must go back the way it came.

namespace {

thread_local uint64_t allocations = 0;

void *Allocate(size_t size) {
    ++allocations;
    return std::malloc(size ? size : 1);
}

void *AllocateOrThrow(size_t size) {
    if (void *memory = Allocate(size)) return memory;
    throw std::bad_alloc();
}

} // namespace

uint64_t AllocationCount() { return allocations; }

void *operator new(size_t size) { return AllocateOrThrow(size); }
void *operator new[](size_t size) { return AllocateOrThrow(size); }
void *operator new(size_t size, const std::nothrow_t &) noexcept { return Allocate(size); }
void *operator new[](size_t size, const std::nothrow_t &) noexcept { return Allocate(size); }

void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete[](void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, size_t) noexcept { std::free(memory); }
void operator delete[](void *memory, size_t) noexcept { std::free(memory); }
void operator delete(void *memory, const std::nothrow_t &) noexcept { std::free(memory); }
void operator delete[](void *memory, const std::nothrow_t &) noexcept { std::free(memory); }
