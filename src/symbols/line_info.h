#pragma once

#include "symbols/lazy_value.h"
#include "symbols/owned_text.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

/// One row of a unit's line table.
struct ktLineRecord {
    uint64_t address; ///< load bias included
    uint64_t line;    ///< zero-based
    uint64_t file;    ///< index into ktLineTable::files

    bool operator==(const ktLineRecord &) const = default;
};

/// Directories and files of a unit. Index 0 of `directories` and `files` stays empty; directory number 0
/// stands for the unit's `compDir`. The three tables grow by 16 places, so that a number below their size can
/// be one that nothing was stored under.
struct ktLineTable {
    std::vector<ktOwnedText> directories;
    std::vector<ktOwnedText> files;
    std::vector<uint64_t> fileDirs; ///< directory number of each file

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

/// Rows that follow each other, and what a source needs to begin with the first of them.
struct ktLineStretch {
    uint64_t low;  ///< lowest address of the rows
    uint64_t high; ///< highest
    uint32_t rowCount;

    uint32_t opIndex; ///< state of the line program before the first row
    uint64_t position;
    uint64_t address;
    uint64_t line;
    uint64_t file;
};

/// What a part of a unit's line information is worked out from. Always the same results; any thread. All
/// throw std::bad_alloc.
class ktRowSource {
public:
    virtual ~ktRowSource() = default;
    /// Sets the directories and files that this source has, over those of sources before it.
    virtual void AddNames(ktLineTable &table) const = 0;
    /// Appends the rows in the order of the line program, which is not that of their addresses.
    virtual void AddRows(std::vector<ktLineRecord> &rows) const = 0;
    /// Appends stretches that hold each row once, in the same order.
    virtual void AddStretches(std::vector<ktLineStretch> &stretches) const = 0;
    /// The first row in `stretch` with exactly this address.
    virtual std::optional<ktLineRecord> FirstRowIn(const ktLineStretch &stretch, uint64_t address) const = 0;
};

/// Line information of a unit. A table is many times as large as what it is worked out from and is hardly
/// looked at, so a unit keeps that, and an index which stretch of rows has which addresses. Filled by one
/// thread; any thread may ask from then on.
class ktLineInfo {
public:
    ktLineInfo();
    ~ktLineInfo();

    ktOwnedText compDir; ///< where the unit was compiled, may be null

    /// Adds a part to the table, behind those that are there; throws std::bad_alloc.
    void Add(std::unique_ptr<const ktRowSource> source);

    /// Directories and files; none without memory. Valid as long as this object is not changed.
    const ktLineTable &Table() const;
    /// All rows in the order of the line programs; throws std::bad_alloc.
    std::vector<ktLineRecord> Rows() const;
    /// The first row in that order with exactly this address; none without memory. Takes logarithmic time
    /// once it was called.
    std::optional<ktLineRecord> FirstRowAt(uint64_t address) const;

private:
    struct Index;
    struct NumberedRow;

    void FillIndex(Index &fresh) const;
    std::optional<ktLineRecord> FirstRowInOrder(uint64_t address) const;

    std::vector<std::unique_ptr<const ktRowSource>> sources;
    ktLazyValue<ktLineTable> table;
    ktLazyValue<Index> index;
    ktLazyValue<std::vector<NumberedRow>> rowsByAddress; ///< only where too many stretches overlap
};
