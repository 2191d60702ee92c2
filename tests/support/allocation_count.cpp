#include "support/allocation_count.h"

#include <cstdlib>
#include <new>

// Replaces the allocation functions of the whole program, all but the over-aligned ones: a sanitizer brings
// its own of each form, and memory must go back the way it came.

namespace {

thread_local uint64_t allocations = 0;
thread_local size_t failingSize = 0; // 0: none
thread_local uint64_t failures = 0;

void *Allocate(size_t size) {
    ++allocations;
    return std::malloc(size ? size : 1);
}

void *AllocateOrNull(size_t size) {
    if (size == 0 || size != failingSize) return Allocate(size);
    ++failures;
    return nullptr;
}

void *AllocateOrThrow(size_t size) {
    if (void *memory = Allocate(size)) return memory;
    throw std::bad_alloc();
}

} // namespace

uint64_t AllocationCount() { return allocations; }

ktAllocationFailure::ktAllocationFailure(size_t size) {
    failingSize = size;
    failures = 0;
}

ktAllocationFailure::~ktAllocationFailure() { failingSize = 0; }

uint64_t ktAllocationFailure::Count() const { return failures; }

void *operator new(size_t size) { return AllocateOrThrow(size); }
void *operator new[](size_t size) { return AllocateOrThrow(size); }
void *operator new(size_t size, const std::nothrow_t &) noexcept { return AllocateOrNull(size); }
void *operator new[](size_t size, const std::nothrow_t &) noexcept { return AllocateOrNull(size); }

void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete[](void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, size_t) noexcept { std::free(memory); }
void operator delete[](void *memory, size_t) noexcept { std::free(memory); }
void operator delete(void *memory, const std::nothrow_t &) noexcept { std::free(memory); }
void operator delete[](void *memory, const std::nothrow_t &) noexcept { std::free(memory); }
