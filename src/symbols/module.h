#pragma once

#include <vector>

#include "symbols/address_lookup.h"
#include "symbols/named_array.h"
#include "symbols/object.h"
#include "symbols/owned_text.h"

class ktCompUnit;

/// One executable image at one address. Complete before it is published to a ktSpace.
class ktModule final : public ktObject {
public:
    explicit ktModule(uint64_t id);
    ~ktModule() override;

    Kind GetKind() const override { return kindModule; }

    /// Takes a reference, makes the name unique among the units, and appends. False, with no reference
    /// kept, when that cannot be done.
    bool AddCompUnit(ktCompUnit *unit);
    /// Exact, case-sensitive; null for null and unknown names.
    ktCompUnit *FindCompUnit(const char *unitName) const;
    /// Fills or empties the trie of unit names, as with the tries of a unit; the units stay as they are.
    void SetIndexed(bool on);
    bool IsIndexed() const { return compUnits.IsIndexed(); }
    /// Address of the module's first byte.
    uint64_t Start() const { return base + offset; }
    /// True inside the module's address range; a range that passes the highest address ends there.
    bool Holds(uint64_t address) const { return address >= Start() && address - Start() < size; }

    /// Appends to `hits` the units that hold `address`, in array order. Any thread once published.
    void UnitsAt(uint64_t address, std::vector<ktCompUnit *> &hits) const;
    /// The first unit in array order that holds `address`, or null. Any thread once published. The first
    /// look-up by address after a Freeze builds an index; others allocate nothing.
    ktCompUnit *FirstUnitAt(uint64_t address) const;
    /// Ends the filling: freezes every unit and readies the look-up by address. Adding a unit ends that
    /// state again; after other changes to a unit's ranges the module must be frozen anew.
    void Freeze();

    const std::vector<ktCompUnit *> &CompUnits() const { return compUnits.Items(); }
    /// All names of units while indexed, else none. Any thread once published.
    const ktNameTrie &UnitNames() const;

    uint64_t base = 0;        ///< load address of the image's first byte
    uint64_t offset = 0;      ///< added to `base` to get the start; 0 for ELF and PE
    uint64_t size = 0;        ///< bytes covered
    uint64_t entry = 0;       ///< address of the entry point
    uint32_t pointerSize = 0; ///< 4 or 8
    ktOwnedText name;
    ktOwnedText sourcePath; ///< default source path, may be null

private:
    ktNamedArray<ktCompUnit> compUnits{ktNameRule::unique};
    ktAddressLookup<ktCompUnit> unitsByAddress{compUnits.Items()};
};
