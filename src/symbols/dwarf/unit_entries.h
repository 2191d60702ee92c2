#pragma once

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include "app/log_batch.h"
#include "symbols/dwarf/abbreviations.h"
#include "symbols/dwarf/die_tree.h"
#include "symbols/dwarf/entry_walk.h"
#include "symbols/dwarf/range_lists.h"

class ktCompUnit;
class ktObject;
class ktOwnedText;
struct ktDwarfContext;
struct ktDwarfUnit;

/// Memory that one unit after the other is read with.
struct ktUnitScratch {
    ktAbbreviations abbreviations;
    ktDieTree tree;
};

/// The entries of one unit, noted by the walk over them, and the maker of their objects. An object is made
/// when it is first asked for: most entries of a program lead nowhere. One thread.
class ktUnitEntries {
public:
    ktUnitEntries(ktDwarfContext &dwarfContext, const ktDwarfUnit &dwarfUnit, ktUnitScratch &scratch,
                  ktLogBatch &logBatch);

    /// The object of the entry, from the unit's arena; null for entries without one and for further units.
    /// Throws std::bad_alloc.
    ktObject *ObjectOf(uint32_t node);
    /// Gives the objects of the entries up to here their numbers, in the order of the entries. Called before
    /// other objects get numbers, and after the walk.
    void ReserveIds();

    const ktDieShape &ShapeOf(uint32_t node) const { return abbreviations.Shape(tree[node].shape); }
    /// The last low pc of an entry, bias included; 0 without one.
    uint64_t LowPcOf(uint32_t node);
    /// The high pc of `node` goes with the low pc of the entry `earlier`.
    void NoteEarlierLowPc(uint32_t node, uint32_t earlier) { earlierLowPcs.emplace_back(node, earlier); }
    /// The range list at `offset`, bias included; false when there is none.
    bool ReadRanges(uint64_t offset, ktAddressPairs &pairs);
    /// False when too much was done for entries with more attributes, or more to tell about them, than any
    /// compiler gives them.
    bool MayWalk(const ktDieShape &shape) {
        const bool isUsual = shape.specCount <= usualSpecCount && shape.messageCount <= usualMessageCount;
        return isUsual || PayForWalk(uint64_t(shape.specCount) + shape.messageCount);
    }
    /// Takes a text's copy from what the load may use for copies; throws std::bad_alloc beyond it.
    void PayForText(uint64_t size);
    /// Stores a text that an entry gives; `lasts` when its bytes are kept and a zero stands behind it.
    void StoreText(ktCompUnit &owner, ktOwnedText &out, std::string_view text, bool lasts);

    /// Reads the attributes of an entry in order and calls visit(spec, value) for each; with `tell`, the
    /// messages about each go to the log as well. False when one cannot be read, or the declaration is cut.
    template <class Visit>
    bool WalkAttributes(ktByteCursor &cursor, const ktDieShape &shape, bool tell, const Visit &visit) {
        if (!MayWalk(shape)) return false;
        const char *const *message = abbreviations.Messages(shape).data();
        ktDieValue value;
        for (const ktAttributeSpec &spec : abbreviations.Specs(shape)) {
            const bool good = ReadValue(cursor, spec, entries, value);
            if (tell && (good || spec.step == ktFormStep::refused)) {
                for (uint16_t i = 0; i < spec.messageCount; ++i) log.Add(message[i]);
            }
            message += spec.messageCount;
            if (!good) return false;
            visit(spec, value);
        }
        return !shape.isCut;
    }

    ktAbbreviations &abbreviations;
    ktEntryContext entries;
    ktDieTree &tree;
    uint32_t objectCount = 0;       ///< objects that the entries make, but for units
    ktCompUnit *compUnit = nullptr; ///< owner of the arena
    ktLogBatch &log;

private:
    struct Facts;

    /// Attributes of one entry, and messages about them, that are not counted.
    static constexpr uint32_t usualSpecCount = 32;
    static constexpr uint32_t usualMessageCount = 8;

    /// Numbers of objects that follow each other.
    struct IdRun {
        uint32_t firstOrdinal;
        uint64_t firstId;
    };

    Facts ReadFacts(uint32_t node);
    ktByteCursor CursorAt(uint32_t node) const;
    uint64_t IdOf(uint32_t node) const;
    bool PayForWalk(uint64_t stepCount);
    const char *LastingText(ktCompUnit &owner, std::string_view text, bool lasts);
    const char *DefaultName(const char *prefix, uint64_t id);
    template <class T>
    T *New(uint32_t node, const Facts &facts);
    ktObject *MakeFunction(uint32_t node);
    ktObject *MakeType(uint32_t node);
    ktObject *Make(uint32_t node);

    ktDwarfContext &context;
    const ktDwarfUnit &unit;
    std::vector<IdRun> idRuns;                                // ascending; one but for odd files
    uint32_t numberedCount = 0;                               // objects that have their numbers
    std::vector<std::pair<uint32_t, uint32_t>> earlierLowPcs; // ascending by node
};
