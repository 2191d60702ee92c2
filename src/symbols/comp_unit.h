#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "symbols/address_lookup.h"
#include "symbols/arena.h"
#include "symbols/line_info.h"
#include "symbols/named_array.h"
#include "symbols/object.h"
#include "symbols/owned_text.h"
#include "symbols/range_list.h"

class ktFunction;
class ktSourceCache;
class ktType;
class ktVariable;

/// A compilation unit: owner of its functions, types and variables. Filled by one thread, read-only
/// after its module is published. The names and ranges of what was added do not change any more.
class ktCompUnit final : public ktObject {
public:
    explicit ktCompUnit(uint64_t id);
    /// Clears what the unit's objects refer to, so that circles among them go as well, and releases them.
    ~ktCompUnit() override;

    Kind GetKind() const override { return kindCompUnit; }

    /// Takes a reference, makes the name unique in this unit, appends, and merges the function's ranges
    /// into the unit's. False, with no reference kept, when that cannot be done.
    bool AddFunction(ktFunction *function);
    /// The same for a type, without ranges.
    bool AddType(ktType *type);
    /// Takes a reference and appends. Names are not made unique: the trie keeps the first.
    bool AddVariable(ktVariable *variable);
    /// Exact, case-sensitive; null for null and unknown names. Near constant time, with and without tries.
    ktFunction *FindFunction(const char *functionName) const;
    ktType *FindType(const char *typeName) const;
    /// Fills or empties the three tries. A trie refuses names with bytes above 127: with tries such names
    /// are not found and not made unique.
    void SetIndexed(bool on);
    bool IsIndexed() const { return functions.IsIndexed(); }

    /// Appends to `hits` the functions that hold `address`, in array order. Any thread once published.
    void FunctionsAt(uint64_t address, std::vector<ktFunction *> &hits) const;
    /// The first function in array order that holds `address`, or null. Any thread once published. The
    /// first look-up by address after a Freeze builds an index; others allocate nothing.
    ktFunction *FirstFunctionAt(uint64_t address) const;
    /// Ends the filling: drops what only adding needs and readies the look-up by address. Adding ends
    /// that state again.
    void Freeze();

    const std::vector<ktFunction *> &Functions() const { return functions.Items(); }
    const std::vector<ktType *> &Types() const { return types.Items(); }
    const std::vector<ktVariable *> &Variables() const { return variables.Items(); }
    /// All names while indexed, else none. Any thread once published.
    const ktNameTrie &FunctionNames() const;
    const ktNameTrie &TypeNames() const;
    const ktNameTrie &VariableNames() const;

    /// A new object in the unit's arena; it lives as long as the unit. `id` and the default name are the
    /// business of the caller. Only for the thread that fills the unit; throws std::bad_alloc.
    template <class T>
    T *MakeInArena(uint64_t id) {
        T *object = arena.Make<T>(id);
        object->SetInArena();
        return object;
    }
    ktArena &Arena() { return arena; }
    /// Destroys `list`, which stands in the arena and has memory outside of it, with the unit.
    void EndWithUnit(ktRangeList &list) { listsToEnd.push_back(&list); }
    /// Keeps `bytes`, to which names and line tables refer, as long as the unit.
    void Keep(std::shared_ptr<const void> bytes) { keptBytes = std::move(bytes); }

    /// The source files of `lines`, made by the first call, which is for a unit that is complete; null
    /// without memory. One thread at a time.
    ktSourceCache *Sources();

    ktRangeList ranges;
    ktLineInfo lines;
    ktOwnedText name;

private:
    std::unique_ptr<ktSourceCache> sources;
    std::shared_ptr<const void> keptBytes;
    ktArena arena;
    std::vector<ktRangeList *> listsToEnd;
    ktNamedArray<ktFunction> functions{ktNameRule::unique, &arena};
    ktNamedArray<ktType> types{ktNameRule::unique, &arena};
    ktNamedArray<ktVariable> variables{ktNameRule::asItComes};
    ktAddressLookup<ktFunction> functionsByAddress{functions.Items()};
};
