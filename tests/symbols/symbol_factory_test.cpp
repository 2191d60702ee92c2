#include "symbols/symbol_factory.h"

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "symbols/comp_unit.h"
#include "symbols/func_arg.h"
#include "symbols/function.h"
#include "symbols/module.h"
#include "symbols/named_object.h"
#include "symbols/types.h"
#include "symbols/variable.h"

namespace {

/// Creates one object and checks all that creation promises.
template <class T>
void ExpectCreated(T *(ktSymbolFactory::*create)(), ktObject::Kind kind, const std::string &prefix) {
    SCOPED_TRACE(prefix);
    ktSymbolFactory factory;
    factory.nextId = 0xABCDE;
    ktRef<T> object((factory.*create)());
    ASSERT_TRUE(object);
    EXPECT_EQ(object->GetId(), 0xABCDFu);
    EXPECT_EQ(factory.nextId, 0xABCDFu);
    EXPECT_EQ(object->RefCount(), 1u);
    EXPECT_EQ(object->GetKind(), kind);
    EXPECT_EQ(NameOf(*object), prefix + "_ABCDF");
}

template <class T>
void ExpectTypeKind(T *(ktSymbolFactory::*create)(), ktType::TypeKind kind) {
    ktSymbolFactory factory;
    ktRef<T> type((factory.*create)());
    EXPECT_EQ(type->GetTypeKind(), kind);
}

} // namespace

TEST(SymbolFactory, GivesEachClassItsKindAndDefaultName) {
    using F = ktSymbolFactory;
    ExpectCreated(&F::CreateModule, ktObject::kindModule, "mod");
    ExpectCreated(&F::CreateCompUnit, ktObject::kindCompUnit, "cu");
    ExpectCreated(&F::CreateFunction, ktObject::kindFunction, "fn");
    ExpectCreated(&F::CreateInlinedFunction, ktObject::kindFunction, "fn");
    ExpectCreated(&F::CreateVariable, ktObject::kindVariable, "var");
    ExpectCreated(&F::CreateTypeMember, ktObject::kindTypeMember, "fld");
    ExpectCreated(&F::CreateEnumMember, ktObject::kindEnumMember, "em");
    ExpectCreated(&F::CreateFuncArg, ktObject::kindFuncArg, "farg");
    ExpectCreated(&F::CreateBasicType, ktObject::kindType, "bas");
    ExpectCreated(&F::CreateArrayType, ktObject::kindType, "arr");
    ExpectCreated(&F::CreateEnumType, ktObject::kindType, "enum");
    ExpectCreated(&F::CreateComplexType, ktObject::kindType, "cplx");
    ExpectCreated(&F::CreateModifiedType, ktObject::kindType, "modt");
    ExpectCreated(&F::CreateFuncType, ktObject::kindType, "fnt");
    ExpectCreated(&F::CreateRangeType, ktObject::kindType, "rngt");
    ExpectCreated(&F::CreateAliasType, ktObject::kindType, "alt");
}

TEST(SymbolFactory, GivesEachTypeItsTypeKind) {
    using F = ktSymbolFactory;
    ExpectTypeKind(&F::CreateBasicType, ktType::typeBasic);
    ExpectTypeKind(&F::CreateComplexType, ktType::typeComplex);
    ExpectTypeKind(&F::CreateModifiedType, ktType::typeModified);
    ExpectTypeKind(&F::CreateAliasType, ktType::typeAlias);
    ExpectTypeKind(&F::CreateEnumType, ktType::typeEnum);
    ExpectTypeKind(&F::CreateFuncType, ktType::typeFunction);
    ExpectTypeKind(&F::CreateArrayType, ktType::typeArray);
    ExpectTypeKind(&F::CreateRangeType, ktType::typeRange);
}

TEST(SymbolFactory, NumbersOfKindsAreFixed) {
    EXPECT_EQ(ktObject::kindCompUnit, 0u);
    EXPECT_EQ(ktObject::kindFunction, 1u);
    EXPECT_EQ(ktObject::kindFuncArg, 2u);
    EXPECT_EQ(ktObject::kindType, 3u);
    EXPECT_EQ(ktObject::kindTypeMember, 4u);
    EXPECT_EQ(ktObject::kindEnumMember, 5u);
    EXPECT_EQ(ktObject::kindModule, 6u);
    EXPECT_EQ(ktObject::kindVariable, 7u);
    EXPECT_EQ(ktType::typeBasic, 0u);
    EXPECT_EQ(ktType::typeComplex, 1u);
    EXPECT_EQ(ktType::typeModified, 2u);
    EXPECT_EQ(ktType::typeAlias, 3u);
    EXPECT_EQ(ktType::typeEnum, 4u);
    EXPECT_EQ(ktType::typeFunction, 5u);
    EXPECT_EQ(ktType::typeArray, 6u);
    EXPECT_EQ(ktType::typeRange, 7u);
}

TEST(SymbolFactory, CountsFromOneAcrossAllClasses) {
    ktSymbolFactory factory;
    ktRef<ktModule> module(factory.CreateModule());
    ktRef<ktCompUnit> unit(factory.CreateCompUnit());
    ktRef<ktFunction> function(factory.CreateFunction());
    EXPECT_EQ(module->GetId(), 1u);
    EXPECT_EQ(unit->GetId(), 2u);
    EXPECT_EQ(function->GetId(), 3u);
    EXPECT_STREQ(module->name.Get(), "mod_1");
    module.Reset();
    ktRef<ktVariable> variable(factory.CreateVariable());
    EXPECT_EQ(variable->GetId(), 4u) << "ids are not used again";
}

TEST(SymbolFactory, TheLongestIdFitsIntoTheName) {
    ktSymbolFactory factory;
    factory.nextId = ~uint64_t(0) - 1;
    ktRef<ktComplexType> type(factory.CreateComplexType());
    EXPECT_STREQ(type->GetName(), "cplx_FFFFFFFFFFFFFFFF");
}

TEST(SymbolFactory, InlinedFunctionsSayThatTheyAre) {
    ktSymbolFactory factory;
    ktRef<ktFunction> function(factory.CreateFunction());
    ktRef<ktInlinedFunction> inlined(factory.CreateInlinedFunction());
    EXPECT_FALSE(function->IsInlined());
    EXPECT_TRUE(inlined->IsInlined());
    EXPECT_TRUE(inlined->origin.IsNone());
}

TEST(SymbolFactory, NewObjectsAreZero) {
    ktSymbolFactory factory;
    ktRef<ktModule> module(factory.CreateModule());
    EXPECT_EQ(module->base | module->offset | module->size | module->entry | module->pointerSize, 0u);
    EXPECT_EQ(module->sourcePath.Get(), nullptr);
    EXPECT_TRUE(module->CompUnits().empty());
    ktRef<ktFunction> function(factory.CreateFunction());
    EXPECT_TRUE(function->ranges.IsEmpty());
    EXPECT_TRUE(function->returnType.IsNone());
    EXPECT_EQ(function->entry, 0u);
    EXPECT_TRUE(function->args.empty() && function->locals.empty());
    ktRef<ktTypeMember> member(factory.CreateTypeMember());
    EXPECT_TRUE(member->type.IsNone());
    EXPECT_EQ(member->owner, nullptr);
    EXPECT_EQ(member->offset | member->bits->byteSize | member->bits->bitOffset | member->bits->bitSize, 0u);
    ktRef<ktEnumType> enumeration(factory.CreateEnumType());
    EXPECT_TRUE(enumeration->underlying.IsNone());
    EXPECT_EQ(enumeration->encoding, 0u);
    EXPECT_EQ(enumeration->size | enumeration->byteStride | enumeration->bitSize | enumeration->bitStride,
              0u);
    ktRef<ktRangeType> range(factory.CreateRangeType());
    EXPECT_TRUE(range->lower == 0 && range->upper == 0 && range->indexType.IsNone());
}

TEST(SymbolFactory, ModulesAndUnitsTakeOverIndexNames) {
    for (const bool on : {false, true}) {
        ktSymbolFactory factory;
        factory.indexNames = on;
        ktRef<ktModule> module(factory.CreateModule());
        ktRef<ktCompUnit> unit(factory.CreateCompUnit());
        EXPECT_EQ(module->IsIndexed(), on);
        EXPECT_EQ(unit->IsIndexed(), on);
        factory.indexNames = !on;
        EXPECT_EQ(unit->IsIndexed(), on);
    }
}

TEST(SymbolFactory, IdsAreUniqueAcrossThreads) {
    constexpr size_t threadCount = 4;
    constexpr size_t each = 2000;
    ktSymbolFactory factory;
    std::vector<std::vector<uint64_t>> ids(threadCount);
    std::vector<std::thread> threads;
    for (std::vector<uint64_t> &own : ids) {
        threads.emplace_back([&factory, &own] {
            for (size_t i = 0; i < each; ++i) {
                ktRef<ktAliasType> type(factory.CreateAliasType());
                own.push_back(type->GetId());
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    std::vector<uint64_t> all;
    for (const std::vector<uint64_t> &own : ids) {
        EXPECT_TRUE(std::is_sorted(own.begin(), own.end()));
        all.insert(all.end(), own.begin(), own.end());
    }
    std::sort(all.begin(), all.end());
    for (size_t i = 0; i < all.size(); ++i) ASSERT_EQ(all[i], i + 1);
    EXPECT_EQ(factory.nextId, threadCount * each);
}
