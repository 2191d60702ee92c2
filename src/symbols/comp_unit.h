#pragma once

#include <vector>

#include "symbols/address_lookup.h"
#include "symbols/line_info.h"
#include "symbols/named_array.h"
#include "symbols/object.h"
#include "symbols/owned_text.h"
#include "symbols/range_list.h"

class ktFunction;
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
    const ktNameTrie &FunctionNames() const { return functions.Trie(); }
    const ktNameTrie &TypeNames() const { return types.Trie(); }
    const ktNameTrie &VariableNames() const { return variables.Trie(); }

    ktRangeList ranges;
    ktLineInfo lines;
    ktOwnedText name;

private:
    ktNamedArray<ktFunction> functions{ktNameRule::unique};
    ktNamedArray<ktType> types{ktNameRule::unique};
    ktNamedArray<ktVariable> variables{ktNameRule::asItComes};
    ktAddressLookup<ktFunction> functionsByAddress{functions.Items()};
};
