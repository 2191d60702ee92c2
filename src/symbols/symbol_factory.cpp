#include "symbols/symbol_factory.h"

#include <cstdio>
#include <new>

#include "symbols/comp_unit.h"
#include "symbols/func_arg.h"
#include "symbols/function.h"
#include "symbols/module.h"
#include "symbols/named_object.h"
#include "symbols/types.h"
#include "symbols/variable.h"

namespace {

constexpr size_t defaultNameSize = 32;

/// A new object of class T with the default name PREFIX_ID, or null without memory. The id is used up
/// either way.
template <class T>
T *Create(std::atomic<uint64_t> &nextId, const char *prefix) {
    const uint64_t id = nextId.fetch_add(1, std::memory_order_relaxed) + 1;
    ktRef<T> object(new (std::nothrow) T(id));
    if (!object) return nullptr;
    char name[defaultNameSize];
    std::snprintf(name, sizeof(name), "%s_%llX", prefix, static_cast<unsigned long long>(id));
    return SetNameOf(*object, name) ? object.Detach() : nullptr;
}

} // namespace

ktModule *ktSymbolFactory::CreateModule() {
    auto *module = Create<ktModule>(nextId, "mod");
    if (module) module->SetIndexed(indexNames);
    return module;
}

ktCompUnit *ktSymbolFactory::CreateCompUnit() {
    auto *unit = Create<ktCompUnit>(nextId, "cu");
    if (unit) unit->SetIndexed(indexNames);
    return unit;
}

ktFunction *ktSymbolFactory::CreateFunction() { return Create<ktFunction>(nextId, "fn"); }

ktInlinedFunction *ktSymbolFactory::CreateInlinedFunction() {
    return Create<ktInlinedFunction>(nextId, "fn");
}

ktVariable *ktSymbolFactory::CreateVariable() { return Create<ktVariable>(nextId, "var"); }

ktTypeMember *ktSymbolFactory::CreateTypeMember() { return Create<ktTypeMember>(nextId, "fld"); }

ktEnumMember *ktSymbolFactory::CreateEnumMember() { return Create<ktEnumMember>(nextId, "em"); }

ktFuncArg *ktSymbolFactory::CreateFuncArg() { return Create<ktFuncArg>(nextId, "farg"); }

ktBasicType *ktSymbolFactory::CreateBasicType() { return Create<ktBasicType>(nextId, "bas"); }

ktArrayType *ktSymbolFactory::CreateArrayType() { return Create<ktArrayType>(nextId, "arr"); }

ktEnumType *ktSymbolFactory::CreateEnumType() { return Create<ktEnumType>(nextId, "enum"); }

ktComplexType *ktSymbolFactory::CreateComplexType() { return Create<ktComplexType>(nextId, "cplx"); }

ktModifiedType *ktSymbolFactory::CreateModifiedType() { return Create<ktModifiedType>(nextId, "modt"); }

ktFuncType *ktSymbolFactory::CreateFuncType() { return Create<ktFuncType>(nextId, "fnt"); }

ktRangeType *ktSymbolFactory::CreateRangeType() { return Create<ktRangeType>(nextId, "rngt"); }

ktAliasType *ktSymbolFactory::CreateAliasType() { return Create<ktAliasType>(nextId, "alt"); }
