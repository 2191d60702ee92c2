#include "symbols/symbol_factory.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

#include "app/hex_digits.h"
#include "symbols/comp_unit.h"
#include "symbols/func_arg.h"
#include "symbols/function.h"
#include "symbols/module.h"
#include "symbols/named_object.h"
#include "symbols/types.h"
#include "symbols/variable.h"

namespace {

constexpr size_t defaultNameSize = 32;

/// Prints PREFIX_ID. By hand, for most names are replaced at once and there are very many.
void PrintDefaultName(char (&name)[defaultNameSize], const char *prefix, uint64_t id) {
    char *end = std::copy_n(prefix, std::strlen(prefix), name);
    *end++ = '_';
    const auto digits = static_cast<uint32_t>((std::bit_width(id) + 3) / 4);
    *ktPutHex(end, id, std::max(digits, 1u)) = 0;
}

/// A new object of class T with the default name PREFIX_ID, or null without memory. The id is used up
/// either way.
template <class T>
T *Create(std::atomic<uint64_t> &nextId, const char *prefix) {
    const uint64_t id = nextId.fetch_add(1, std::memory_order_relaxed) + 1;
    ktRef<T> object(new (std::nothrow) T(id));
    if (!object) return nullptr;
    char name[defaultNameSize];
    PrintDefaultName(name, prefix, id);
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
