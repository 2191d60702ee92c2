#include "support/allocation_count.h"

#include <cstdlib>
#include <new>

// Replaces the allocation functions of the whole program, all but the over-aligned ones: a sanitizer brings
// its own of each form, and memory must go back the way it came.

namespace {

thread_local uint64_t allocations = 0;
thread_local uint64_t given = 0;
thread_local uint64_t givenBack = 0;
thread_local size_t failingSize = 0; // 0: none
thread_local uint64_t failures = 0;
thread_local bool willThrow = false;
thread_local uint64_t callsToThrow = 0; // before the one that throws

void *Allocate(size_t size) {
    ++allocations;
    void *memory = std::malloc(size ? size : 1);
    if (memory) ++given;
    return memory;
}

void *AllocateOrNull(size_t size) {
    if (size == 0 || size != failingSize) return Allocate(size);
    ++failures;
    return nullptr;
}

void *AllocateOrThrow(size_t size) {
    if (willThrow && callsToThrow-- == 0) {
        willThrow = false;
        throw std::bad_alloc();
    }
    if (void *memory = Allocate(size)) return memory;
    throw std::bad_alloc();
}

void GiveBack(void *memory) {
    if (memory) ++givenBack;
    std::free(memory);
}

} // namespace

uint64_t AllocationCount() { return allocations; }

int64_t LiveAllocationCount() { return static_cast<int64_t>(given - givenBack); }

ktAllocationFailure::ktAllocationFailure(size_t size) {
    failingSize = size;
    failures = 0;
}

ktAllocationFailure::~ktAllocationFailure() { failingSize = 0; }

uint64_t ktAllocationFailure::Count() const { return failures; }

ktAllocationThrow::ktAllocationThrow(uint64_t number) {
    callsToThrow = number;
    willThrow = true;
}

ktAllocationThrow::~ktAllocationThrow() { willThrow = false; }

bool ktAllocationThrow::HasThrown() const { return !willThrow; }

void *operator new(size_t size) { return AllocateOrThrow(size); }
void *operator new[](size_t size) { return AllocateOrThrow(size); }
void *operator new(size_t size, const std::nothrow_t &) noexcept { return AllocateOrNull(size); }
void *operator new[](size_t size, const std::nothrow_t &) noexcept { return AllocateOrNull(size); }

void operator delete(void *memory) noexcept { GiveBack(memory); }
void operator delete[](void *memory) noexcept { GiveBack(memory); }
void operator delete(void *memory, size_t) noexcept { GiveBack(memory); }
void operator delete[](void *memory, size_t) noexcept { GiveBack(memory); }
void operator delete(void *memory, const std::nothrow_t &) noexcept { GiveBack(memory); }
void operator delete[](void *memory, const std::nothrow_t &) noexcept { GiveBack(memory); }
