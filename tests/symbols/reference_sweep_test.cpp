#include "symbols/reference_sweep.h"

#include <chrono>

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

/// Makes `reference` own one to `object`.
void Refer(ktTypeRef &reference, ktObject &object) {
    ASSERT_TRUE(object.AddRef());
    reference.SetObject(&object);
}

/// Two units, each with an alias; the references are up to the test. Besides its unit, the test holds one
/// reference to each alias.
class TwoUnitsTest : public testing::Test {
protected:
    TwoUnitsTest()
        : first(factory.CreateCompUnit()), second(factory.CreateCompUnit()),
          inFirst(factory.CreateAliasType()), inSecond(factory.CreateAliasType()) {
        EXPECT_TRUE(first->AddType(inFirst.Get()));
        EXPECT_TRUE(second->AddType(inSecond.Get()));
    }

    ktSymbolFactory factory;
    ktRef<ktCompUnit> first, second;
    ktRef<ktAliasType> inFirst, inSecond;
};

/// Circles through both units; the parameter tells whether the second unit dies first.
class CircleAcrossUnitsTest : public TwoUnitsTest, public testing::WithParamInterface<bool> {
protected:
    void ExpectTheyGoWithTheLastUnit() {
        ktRef<ktCompUnit> &early = GetParam() ? second : first;
        ktRef<ktCompUnit> &late = GetParam() ? first : second;
        ktAliasType &earlyType = GetParam() ? *inSecond : *inFirst;
        ktAliasType &lateType = GetParam() ? *inFirst : *inSecond;
        early.Reset();
        EXPECT_TRUE(earlyType.target.IsNone());
        EXPECT_FALSE(lateType.target.IsNone());
        late.Reset();
        for (const ktAliasType *type : {&earlyType, &lateType}) {
            EXPECT_TRUE(type->target.IsNone());
            EXPECT_EQ(type->RefCount(), 1u) << "the test's own";
        }
    }
};

INSTANTIATE_TEST_SUITE_P(Ends, CircleAcrossUnitsTest, testing::Values(false, true),
                         [](const auto &instance) { return instance.param ? "SecondFirst" : "FirstFirst"; });

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

TEST_F(CircleTest, WithoutAUnitGoesWithTheUnitWhoseTypeLeadsToIt) {
    ktRef<ktModifiedType> pointer(factory.CreateModifiedType());
    pointer->target.SetObject(alias.Detach());
    unit->AddType(pointer.Get());
    pointer.Reset();
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

TEST_F(TwoUnitsTest, AUnitThatDiesLeavesTheReferencesOfTheOtherUnitsObjectsWhole) {
    const ktRef<ktBasicType> basic(factory.CreateBasicType());
    const ktRef<ktFunction> function(factory.CreateFunction());
    Refer(inSecond->target, *basic);
    Refer(function->returnType, *basic);
    ASSERT_TRUE(second->AddFunction(function.Get()));
    // From the first unit straight to the type, over a type of no unit, and to the function.
    Refer(inFirst->target, *inSecond);
    const ktRef<ktFuncType> caller(factory.CreateFuncType());
    ktArrayType *between = factory.CreateArrayType();
    Refer(between->elementType, *inSecond);
    caller->returnType.SetObject(between);
    ASSERT_TRUE(first->AddType(caller.Get()));
    const ktRef<ktInlinedFunction> call(factory.CreateInlinedFunction());
    Refer(call->origin, *function);
    ASSERT_TRUE(first->AddFunction(call.Get()));
    EXPECT_EQ(inSecond->RefCount(), 4u);
    EXPECT_EQ(function->RefCount(), 3u);

    first.Reset();
    EXPECT_TRUE(inFirst->target.IsNone());
    EXPECT_TRUE(caller->returnType.IsNone());
    EXPECT_TRUE(call->origin.IsNone());
    EXPECT_EQ(inSecond->target.Object(), basic.Get());
    EXPECT_EQ(function->returnType.Object(), basic.Get());
    EXPECT_EQ(inSecond->RefCount(), 2u);
    EXPECT_EQ(function->RefCount(), 2u);
    EXPECT_EQ(basic->RefCount(), 3u);

    second.Reset();
    EXPECT_EQ(inSecond->RefCount(), 1u);
    EXPECT_EQ(function->RefCount(), 1u);
    EXPECT_EQ(basic->RefCount(), 1u);
}

TEST_P(CircleAcrossUnitsTest, OfTheTypesThemselvesGoesWhenBothAreGone) {
    Refer(inFirst->target, *inSecond);
    Refer(inSecond->target, *inFirst);
    ExpectTheyGoWithTheLastUnit();
}

TEST_P(CircleAcrossUnitsTest, OverTypesWithoutAUnitGoesWhenBothAreGone) {
    bool hasEnded[2] = {false, false};
    for (int i = 0; i < 2; ++i) {
        ktFuncType *between = factory.CreateFuncType();
        Refer(between->returnType, i == 0 ? *inSecond : *inFirst);
        between->args.push_back(factory.CreateFuncArg());
        between->args[0]->type.SetObject(new MortalType(hasEnded[i]));
        (i == 0 ? inFirst : inSecond)->target.SetObject(between);
    }
    ExpectTheyGoWithTheLastUnit();
    EXPECT_TRUE(hasEnded[0]);
    EXPECT_TRUE(hasEnded[1]);
}

// Going through the wide type once for each way that leads to it would take billions of steps.
TEST(ReferenceSweepScale, AWideTypeBehindAsManyAliasesIsGoneThroughOnce) {
    constexpr int width = 60000;
    ktSymbolFactory factory;
    bool hasEnded = false;
    ktRef<ktCompUnit> unit(factory.CreateCompUnit());
    {
        const ktRef<MortalType> payload(new MortalType(hasEnded));
        const ktRef<ktFuncType> wide(factory.CreateFuncType());
        const ktRef<ktFunction> function(factory.CreateFunction());
        for (int i = 0; i < width; ++i) {
            wide->args.push_back(factory.CreateFuncArg());
            Refer(wide->args.back()->type, *payload);
            ktAliasType *alias = factory.CreateAliasType();
            Refer(alias->target, *wide);
            function->args.push_back(factory.CreateFuncArg());
            function->args.back()->type.SetObject(alias);
        }
        ASSERT_TRUE(unit->AddFunction(function.Get()));
    }
    EXPECT_FALSE(hasEnded);
    const auto start = std::chrono::steady_clock::now();
    unit.Reset();
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    EXPECT_TRUE(hasEnded);
    EXPECT_LT(seconds.count(), 2.0);
}
