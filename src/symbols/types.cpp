#include "symbols/types.h"

#include "app/log.h"
#include "symbols/func_arg.h"

namespace {

/// Where `type` takes its size from; null for types that know their own.
const ktTypeRef *SizeSource(const ktType &type) {
    switch (type.GetTypeKind()) {
    case ktType::typeModified:
        return &static_cast<const ktModifiedType &>(type).target;
    case ktType::typeAlias:
        return &static_cast<const ktAliasType &>(type).target;
    default:
        return nullptr;
    }
}

/// Size of what `target` leads to. A loop and not a recursion, for the length of the chain comes from a
/// file. `marked` jumps ahead at doubling distances, so a chain without end meets it sooner or later.
uint64_t TargetSize(const ktTypeRef &target) {
    const ktType *type = TypeOf(target);
    const ktType *marked = nullptr;
    for (uint64_t steps = 0, nextMark = 1; type && type != marked; ++steps) {
        const ktTypeRef *source = SizeSource(*type);
        if (!source) return type->GetSize();
        if (steps == nextMark) {
            marked = type;
            nextMark *= 2;
        }
        type = TypeOf(*source);
    }
    return 0;
}

} // namespace

ktComplexType::~ktComplexType() { ReleaseAll(members); }

ktModifiedType::~ktModifiedType() { target.Release(); }

uint64_t ktModifiedType::GetSize() const { return TargetSize(target); }

ktAliasType::~ktAliasType() { target.Release(); }

uint64_t ktAliasType::GetSize() const { return TargetSize(target); }

void ktEnumMember::SetOwner(ktEnumType *newOwner) {
    if (owner) ktLog("The owner is already set");
    owner = newOwner;
}

ktEnumType::~ktEnumType() {
    ReleaseAll(members);
    underlying.Release();
}

ktFuncType::~ktFuncType() {
    ReleaseAll(args);
    returnType.Release();
}

ktRangeType::~ktRangeType() { indexType.Release(); }

ktArrayType::~ktArrayType() {
    ReleaseAll(ranges);
    elementType.Release();
}
