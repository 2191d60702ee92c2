#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/sync.h"
#include "symbols/dwarf/text_section.h"
#include "symbols/dwarf/work_budget.h"
#include "symbols/load_request.h"

class ktCompUnit;
struct ktUnitScratch;
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
    ktTextSection texts;                   ///< .debug_str
    ktTextSection lineTexts;               ///< .debug_line_str
    std::shared_ptr<const void> keptBytes; ///< the sections that names and line tables refer to
    ktTaskPool *pool = nullptr;            ///< given where units are read in parallel
    ktSymbolFactory *factory = nullptr;
    ktLoadProgress *progress = nullptr; ///< may be null

    // Tables that units may name over and over.
    ktWorkBudget abbreviationWork{0};
    ktWorkBudget rangeWork{0};
    ktWorkBudget lineWork{0};
    // Attributes that take no bytes of their entry, and texts that are copied.
    ktWorkBudget attributeWork{0};
    ktWorkBudget textWork{0};

    ktCriticalSection resultsLock{resultsSpinCount};     ///< over what follows
    std::vector<std::unique_ptr<ktUnitScratch>> scratch; ///< what is not lent at the moment
    size_t scratchCount = 0;                             ///< with what is lent
    std::vector<ktCompUnit *> results; ///< those with code, as they were finished; each with a reference
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
