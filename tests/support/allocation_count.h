#pragma once

#include <cstdint>

/// Calls of operator new on this thread so far, in programs that use this function.
uint64_t AllocationCount();
