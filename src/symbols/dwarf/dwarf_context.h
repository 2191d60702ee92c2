#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/sync.h"
#include "symbols/dwarf/work_budget.h"
#include "symbols/load_request.h"

class ktCompUnit;
class ktSymbolFactory;
class ktTaskPool;

/// The sections that debugging information may have, in the order of ktDwarfSectionNames.
enum class ktDwarfSection : uint8_t {
    abbrev,
    addr,
    aranges,
    frame,
    info,
    line,
    lineStr,
    loc,
    loclists,
    macinfo,
    macro,
    names,
    pubnames,
    pubtypes,
    ranges,
    rnglists,
    str,
    strOffsets,
    sup,
    types,
    abbrevDwo,
    infoDwo,
    lineDwo,
    loclistsDwo,
    macroDwo,
    rnglistsDwo,
    strDwo,
    strOffsetsDwo,
    cuIndex,
    tuIndex,
    count,
};

constexpr size_t ktDwarfSectionCount = static_cast<size_t>(ktDwarfSection::count);

/// A section of the file; without bytes when it is not there.
struct ktDwarfBytes {
    std::span<const uint8_t> bytes;
    bool isPresent = false;
};

/// What all units of one file share. Read-only while units are read, but for what is atomic or has a lock.
struct ktDwarfContext {
    /// Threads wait this many rounds for the results before they sleep.
    static constexpr uint32_t resultsSpinCount = 100000;

    const ktDwarfBytes &operator[](ktDwarfSection section) const {
        return sections[static_cast<size_t>(section)];
    }
    std::span<const uint8_t> Bytes(ktDwarfSection section) const { return (*this)[section].bytes; }

    uint64_t bias = 0; ///< added to all addresses of units and ranges
    std::array<ktDwarfBytes, ktDwarfSectionCount> sections;
    std::shared_ptr<const void> keptBytes; ///< the sections that names and line tables refer to
    ktTaskPool *pool = nullptr;            ///< given where units are read in parallel
    ktSymbolFactory *factory = nullptr;
    ktLoadProgress *progress = nullptr; ///< may be null

    // Tables that units may name over and over.
    ktWorkBudget abbreviationWork{0};
    ktWorkBudget rangeWork{0};
    ktWorkBudget lineWork{0};

    ktCriticalSection resultsLock{resultsSpinCount};
    std::vector<ktCompUnit *> results; ///< in the order in which they were finished; each with a reference
};

/// Header of a unit.
struct ktDwarfUnit {
    uint64_t start = 0; ///< offset of the unit in .debug_info
    uint64_t length = 0;
    uint16_t version = 0;
    uint64_t abbrevOffset = 0;
    uint8_t addressSize = 0;
    uint8_t unitType = 0;    ///< from version 5 on
    bool is32 = true;        ///< the 32-bit form of the format
    uint64_t headerSize = 0; ///< bytes behind the length field
    uint64_t remaining = 0;  ///< bytes behind the header
    uint64_t firstEntry = 0; ///< offset of the first entry in .debug_info
};
