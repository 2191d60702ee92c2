#include "symbols/symbol_factory.h"

#include <new>

#include "symbols/comp_unit.h"
#include "symbols/default_name.h"
#include "symbols/func_arg.h"
#include "symbols/function.h"
#include "symbols/module.h"
#include "symbols/named_object.h"
#include "symbols/types.h"
#include "symbols/variable.h"

namespace {

/// A new object of class T with its default name, or null without memory. The id is used up either way.
template <class T>
T *Create(std::atomic<uint64_t> &nextId) {
    const uint64_t id = nextId.fetch_add(1, std::memory_order_relaxed) + 1;
    ktRef<T> object(new (std::nothrow) T(id));
    if (!object) return nullptr;
    return SetNameOf(*object, ktDefaultName(ktDefaultPrefix<T>, id).text) ? object.Detach() : nullptr;
}

} // namespace

ktModule *ktSymbolFactory::CreateModule() {
    auto *module = Create<ktModule>(nextId);
    if (module) module->SetIndexed(indexNames);
    return module;
}

ktCompUnit *ktSymbolFactory::CreateCompUnit() {
    auto *unit = Create<ktCompUnit>(nextId);
    if (unit) unit->SetIndexed(indexNames);
    return unit;
}

ktFunction *ktSymbolFactory::CreateFunction() { return Create<ktFunction>(nextId); }

ktInlinedFunction *ktSymbolFactory::CreateInlinedFunction() { return Create<ktInlinedFunction>(nextId); }

ktVariable *ktSymbolFactory::CreateVariable() { return Create<ktVariable>(nextId); }

ktTypeMember *ktSymbolFactory::CreateTypeMember() { return Create<ktTypeMember>(nextId); }

ktEnumMember *ktSymbolFactory::CreateEnumMember() { return Create<ktEnumMember>(nextId); }

ktFuncArg *ktSymbolFactory::CreateFuncArg() { return Create<ktFuncArg>(nextId); }

ktBasicType *ktSymbolFactory::CreateBasicType() { return Create<ktBasicType>(nextId); }

ktArrayType *ktSymbolFactory::CreateArrayType() { return Create<ktArrayType>(nextId); }

ktEnumType *ktSymbolFactory::CreateEnumType() { return Create<ktEnumType>(nextId); }

ktComplexType *ktSymbolFactory::CreateComplexType() { return Create<ktComplexType>(nextId); }

ktModifiedType *ktSymbolFactory::CreateModifiedType() { return Create<ktModifiedType>(nextId); }

ktFuncType *ktSymbolFactory::CreateFuncType() { return Create<ktFuncType>(nextId); }

ktRangeType *ktSymbolFactory::CreateRangeType() { return Create<ktRangeType>(nextId); }

ktAliasType *ktSymbolFactory::CreateAliasType() { return Create<ktAliasType>(nextId); }
