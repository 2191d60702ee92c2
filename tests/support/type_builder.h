#pragma once

#include "support/symbol_builder.h"
#include "symbols/func_arg.h"

#include <cstdint>
#include <initializer_list>
#include <utility>

/// Builds the types of one unit by hand. The unit owns them; references to types are counted as readers do.
class ktTypeBuilder {
public:
    ktTypeBuilder(ktSymbolFactory &symbolFactory, ktCompUnit *owner) : factory(symbolFactory), unit(owner) {}

    ktBasicType *Basic(const char *name, uint64_t size) {
        ktBasicType *type = Add(factory.CreateBasicType(), name);
        type->size = size;
        return type;
    }
    ktModifiedType *Modified(uint64_t flags, ktType *target) {
        ktModifiedType *type = Add(factory.CreateModifiedType(), nullptr);
        type->flags = flags;
        Refer(type->target, target);
        return type;
    }
    ktAliasType *Alias(const char *name, ktType *target) {
        ktAliasType *type = Add(factory.CreateAliasType(), name);
        Refer(type->target, target);
        return type;
    }
    /// One dimension for each pair of bounds, all indexed by `index`.
    ktArrayType *Array(const char *name, uint64_t size, ktType *element,
                       std::initializer_list<std::pair<int64_t, int64_t>> bounds, ktType *index = nullptr) {
        ktArrayType *type = Add(factory.CreateArrayType(), name);
        type->size = size;
        Refer(type->elementType, element);
        for (const auto &[lower, upper] : bounds) {
            ktRangeType *range = factory.CreateRangeType();
            range->lower = lower;
            range->upper = upper;
            Refer(range->indexType, index);
            type->ranges.push_back(range);
        }
        return type;
    }
    ktRangeType *Range(const char *name, ktType *index) {
        ktRangeType *type = Add(factory.CreateRangeType(), name);
        Refer(type->indexType, index);
        return type;
    }
    ktComplexType *Complex(const char *name, uint64_t size) {
        ktComplexType *type = Add(factory.CreateComplexType(), name);
        type->size = size;
        return type;
    }
    ktTypeMember *Member(ktComplexType *owner, const char *name, uint64_t offset, ktType *memberType) {
        ktTypeMember *member = factory.CreateTypeMember();
        member->name.Assign(name);
        member->offset = offset;
        member->owner = owner;
        member->type.SetObject(memberType); // not counted
        owner->members.push_back(member);
        return member;
    }
    ktEnumType *Enum(const char *name, uint64_t size, ktType *underlying) {
        ktEnumType *type = Add(factory.CreateEnumType(), name);
        type->size = size;
        Refer(type->underlying, underlying);
        return type;
    }
    void Enumerator(ktEnumType *owner, const char *name, int64_t value) {
        ktEnumMember *member = factory.CreateEnumMember();
        member->name.Assign(name);
        member->value = value;
        member->SetOwner(owner);
        owner->members.push_back(member);
    }
    ktFuncType *Func(const char *name, ktType *returned) {
        ktFuncType *type = Add(factory.CreateFuncType(), name);
        Refer(type->returnType, returned);
        return type;
    }
    ktFuncArg *Arg(ktFuncType *owner, const char *name, ktType *argType) {
        ktFuncArg *arg = factory.CreateFuncArg();
        arg->name.Assign(name);
        Refer(arg->type, argType);
        owner->args.push_back(arg);
        return arg;
    }
    /// Makes `reference` own `type`; null leaves it none.
    static void Refer(ktTypeRef &reference, ktType *type) {
        if (!type || !type->AddRef()) return;
        reference.SetObject(type);
    }

private:
    /// A null `name` leaves the default one.
    template <class T>
    T *Add(T *type, const char *name) {
        if (name) type->SetName(name);
        unit->AddType(type);
        type->Release();
        return type;
    }

    ktSymbolFactory &factory;
    ktCompUnit *unit;
};
