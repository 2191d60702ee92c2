#pragma once

#include "symbols/dwarf/byte_cursor.h"
#include "symbols/dwarf/line_sections.h"

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

class ktLogBatch;
class ktWorkBudget;
struct ktLineTable;

/// Reads the directory and the file table of a line program, which stand behind the fixed part of its header.
/// Both tables keep 1024 entries; what is behind them is read and dropped.
class ktLineTablesReader {
public:
    /// Only checks the tables: says in `log` what does not fit, and takes from `budget` what the cursor does
    /// not show. `is32` is the form of the unit.
    ktLineTablesReader(const ktLineSections &sectionsToUse, bool is32Unit, ktWorkBudget &budgetToUse,
                       ktLogBatch &logToUse)
        : sections(sectionsToUse), is32(is32Unit), budget(&budgetToUse), log(&logToUse) {}
    /// Stores the tables in `tableToFill`: number i of the program becomes place i + 1. Texts are borrowed
    /// from the sections where they are short enough.
    ktLineTablesReader(const ktLineSections &sectionsToUse, bool is32Unit, ktLineTable &tableToFill)
        : sections(sectionsToUse), is32(is32Unit), table(&tableToFill) {}

    /// False for bytes that end too early and for forms that are not read. Throws std::bad_alloc while
    /// storing.
    bool Read(ktByteCursor &cursor, uint16_t version);

private:
    enum Kind { directories, files };
    struct Format {
        uint64_t content;
        uint64_t form;
    };

    bool ReadList(ktByteCursor &cursor, Kind kind);
    void TellDropped(Kind kind, uint64_t count);
    bool ReadFormatted(ktByteCursor &cursor, Kind kind);
    bool ReadField(ktByteCursor &cursor, const Format &format, Kind kind, uint64_t number);
    bool ReadPath(ktByteCursor &cursor, uint64_t form, Kind kind, uint64_t number);
    bool ReadPathAt(std::span<const uint8_t> section, uint64_t offset, Kind kind, uint64_t number);
    bool StoreText(Kind kind, uint64_t number, std::string_view text);
    void StoreDirectoryOf(uint64_t number, uint64_t directory);
    void StoreDirectories();

    const ktLineSections &sections;
    const bool is32;
    ktLineTable *const table = nullptr;
    ktWorkBudget *const budget = nullptr;
    ktLogBatch *const log = nullptr;
    std::vector<Format> formats;
    std::vector<uint64_t> directoryOf; ///< of each file, as far as it was given
    uint64_t fileCount = 0;            ///< files that have a place
};
