#include "symbols/reference_sweep.h"

#include <gtest/gtest.h>

#include "symbols/comp_unit.h"
#include "symbols/func_arg.h"
#include "symbols/function.h"
#include "symbols/symbol_factory.h"
#include "symbols/types.h"
#include "symbols/variable.h"

namespace {

/// A type whose end can be seen.
class MortalType final : public ktType {
public:
    explicit MortalType(bool &ended) : ktType(1000), hasEnded(ended) {}
    ~MortalType() override { hasEnded = true; }

    TypeKind GetTypeKind() const override { return typeBasic; }
    uint64_t GetSize() const override { return 1; }

private:
    bool &hasEnded;
};

/// A unit with objects in a circle: an alias of a function type that returns the alias, takes an array of
/// it, and has an argument whose end tells whether the circle was opened.
class CircleTest : public testing::Test {
protected:
    CircleTest() : unit(factory.CreateCompUnit()), alias(factory.CreateAliasType()) {
        ktFuncType *function = factory.CreateFuncType();
        ktArrayType *array = factory.CreateArrayType();
        ktRangeType *range = factory.CreateRangeType();
        array->ranges.push_back(range);
        for (ktObject *object :
             {static_cast<ktObject *>(new MortalType(hasEnded)), static_cast<ktObject *>(array)}) {
            function->args.push_back(factory.CreateFuncArg());
            function->args.back()->type.SetObject(object);
        }
        alias->target.SetObject(function);
        for (ktTypeRef *reference : {&function->returnType, &array->elementType, &range->indexType}) {
            alias->AddRef();
            reference->SetObject(alias.Get());
        }
    }

    void ExpectItGoesWithTheUnit() {
        alias.Reset();
        EXPECT_FALSE(hasEnded);
        unit.Reset();
        EXPECT_TRUE(hasEnded);
    }

    ktSymbolFactory factory;
    bool hasEnded = false;
    ktRef<ktCompUnit> unit;
    ktRef<ktAliasType> alias;
};

} // namespace

TEST(ReferenceSweep, TakesEachReferenceOnceAndLeavesNone) {
    ktSymbolFactory factory;
    ktRef<ktAliasType> alias(factory.CreateAliasType());
    ktRef<ktModifiedType> pointer(factory.CreateModifiedType());
    ktRef<ktBasicType> basic(factory.CreateBasicType());
    pointer->AddRef();
    alias->target.SetObject(pointer.Get());
    basic->AddRef();
    pointer->target.SetObject(basic.Get());
    ktReferenceSweep().Visit(*alias);
    EXPECT_TRUE(alias->target.IsNone());
    EXPECT_TRUE(pointer->target.IsNone());
    EXPECT_EQ(pointer->RefCount(), 1u);
    EXPECT_EQ(basic->RefCount(), 1u);
    ktReferenceSweep().Visit(*alias);
    EXPECT_EQ(pointer->RefCount(), 1u);
}

TEST(ReferenceSweep, LeavesUnresolvedReferencesAndMembersAlone) {
    ktSymbolFactory factory;
    ktRef<ktAliasType> alias(factory.CreateAliasType());
    alias->target.SetOffset(0x40);
    ktReferenceSweep().Visit(*alias);
    EXPECT_EQ(alias->target.Offset(), 0x40u);

    ktRef<ktBasicType> basic(factory.CreateBasicType());
    ktRef<ktComplexType> complex(factory.CreateComplexType());
    complex->members.push_back(factory.CreateTypeMember());
    complex->members[0]->type.SetObject(basic.Get());
    ktReferenceSweep().Visit(*complex);
    EXPECT_EQ(complex->members[0]->type.Object(), basic.Get());
    EXPECT_EQ(basic->RefCount(), 1u);
}

TEST(ReferenceSweep, AStructThatPointsToItselfGoesWithTheUnit) {
    ktSymbolFactory factory;
    bool hasEnded = false;
    ktRef<ktCompUnit> unit(factory.CreateCompUnit());
    ktRef<ktComplexType> node(factory.CreateComplexType());
    ktRef<ktModifiedType> pointer(factory.CreateModifiedType());
    ktRef<MortalType> payload(new MortalType(hasEnded));
    ktTypeMember *next = factory.CreateTypeMember();
    ktTypeMember *value = factory.CreateTypeMember();
    next->owner = value->owner = node.Get();
    next->type.SetObject(pointer.Get());
    value->type.SetObject(payload.Get());
    node->members = {next, value};
    node->AddRef();
    pointer->target.SetObject(node.Get());
    unit->AddType(node.Get());
    unit->AddType(pointer.Get());
    unit->AddType(payload.Get());
    payload.Reset();
    pointer.Reset();
    node.Reset();
    EXPECT_FALSE(hasEnded);
    unit.Reset();
    EXPECT_TRUE(hasEnded);
}

TEST_F(CircleTest, OfTypesOfTheUnitGoesWithTheUnit) {
    unit->AddType(alias.Get());
    ExpectItGoesWithTheUnit();
}

TEST_F(CircleTest, BehindAFunctionGoesWithTheUnit) {
    ktRef<ktFunction> function(factory.CreateFunction());
    function->returnType.SetObject(alias.Detach());
    unit->AddFunction(function.Get());
    function.Reset();
    ExpectItGoesWithTheUnit();
}

TEST_F(CircleTest, BehindAnArgumentGoesWithTheUnit) {
    ktRef<ktFunction> function(factory.CreateFunction());
    function->args.push_back(factory.CreateFuncArg());
    function->args[0]->type.SetObject(alias.Detach());
    unit->AddFunction(function.Get());
    function.Reset();
    ExpectItGoesWithTheUnit();
}

TEST_F(CircleTest, BehindALocalGoesWithTheUnit) {
    ktRef<ktFunction> function(factory.CreateFunction());
    function->locals.push_back(factory.CreateVariable());
    function->locals[0]->type.SetObject(alias.Detach());
    unit->AddFunction(function.Get());
    function.Reset();
    ExpectItGoesWithTheUnit();
}

TEST_F(CircleTest, BehindAVariableGoesWithTheUnit) {
    ktRef<ktVariable> variable(factory.CreateVariable());
    variable->type.SetObject(alias.Detach());
    unit->AddVariable(variable.Get());
    variable.Reset();
    ExpectItGoesWithTheUnit();
}

TEST_F(CircleTest, OfInlinedCallsGoesWithTheUnit) {
    ktRef<ktInlinedFunction> first(factory.CreateInlinedFunction());
    ktRef<ktInlinedFunction> second(factory.CreateInlinedFunction());
    second->returnType.SetObject(alias.Detach());
    second->AddRef();
    first->origin.SetObject(second.Get());
    first->AddRef();
    second->origin.SetObject(first.Get());
    unit->AddFunction(first.Get());
    first.Reset();
    second.Reset();
    ExpectItGoesWithTheUnit();
}

TEST_F(CircleTest, OfAnEnumAndItsUnderlyingTypeGoesWithTheUnit) {
    ktRef<ktEnumType> enumeration(factory.CreateEnumType());
    ktRef<ktModifiedType> constant(factory.CreateModifiedType());
    ktRef<ktFuncType> function(factory.CreateFuncType());
    constant->target.SetObject(function.Get());
    function->returnType.SetObject(enumeration.Get());
    function->args.push_back(factory.CreateFuncArg());
    function->args[0]->type.SetObject(alias.Detach());
    enumeration->underlying.SetObject(constant.Get());
    constant.Detach();
    function.Detach();
    unit->AddType(enumeration.Get());
    enumeration.Detach(); // the function type has it
    ExpectItGoesWithTheUnit();
}
