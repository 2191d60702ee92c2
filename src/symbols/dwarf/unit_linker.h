#pragma once

#include <cstdint>
#include <vector>

#include "symbols/dwarf/tag_rules.h"

class ktCompUnit;
class ktType;
class ktTypeRef;
class ktUnitEntries;
template <class T>
class ktObjectList;

/// Joins what stands below a unit's own entry into the unit: resolves types, hands children to their owners,
/// and adds functions, types and variables. Throws std::bad_alloc.
class ktUnitLinker {
public:
    ktUnitLinker(ktUnitEntries &unitEntries, ktCompUnit &compUnit, uint32_t unitNode)
        : entries(unitEntries), unit(compUnit), top(unitNode) {}

    void Link();

private:
    /// A file may nest functions as deep as it likes. Below this depth they are left out.
    static constexpr uint32_t maxDepth = 1000;

    enum class Counted : bool { no, yes };

    void LinkFunction(uint32_t node, uint32_t depth);
    void LinkOwnOf(uint32_t node);
    void LinkLeftOut();
    void LinkType(uint32_t node);
    void TellInvalid(ktDieObject object);
    template <class T>
    void PayForNewName(const T &object, const char *given);
    void Resolve(ktTypeRef &reference, Counted counted = Counted::yes);
    void ResolveDirectly(ktTypeRef &reference);
    template <class T, class LinkChild>
    void Adopt(uint32_t node, ktDieObject kind, ktObjectList<T> &list, const LinkChild &linkChild);

    ktUnitEntries &entries;
    ktCompUnit &unit;
    uint32_t top;
    std::vector<uint32_t> leftOut;  // functions without code, whose object nobody had asked for
    std::vector<uint32_t> askedFor; // functions whose object was made because something refers to it
};
