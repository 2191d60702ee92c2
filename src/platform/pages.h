#pragma once

#include <cstddef>

constexpr size_t ktPageSize = 4096;

/// Source of page memory, replaceable in tests. Any thread.
class ktPageSource {
public:
    virtual ~ktPageSource() = default;
    /// One page-aligned, zeroed, writable page of ktPageSize bytes, or null.
    virtual void *Allocate() = 0;
    /// Gives back a page that Allocate returned. Null is ignored.
    virtual void Free(void *page) = 0;
};

/// Pages from the operating system, apart from the heap. Lives for the whole process.
ktPageSource &SystemPages();
