#include "symbols/reference_sweep.h"

#include <new>

#include "symbols/func_arg.h"
#include "symbols/function.h"
#include "symbols/types.h"
#include "symbols/variable.h"

void ktReferenceSweep::Visit(ktObject &object) {
    TakeAll(object);
    while (!taken.empty()) {
        ktObject *next = taken.back();
        taken.pop_back();
        if (!next->IsInUnit() && next->BeginSweep()) TakeAll(*next);
        next->Release();
    }
}

void ktReferenceSweep::TakeAll(ktObject &object) {
    switch (object.GetKind()) {
    case ktObject::kindFunction:
        TakeFromFunction(static_cast<ktFunction &>(object));
        break;
    case ktObject::kindFuncArg:
        Take(static_cast<ktFuncArg &>(object).type);
        break;
    case ktObject::kindVariable:
        Take(static_cast<ktVariable &>(object).type);
        break;
    case ktObject::kindType:
        TakeFromType(static_cast<ktType &>(object));
        break;
    case ktObject::kindCompUnit:
    case ktObject::kindTypeMember:
    case ktObject::kindEnumMember:
    case ktObject::kindModule:
        break;
    }
}

void ktReferenceSweep::TakeFromFunction(ktFunction &function) {
    Take(function.returnType);
    if (function.IsInlined()) Take(static_cast<ktInlinedFunction &>(function).origin);
    for (ktFuncArg *arg : function.args) Take(arg->type);
    for (ktVariable *local : function.locals) Take(local->type);
}

void ktReferenceSweep::TakeFromType(ktType &type) {
    switch (type.GetTypeKind()) {
    case ktType::typeModified:
        Take(static_cast<ktModifiedType &>(type).target);
        break;
    case ktType::typeAlias:
        Take(static_cast<ktAliasType &>(type).target);
        break;
    case ktType::typeEnum:
        Take(static_cast<ktEnumType &>(type).underlying);
        break;
    case ktType::typeFunction:
        Take(static_cast<ktFuncType &>(type).returnType);
        for (ktFuncArg *arg : static_cast<ktFuncType &>(type).args) Take(arg->type);
        break;
    case ktType::typeArray:
        Take(static_cast<ktArrayType &>(type).elementType);
        for (ktRangeType *range : static_cast<ktArrayType &>(type).ranges) Take(range->indexType);
        break;
    case ktType::typeRange:
        Take(static_cast<ktRangeType &>(type).indexType);
        break;
    case ktType::typeBasic:
    case ktType::typeComplex: // its members count nothing
        break;
    }
}

/// Without memory the reference stays: the worst that comes of it is a circle that stays too.
void ktReferenceSweep::Take(ktTypeRef &reference) {
    if (!reference.Object()) return;
    try {
        taken.push_back(reference.Object());
    } catch (const std::bad_alloc &) {
        return;
    }
    reference.Clear();
}
