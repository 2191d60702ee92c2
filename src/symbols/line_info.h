#pragma once

#include "symbols/lazy_value.h"
#include "symbols/owned_text.h"

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

/// One row of a unit's line table.
struct ktLineRecord {
    uint64_t address; ///< load bias included
    uint64_t line;    ///< zero-based
    uint64_t file;    ///< index into ktLineTable::files
};

/// Directories, files and rows of a unit. Index 0 of `directories` and `files` stays empty; directory number
/// 0 stands for the unit's `compDir`. The three tables of names grow by 16 places, so that a number below
/// their size can be one that nothing was stored under. Rows are in the order of the line program, not
/// sorted.
struct ktLineTable {
    std::vector<ktOwnedText> directories;
    std::vector<ktOwnedText> files;
    std::vector<uint64_t> fileDirs; ///< directory number of each file
    std::vector<ktLineRecord> rows;

    /// Place `index` of one of the three, made when it is not there yet; throws std::bad_alloc.
    template <class T>
    static T &PlaceAt(std::vector<T> &places, uint64_t index) {
        if (index >= places.size()) places.resize((index / growth + 1) * growth);
        return places[index];
    }
    /// The directory that file number `file` was compiled in, `compDir` standing for number 0; null for none.
    const char *DirectoryOf(uint64_t file, const char *compDir) const;

private:
    static constexpr uint64_t growth = 16;
};

/// What a part of a line table is worked out from.
class ktLineSource {
public:
    virtual ~ktLineSource() = default;
    /// Sets the directories and files that this source has, over those of sources before it, and appends its
    /// rows. Always the same result. Throws std::bad_alloc. Any thread.
    virtual void AddTo(ktLineTable &table) const = 0;
};

/// Line information of a unit. Tables are large and few are ever looked at, so a unit keeps what they are
/// worked out from until somebody asks. Filled by one thread; any thread may ask from then on.
class ktLineInfo {
public:
    ktOwnedText compDir; ///< where the unit was compiled, may be null

    /// Adds a part to the table, behind those that are there; throws std::bad_alloc.
    void Add(std::unique_ptr<const ktLineSource> source);
    /// Replaces the table, and every source, by one that is worked out already; throws std::bad_alloc.
    void SetTable(ktLineTable newTable);

    /// The table; an empty one without memory. Valid as long as this object is not changed.
    const ktLineTable &Table() const;
    std::span<const ktLineRecord> Rows() const { return Table().rows; }
    /// The first row in the table's order with exactly this address, or null. Logarithmic once it was called.
    const ktLineRecord *FirstRowAt(uint64_t address) const;

private:
    using RowOrder = std::vector<uint64_t>; ///< row numbers, sorted by address and then by number

    std::vector<std::unique_ptr<const ktLineSource>> sources;
    ktLazyValue<ktLineTable> table;
    ktLazyValue<RowOrder> rowOrder;
};
