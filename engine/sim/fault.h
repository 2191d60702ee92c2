#pragma once

#include <cstdint>

namespace sable {

enum Vector : uint8_t {
    vectorDivide = 0,
    vectorDebug = 1,
    vectorNmi = 2,
    vectorBreak = 3,
    vectorOverflow = 4,
    vectorBound = 5,
    vectorInvalid = 6,
    vectorDouble = 8,
    vectorTss = 10,
    vectorNotPresent = 11,
    vectorStack = 12,
    vectorGeneral = 13,
    vectorPage = 14,
    vectorAlignment = 17
};

/// Bits of the error code of a page fault.
enum PageError : uint8_t {
    pageErrorPresent = 1,
    pageErrorWrite = 2,
    pageErrorUser = 4,
    pageErrorReserved = 8,
    pageErrorFetch = 16
};

/// Bits of the error code of faults about descriptors.
enum SelectorError : uint8_t { selectorErrorExternal = 1, selectorErrorIdt = 2 };

/// Bits of DR6.
enum Dr6 : uint32_t { dr6Access = 1u << 13, dr6Step = 1u << 14, dr6Fixed = 0xFFFF0FF0 };

/// Bits of DR7. General detect: an access to a debug register is #DB.
enum Dr7 : uint32_t { dr7Fixed = 0x400, dr7GeneralDetect = 1u << 13 };

/// Why an event goes through the interrupt table.
enum class EventKind : uint8_t {
    exception, ///< a fault: returns to the instruction that caused it
    trap,      ///< an exception after an instruction
    external,  ///< a device, NMI
    software,  ///< INT n, INT3, INTO: the gate's privilege counts
    privileged ///< INT1: the gate's privilege does not count
};

struct Fault {
    uint8_t vector = 0;
    bool hasError = false;
    uint32_t error = 0;
    uint64_t address = 0; ///< page fault: goes to CR2 when it is delivered
};

struct Event {
    uint8_t vector;
    EventKind kind;
    bool hasError;
    uint32_t error;
    uint64_t rip; ///< what is saved as the place to return to

    bool IsExternal() const { return kind != EventKind::software; }
    uint32_t SelectorBits() const { return IsExternal() ? 1u : 0u; }
};

/// An instruction that keeps interrupts away until the next one has been executed.
enum class ShadowKind : uint8_t { none, sti, stackSegment };

} // namespace sable
