#include "symbols/types.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/log.h"
#include "support/recording_lines.h"
#include "symbols/func_arg.h"
#include "symbols/function.h"
#include "symbols/symbol_factory.h"
#include "symbols/variable.h"

namespace {

class TypesTest : public testing::Test {
protected:
    ktRef<ktBasicType> MakeInt() {
        ktRef<ktBasicType> type(factory.CreateBasicType());
        type->size = 4;
        return type;
    }
    /// Puts `object` into `reference`, which owns a reference from then on.
    void Own(ktTypeRef &reference, ktObject *object) {
        ASSERT_TRUE(object->AddRef());
        reference.SetObject(object);
    }

    ktSymbolFactory factory;
};

} // namespace

TEST_F(TypesTest, TypesWithASizeFieldReportIt) {
    ktRef<ktBasicType> basic(factory.CreateBasicType());
    ktRef<ktComplexType> complex(factory.CreateComplexType());
    ktRef<ktEnumType> enumeration(factory.CreateEnumType());
    ktRef<ktArrayType> array(factory.CreateArrayType());
    basic->size = 2;
    complex->size = 0x123456789A;
    enumeration->size = 4;
    array->size = 40;
    EXPECT_EQ(basic->GetSize(), 2u);
    EXPECT_EQ(complex->GetSize(), 0x123456789Au);
    EXPECT_EQ(enumeration->GetSize(), 4u);
    EXPECT_EQ(array->GetSize(), 40u);
}

TEST_F(TypesTest, FunctionAndRangeTypesHaveNoSize) {
    ktRef<ktBasicType> basic = MakeInt();
    ktRef<ktFuncType> function(factory.CreateFuncType());
    ktRef<ktRangeType> range(factory.CreateRangeType());
    Own(function->returnType, basic.Get());
    Own(range->indexType, basic.Get());
    EXPECT_EQ(function->GetSize(), 0u);
    EXPECT_EQ(range->GetSize(), 0u);
}

TEST_F(TypesTest, APointerReportsTheSizeOfWhatItPointsTo) {
    ktRef<ktBasicType> basic = MakeInt();
    ktRef<ktModifiedType> pointer(factory.CreateModifiedType());
    pointer->flags = ktModifierPointer;
    Own(pointer->target, basic.Get());
    EXPECT_EQ(pointer->GetSize(), 4u);
}

TEST_F(TypesTest, AnAliasReportsTheSizeOfTheStruct) {
    ktRef<ktComplexType> complex(factory.CreateComplexType());
    complex->size = 24;
    ktRef<ktAliasType> alias(factory.CreateAliasType());
    Own(alias->target, complex.Get());
    ktRef<ktModifiedType> constant(factory.CreateModifiedType());
    Own(constant->target, alias.Get());
    EXPECT_EQ(alias->GetSize(), 24u);
    EXPECT_EQ(constant->GetSize(), 24u);
}

TEST_F(TypesTest, NoTargetMeansNoSize) {
    ktRef<ktModifiedType> pointer(factory.CreateModifiedType());
    ktRef<ktAliasType> alias(factory.CreateAliasType());
    EXPECT_EQ(pointer->GetSize(), 0u);
    EXPECT_EQ(alias->GetSize(), 0u);
}

TEST_F(TypesTest, AnUnresolvedReferenceShowsAsNone) {
    ktRef<ktModifiedType> pointer(factory.CreateModifiedType());
    pointer->target.SetOffset(0x40);
    EXPECT_EQ(pointer->GetSize(), 0u);
    EXPECT_EQ(TypeOf(pointer->target), nullptr);
}

TEST_F(TypesTest, AReferenceToAnotherKindOfObjectIsNoType) {
    ktRef<ktFunction> function(factory.CreateFunction());
    ktRef<ktAliasType> alias(factory.CreateAliasType());
    Own(alias->target, function.Get());
    EXPECT_EQ(TypeOf(alias->target), nullptr);
    EXPECT_EQ(alias->GetSize(), 0u);
}

TEST_F(TypesTest, ACircleOfTargetsHasNoSize) {
    for (const size_t length : {1u, 2u, 3u, 7u, 100u}) {
        for (const size_t before : {0u, 1u, 5u, 64u}) {
            std::vector<ktAliasType *> chain;
            for (size_t i = 0; i < before + length; ++i) chain.push_back(factory.CreateAliasType());
            for (size_t i = 0; i + 1 < chain.size(); ++i) Own(chain[i]->target, chain[i + 1]);
            chain.back()->target.SetObject(chain[before]); // not counted: this test takes the circle apart
            for (ktAliasType *alias : chain) EXPECT_EQ(alias->GetSize(), 0u);
            chain.back()->target.Clear();
            ReleaseAll(chain);
        }
    }
}

TEST_F(TypesTest, TheSizeAtTheEndOfAVeryLongChainIsFound) {
    ktRef<ktType> chain(MakeInt().Detach());
    for (int i = 0; i < 1000000; ++i) {
        ktAliasType *alias = factory.CreateAliasType();
        alias->target.SetObject(chain.Detach());
        chain.Reset(alias);
    }
    EXPECT_EQ(chain->GetSize(), 4u);
}

TEST_F(TypesTest, SetNameTakesACopyAndKeepsTheOldNameForNull) {
    ktRef<ktBasicType> type = MakeInt();
    std::string name = "int";
    EXPECT_TRUE(type->SetName(name.c_str()));
    name = "xxx";
    EXPECT_STREQ(type->GetName(), "int");
    EXPECT_FALSE(type->SetName(nullptr));
    EXPECT_STREQ(type->GetName(), "int");
}

TEST_F(TypesTest, AllReferencesButThoseOfMembersAreCounted) {
    ktRef<ktBasicType> basic = MakeInt();
    const auto expectCounted = [&](ktObject *holder, ktTypeRef &reference) {
        Own(reference, basic.Get());
        EXPECT_EQ(basic->RefCount(), 2u);
        holder->Release();
        EXPECT_EQ(basic->RefCount(), 1u);
    };
    const auto test = [&](auto *holder, auto field) { expectCounted(holder, holder->*field); };
    test(factory.CreateModifiedType(), &ktModifiedType::target);
    test(factory.CreateAliasType(), &ktAliasType::target);
    test(factory.CreateArrayType(), &ktArrayType::elementType);
    test(factory.CreateRangeType(), &ktRangeType::indexType);
    test(factory.CreateFuncType(), &ktFuncType::returnType);
    test(factory.CreateEnumType(), &ktEnumType::underlying);
    test(factory.CreateFuncArg(), &ktFuncArg::type);
    test(factory.CreateVariable(), &ktVariable::type);
    test(factory.CreateFunction(), &ktFunction::returnType);
    test(factory.CreateInlinedFunction(), &ktInlinedFunction::origin);
    test(factory.CreateInlinedFunction(), &ktInlinedFunction::returnType);
}

TEST_F(TypesTest, AMemberDoesNotOwnItsType) {
    ktRef<ktBasicType> basic = MakeInt();
    ktTypeMember *member = factory.CreateTypeMember();
    member->type.SetObject(basic.Get());
    member->Release();
    EXPECT_EQ(basic->RefCount(), 1u);
}

TEST_F(TypesTest, AMemberMayChangeItsOwnerInSilence) {
    ktRecordingLines log;
    ASSERT_TRUE(SetLogSink(&log));
    ktRef<ktComplexType> first(factory.CreateComplexType());
    ktRef<ktComplexType> second(factory.CreateComplexType());
    ktRef<ktTypeMember> member(factory.CreateTypeMember());
    member->owner = first.Get();
    member->owner = second.Get();
    ClearLogSink();
    EXPECT_TRUE(log.lines.empty());
    EXPECT_EQ(first->RefCount() + second->RefCount(), 2u);
}

TEST_F(TypesTest, ASecondOwnerOfAnEnumMemberIsLoggedAndStored) {
    ktRecordingLines log;
    ASSERT_TRUE(SetLogSink(&log));
    ktRef<ktEnumType> first(factory.CreateEnumType());
    ktRef<ktEnumType> second(factory.CreateEnumType());
    ktRef<ktEnumMember> member(factory.CreateEnumMember());
    member->SetOwner(first.Get());
    EXPECT_TRUE(log.lines.empty());
    member->SetOwner(second.Get());
    ClearLogSink();
    EXPECT_EQ(log.lines, std::vector<std::string>{"The owner is already set"});
    EXPECT_EQ(member->Owner(), second.Get());
    EXPECT_EQ(first->RefCount(), 1u);
    EXPECT_EQ(second->RefCount(), 1u);
}

TEST_F(TypesTest, ContainersOwnTheirChildren) {
    const auto expectOwned = [](ktObject *container, auto &children, auto *child) {
        ASSERT_TRUE(child->AddRef());
        children.push_back(child);
        container->Release();
        EXPECT_EQ(child->RefCount(), 1u);
        child->Release();
    };
    auto *complex = factory.CreateComplexType();
    expectOwned(complex, complex->members, factory.CreateTypeMember());
    auto *enumeration = factory.CreateEnumType();
    expectOwned(enumeration, enumeration->members, factory.CreateEnumMember());
    auto *array = factory.CreateArrayType();
    expectOwned(array, array->ranges, factory.CreateRangeType());
    auto *functionType = factory.CreateFuncType();
    expectOwned(functionType, functionType->args, factory.CreateFuncArg());
    auto *function = factory.CreateFunction();
    expectOwned(function, function->args, factory.CreateFuncArg());
    auto *caller = factory.CreateInlinedFunction();
    expectOwned(caller, caller->locals, factory.CreateVariable());
}

TEST_F(TypesTest, NumbersOfEncodingsAndModifiersAreFixed) {
    EXPECT_EQ(ktEncodingSigned, 0u);
    EXPECT_EQ(ktEncodingUnsigned, 1u);
    EXPECT_EQ(ktEncodingCharacter, 2u);
    EXPECT_EQ(ktEncodingFloating, 4u);
    EXPECT_EQ(ktEncodingBoolean, 5u);
    EXPECT_EQ(ktModifierConst, 1u);
    EXPECT_EQ(ktModifierPointer, 2u);
    EXPECT_EQ(ktModifierVolatile, 4u);
    EXPECT_EQ(ktModifierReference, 8u);
    EXPECT_EQ(ktModifierRestrict, 16u);
}
