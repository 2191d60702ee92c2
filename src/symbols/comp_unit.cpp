#include "symbols/comp_unit.h"

#include <new>

#include "symbols/function.h"
#include "symbols/reference_sweep.h"
#include "symbols/source_cache.h"
#include "symbols/type.h"
#include "symbols/variable.h"

ktCompUnit::ktCompUnit(uint64_t id) : ktObject(id) {}

ktCompUnit::~ktCompUnit() {
    if (functions.HasHeapObjects() || types.HasHeapObjects() || variables.HasHeapObjects()) {
        ktReferenceSweep sweep;
        for (ktFunction *function : Functions()) sweep.Visit(*function);
        for (ktType *type : Types()) sweep.Visit(*type);
        for (ktVariable *variable : Variables()) sweep.Visit(*variable);
    }
    functions.Release();
    types.Release();
    variables.Release();
    for (ktRangeList *list : listsToEnd) list->~ktRangeList();
}

bool ktCompUnit::AddFunction(ktFunction *function) {
    return functions.Add(function, [this, function] {
        functionsByAddress.Thaw();
        function->ranges.Freeze();
        ranges.Merge(function->ranges);
    });
}

bool ktCompUnit::AddType(ktType *type) {
    return types.Add(type, [] {});
}

bool ktCompUnit::AddVariable(ktVariable *variable) {
    return variables.Add(variable, [] {});
}

ktFunction *ktCompUnit::FindFunction(const char *functionName) const { return functions.Find(functionName); }

ktType *ktCompUnit::FindType(const char *typeName) const { return types.Find(typeName); }

void ktCompUnit::SetIndexed(bool on) {
    functions.SetIndexed(on);
    types.SetIndexed(on);
    variables.SetIndexed(on);
}

const ktNameTrie &ktCompUnit::FunctionNames() const { return functions.Trie(); }

const ktNameTrie &ktCompUnit::TypeNames() const { return types.Trie(); }

const ktNameTrie &ktCompUnit::VariableNames() const { return variables.Trie(); }

void ktCompUnit::FunctionsAt(uint64_t address, std::vector<ktFunction *> &hits) const {
    functionsByAddress.All(address, hits);
}

ktFunction *ktCompUnit::FirstFunctionAt(uint64_t address) const { return functionsByAddress.First(address); }

ktSourceCache *ktCompUnit::Sources() {
    if (!sources) sources.reset(new (std::nothrow) ktSourceCache(lines));
    return sources.get();
}

void ktCompUnit::Freeze() {
    functions.Freeze();
    types.Freeze();
    variables.Freeze();
    ranges.Freeze();
    functionsByAddress.Freeze();
}
