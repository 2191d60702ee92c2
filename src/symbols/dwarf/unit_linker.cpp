#include "symbols/dwarf/unit_linker.h"

#include <algorithm>
#include <cstring>

#include "symbols/comp_unit.h"
#include "symbols/dwarf/unit_entries.h"
#include "symbols/func_arg.h"
#include "symbols/function.h"
#include "symbols/named_object.h"
#include "symbols/types.h"
#include "symbols/variable.h"

namespace {

ktObject::Kind KindOf(ktDieObject object) {
    switch (object) {
    case ktDieObject::unit:
        return ktObject::kindCompUnit;
    case ktDieObject::function:
    case ktDieObject::inlinedFunction:
        return ktObject::kindFunction;
    case ktDieObject::argument:
        return ktObject::kindFuncArg;
    case ktDieObject::variable:
        return ktObject::kindVariable;
    case ktDieObject::member:
        return ktObject::kindTypeMember;
    case ktDieObject::enumerator:
        return ktObject::kindEnumMember;
    default:
        return ktObject::kindType;
    }
}

/// The reference that a chain of types goes on through; null where it ends.
ktTypeRef *NextInChain(ktType &type) {
    switch (type.GetTypeKind()) {
    case ktType::typeModified:
        return &static_cast<ktModifiedType &>(type).target;
    case ktType::typeAlias:
        return &static_cast<ktAliasType &>(type).target;
    case ktType::typeEnum:
        return &static_cast<ktEnumType &>(type).underlying;
    case ktType::typeFunction:
        return &static_cast<ktFuncType &>(type).returnType;
    default:
        return nullptr;
    }
}

} // namespace

void ktUnitLinker::Link() {
    for (uint32_t node = entries.tree.FirstChild(top); node != 0; node = entries.tree.NextSibling(node)) {
        const ktDieObject kind = entries.ShapeOf(node).object;
        if (IsFunction(kind)) {
            LinkFunction(node, 0);
        } else if (IsType(kind)) {
            LinkType(node);
            auto *type = static_cast<ktType *>(entries.ObjectOf(node));
            const char *name = type->GetName();
            unit.AddType(type);
            PayForNewName(*type, name);
        } else if (kind == ktDieObject::variable) {
            auto *variable = static_cast<ktVariable *>(entries.ObjectOf(node));
            Resolve(variable->type);
            unit.AddVariable(variable);
        }
    }
    LinkLeftOut();
}

/// Nested functions come first: look-ups by address go by this order. A function that has no code and whose
/// object nobody refers to would be made for nothing.
void ktUnitLinker::LinkFunction(uint32_t node, uint32_t depth) {
    const bool isWanted = entries.ShapeOf(node).mayHaveRanges || entries.tree[node].object;
    for (uint32_t child = entries.tree.FirstChild(node); child != 0;
         child = entries.tree.NextSibling(child)) {
        const ktDieObject kind = entries.ShapeOf(child).object;
        if (IsFunction(kind)) {
            if (depth < maxDepth) LinkFunction(child, depth + 1);
        } else if (kind != ktDieObject::argument && kind != ktDieObject::variable && !IsType(kind)) {
            TellInvalid(kind);
        }
    }
    if (!isWanted) {
        leftOut.push_back(node);
        return;
    }
    LinkOwnOf(node);
    auto *function = static_cast<ktFunction *>(entries.ObjectOf(node));
    if (function->ranges.IsEmpty()) return;
    const char *name = function->name.Get();
    unit.AddFunction(function);
    PayForNewName(*function, name);
}

/// A name that another object of the unit has already was copied, with a number behind it.
template <class T>
void ktUnitLinker::PayForNewName(const T &object, const char *given) {
    const char *name = NameOf(object);
    if (name != given) entries.PayForText(std::strlen(name));
}

/// What the function itself refers to and owns.
void ktUnitLinker::LinkOwnOf(uint32_t node) {
    auto *function = static_cast<ktFunction *>(entries.ObjectOf(node));
    ResolveDirectly(function->returnType);
    if (function->IsInlined()) ResolveDirectly(static_cast<ktInlinedFunction *>(function)->origin);
    Adopt(node, ktDieObject::argument, function->args, [this](ktFuncArg &arg) { Resolve(arg.type); });
    Adopt(node, ktDieObject::variable, function->locals, [this](ktVariable &local) { Resolve(local.type); });
}

/// The functions that were left out and that something referred to later on.
void ktUnitLinker::LinkLeftOut() {
    std::sort(leftOut.begin(), leftOut.end());
    while (!askedFor.empty()) { // linking one may ask for others
        const uint32_t node = askedFor.back();
        askedFor.pop_back();
        if (std::binary_search(leftOut.begin(), leftOut.end(), node)) LinkOwnOf(node);
    }
}

void ktUnitLinker::LinkType(uint32_t node) {
    auto &type = static_cast<ktType &>(*entries.ObjectOf(node));
    const auto tellOthers = [this, node](ktDieObject expected, bool passFunctionsAndTypes) {
        for (uint32_t child = entries.tree.FirstChild(node); child != 0;
             child = entries.tree.NextSibling(child)) {
            const ktDieObject kind = entries.ShapeOf(child).object;
            if (kind == expected || (passFunctionsAndTypes && (IsFunction(kind) || IsType(kind)))) continue;
            TellInvalid(kind);
        }
    };
    switch (type.GetTypeKind()) {
    case ktType::typeComplex: {
        auto &complex = static_cast<ktComplexType &>(type);
        Adopt(node, ktDieObject::member, complex.members, [this, &complex](ktTypeMember &member) {
            member.owner = &complex;
            Resolve(member.type, Counted::no);
        });
        tellOthers(ktDieObject::member, true);
        break;
    }
    case ktType::typeModified:
        Resolve(static_cast<ktModifiedType &>(type).target);
        break;
    case ktType::typeAlias:
        Resolve(static_cast<ktAliasType &>(type).target);
        break;
    case ktType::typeRange:
        Resolve(static_cast<ktRangeType &>(type).indexType);
        break;
    case ktType::typeEnum: {
        auto &enumeration = static_cast<ktEnumType &>(type);
        Resolve(enumeration.underlying);
        Adopt(node, ktDieObject::enumerator, enumeration.members,
              [&enumeration](ktEnumMember &member) { member.SetOwner(&enumeration); });
        tellOthers(ktDieObject::enumerator, false);
        break;
    }
    case ktType::typeFunction: {
        auto &function = static_cast<ktFuncType &>(type);
        Resolve(function.returnType);
        Adopt(node, ktDieObject::argument, function.args, [this](ktFuncArg &arg) { Resolve(arg.type); });
        tellOthers(ktDieObject::argument, false);
        break;
    }
    case ktType::typeArray: {
        auto &array = static_cast<ktArrayType &>(type);
        Resolve(array.elementType);
        Adopt(node, ktDieObject::rangeType, array.ranges,
              [this](ktRangeType &range) { Resolve(range.indexType); });
        break;
    }
    case ktType::typeBasic:
        break;
    }
}

void ktUnitLinker::TellInvalid(ktDieObject object) {
    if (object != ktDieObject::none)
        entries.log.Format("Invalid object type %d", static_cast<int>(KindOf(object)));
}

/// Resolves a reference and, link by link, what the chain of types behind it refers to. A link that is
/// resolved already ends it, so a circle of types ends as well.
void ktUnitLinker::Resolve(ktTypeRef &reference, Counted counted) {
    ktTypeRef *open = &reference;
    while (open && open->IsUnresolved() && open->Offset() != 0) {
        const uint32_t node = entries.tree.Find(open->Offset());
        if (node == 0 || !IsType(entries.ShapeOf(node).object)) return;
        auto *type = static_cast<ktType *>(entries.ObjectOf(node));
        if (counted == Counted::yes || open != &reference) type->AddRef();
        open->SetObject(type);
        open = NextInChain(*type);
    }
}

/// Takes whatever object the entry has, and goes no further.
void ktUnitLinker::ResolveDirectly(ktTypeRef &reference) {
    if (!reference.IsUnresolved() || reference.Offset() == 0) return;
    const uint32_t node = entries.tree.Find(reference.Offset());
    if (node == 0) return;
    const bool isNew = !entries.tree[node].object;
    ktObject *object = entries.ObjectOf(node);
    if (!object) return;
    if (isNew && IsFunction(entries.ShapeOf(node).object)) askedFor.push_back(node);
    if (object != &unit) object->AddRef(); // a reference to the unit of its own would keep it for ever
    reference.SetObject(object);
}

/// Makes `list` the children of one kind, in order, each after linkChild(child).
template <class T, class LinkChild>
void ktUnitLinker::Adopt(uint32_t node, ktDieObject kind, ktObjectList<T> &list, const LinkChild &linkChild) {
    const auto forEachChild = [this, node, kind](const auto &visit) {
        for (uint32_t child = entries.tree.FirstChild(node); child != 0;
             child = entries.tree.NextSibling(child)) {
            if (entries.ShapeOf(child).object == kind) visit(child);
        }
    };
    uint32_t count = 0;
    forEachChild([&count](uint32_t) { ++count; });
    if (count == 0) return;
    T **children = unit.Arena().MakeArray<T *>(count);
    T **next = children;
    forEachChild([this, &next, &linkChild](uint32_t child) {
        auto *object = static_cast<T *>(entries.ObjectOf(child));
        linkChild(*object);
        *next++ = object;
    });
    list.Lend(children, count);
}
