#include "symbols/comp_unit.h"

#include "support/allocation_count.h"
#include "symbols/func_arg.h"
#include "symbols/function.h"
#include "symbols/symbol_factory.h"
#include "symbols/types.h"
#include "symbols/variable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

constexpr uint64_t top = ~uint64_t(0);

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

/// A type that keeps its name.
class StubbornType final : public ktType {
public:
    StubbornType() : ktType(2000) {}

    TypeKind GetTypeKind() const override { return typeBasic; }
    const char *GetName() const override { return "taken"; }
    uint64_t GetSize() const override { return 1; }
    bool SetName(const char *) override { return false; }
};

class UndyingFunction final : public ktFunction {
public:
    UndyingFunction() : ktFunction(3000) {}

    void Destroy(uint32_t) override {}
};

/// With and without name tries.
class CompUnitTest : public testing::TestWithParam<bool> {
protected:
    CompUnitTest() {
        factory.indexNames = GetParam();
        unit.Reset(factory.CreateCompUnit());
    }

    ktRef<ktFunction> MakeFunction(const char *name) {
        ktRef<ktFunction> function(factory.CreateFunction());
        function->name.Assign(name);
        return function;
    }
    ktFunction *Add(const char *name) {
        ktRef<ktFunction> function = MakeFunction(name);
        return unit->AddFunction(function.Get()) ? function.Get() : nullptr;
    }
    std::vector<std::string> FunctionNames() const {
        std::vector<std::string> names;
        for (const ktFunction *function : unit->Functions()) names.push_back(function->name.Get());
        return names;
    }

    ktSymbolFactory factory;
    ktRef<ktCompUnit> unit;
};

INSTANTIATE_TEST_SUITE_P(Names, CompUnitTest, testing::Values(false, true),
                         [](const auto &instance) { return instance.param ? "Indexed" : "Scanned"; });

using Names = std::vector<std::string>;

} // namespace

TEST_P(CompUnitTest, EqualFunctionNamesGetNumbersInOrder) {
    for (int i = 0; i < 3; ++i) Add("f");
    EXPECT_EQ(FunctionNames(), (Names{"f", "f_1", "f_2"}));
    Add("f_1");
    EXPECT_EQ(FunctionNames().back(), "f_1_1");
    EXPECT_EQ(unit->FindFunction("f_1"), unit->Functions()[1]);
    EXPECT_EQ(unit->FindFunction("f_1_1"), unit->Functions()[3]);
}

TEST_P(CompUnitTest, AnAnonymousStructIsFoundByItsDefaultName) {
    factory.nextId = 0x29;
    ktRef<ktComplexType> type(factory.CreateComplexType());
    ASSERT_TRUE(unit->AddType(type.Get()));
    EXPECT_STREQ(type->GetName(), "cplx_2A");
    EXPECT_EQ(unit->FindType("cplx_2A"), type.Get());
    EXPECT_EQ(unit->FindType("cplx_2a"), nullptr);
}

TEST_P(CompUnitTest, TwoTypesOfOneNameBothStay) {
    ktRef<ktBasicType> first(factory.CreateBasicType());
    ktRef<ktAliasType> second(factory.CreateAliasType());
    first->SetName("name");
    second->SetName("name");
    EXPECT_TRUE(unit->AddType(first.Get()));
    EXPECT_TRUE(unit->AddType(second.Get()));
    EXPECT_STREQ(second->GetName(), "name_1");
    EXPECT_EQ(unit->FindType("name"), first.Get());
    EXPECT_EQ(unit->FindType("name_1"), second.Get());
}

TEST_P(CompUnitTest, FunctionsAndTypesDoNotShareNames) {
    Add("name");
    ktRef<ktBasicType> type(factory.CreateBasicType());
    type->SetName("name");
    EXPECT_TRUE(unit->AddType(type.Get()));
    EXPECT_STREQ(type->GetName(), "name");
}

TEST_P(CompUnitTest, VariablesMayShareAName) {
    ktRef<ktVariable> first(factory.CreateVariable());
    ktRef<ktVariable> second(factory.CreateVariable());
    first->name.Assign("v");
    second->name.Assign("v");
    EXPECT_TRUE(unit->AddVariable(first.Get()));
    EXPECT_TRUE(unit->AddVariable(second.Get()));
    EXPECT_STREQ(second->name.Get(), "v");
    EXPECT_EQ(unit->Variables().size(), 2u);
    const uint64_t held = GetParam() ? reinterpret_cast<uint64_t>(first.Get()) : 0;
    EXPECT_EQ(unit->VariableNames().FindValue("v"), held);
}

TEST_P(CompUnitTest, NullAndUnknownNamesFindNothing) {
    Add("f");
    EXPECT_EQ(unit->FindFunction(nullptr), nullptr);
    EXPECT_EQ(unit->FindFunction("g"), nullptr);
    EXPECT_EQ(unit->FindFunction("F"), nullptr);
    EXPECT_EQ(unit->FindFunction("ff"), nullptr);
    EXPECT_EQ(unit->FindFunction(""), nullptr);
    EXPECT_EQ(unit->FindType(nullptr), nullptr);
    EXPECT_EQ(unit->FindType("f"), nullptr);
}

TEST_P(CompUnitTest, AnEmptyNameIsANameLikeAnother) {
    ktFunction *first = Add("");
    ktFunction *second = Add("");
    EXPECT_EQ(unit->FindFunction(""), first);
    EXPECT_STREQ(second->name.Get(), "_1");
}

TEST_P(CompUnitTest, AFunctionWithoutANameIsTakenAsItIs) {
    ktRef<ktFunction> first(new ktFunction(1));
    ktRef<ktFunction> second(new ktFunction(2));
    EXPECT_TRUE(unit->AddFunction(first.Get()));
    EXPECT_TRUE(unit->AddFunction(second.Get()));
    EXPECT_EQ(second->name.Get(), nullptr);
    for (int i = 0; i < 40; ++i) Add("f");
    EXPECT_EQ(unit->Functions().size(), 42u);
    EXPECT_STREQ(unit->Functions()[41]->name.Get(), "f_39");
}

TEST_P(CompUnitTest, NullIsRefused) {
    EXPECT_FALSE(unit->AddFunction(nullptr));
    EXPECT_FALSE(unit->AddType(nullptr));
    EXPECT_FALSE(unit->AddVariable(nullptr));
}

TEST_P(CompUnitTest, AnAddTakesOneReferenceAndTheEndDropsIt) {
    ktRef<ktFunction> function = MakeFunction("f");
    ktRef<ktVariable> variable(factory.CreateVariable());
    ktRef<ktBasicType> type(factory.CreateBasicType());
    unit->AddFunction(function.Get());
    unit->AddVariable(variable.Get());
    unit->AddType(type.Get());
    EXPECT_EQ(function->RefCount(), 2u);
    EXPECT_EQ(variable->RefCount(), 2u);
    EXPECT_EQ(type->RefCount(), 2u);
    unit.Reset();
    EXPECT_EQ(function->RefCount(), 1u);
    EXPECT_EQ(variable->RefCount(), 1u);
    EXPECT_EQ(type->RefCount(), 1u);
}

TEST_P(CompUnitTest, AnObjectWithoutReferencesIsNotAdded) {
    UndyingFunction function;
    function.Release();
    EXPECT_FALSE(unit->AddFunction(&function));
    EXPECT_EQ(function.RefCount(), 0u);
    EXPECT_TRUE(unit->Functions().empty());
}

TEST_P(CompUnitTest, ATypeThatCannotBeRenamedIsNotAdded) {
    ktRef<StubbornType> first(new StubbornType);
    ktRef<StubbornType> second(new StubbornType);
    EXPECT_TRUE(unit->AddType(first.Get()));
    EXPECT_FALSE(unit->AddType(second.Get()));
    EXPECT_EQ(second->RefCount(), 1u);
    EXPECT_EQ(unit->Types().size(), 1u);
    ktRef<ktBasicType> third(factory.CreateBasicType());
    third->SetName("taken");
    EXPECT_TRUE(unit->AddType(third.Get()));
    EXPECT_STREQ(third->GetName(), "taken_1") << "the name that could not be given is still free";
}

TEST_P(CompUnitTest, NamesAboveSevenBitsDependOnTheTrie) {
    ktFunction *first = Add("caf\xC3\xA9");
    ktFunction *second = Add("caf\xC3\xA9");
    if (GetParam()) {
        EXPECT_EQ(unit->FindFunction("caf\xC3\xA9"), nullptr);
        EXPECT_STREQ(second->name.Get(), "caf\xC3\xA9");
        unit->SetIndexed(false);
        EXPECT_EQ(unit->FindFunction("caf\xC3\xA9"), first);
    } else {
        EXPECT_EQ(unit->FindFunction("caf\xC3\xA9"), first);
        EXPECT_STREQ(second->name.Get(), "caf\xC3\xA9_1");
        unit->SetIndexed(true);
        EXPECT_EQ(unit->FindFunction("caf\xC3\xA9"), nullptr);
    }
}

TEST_P(CompUnitTest, AddFunctionMergesTheRanges) {
    ktRef<ktFunction> first = MakeFunction("f");
    ktRef<ktFunction> second = MakeFunction("g");
    first->ranges.Add(0x1000, 0x100);
    second->ranges.Add(0x1100, 0x80);
    second->ranges.Add(0x3000, 0x10);
    unit->AddFunction(first.Get());
    unit->AddFunction(second.Get());
    ASSERT_EQ(unit->ranges.Count(), 2u);
    EXPECT_EQ(unit->ranges.Ranges()[0], (ktAddrRange{0x1000, 0x180}));
    EXPECT_EQ(unit->ranges.Ranges()[1], (ktAddrRange{0x3000, 0x10}));
    EXPECT_EQ(unit->ranges.Low(), 0x1000u);
    EXPECT_EQ(unit->ranges.High(), 0x3010u);
}

TEST_P(CompUnitTest, TypesAndVariablesLeaveTheRangesAlone) {
    ktRef<ktBasicType> type(factory.CreateBasicType());
    unit->AddType(type.Get());
    EXPECT_TRUE(unit->ranges.IsEmpty());
}

TEST_P(CompUnitTest, TriesStandOnlyWhileIndexed) {
    Add("f");
    ktRef<ktBasicType> type(factory.CreateBasicType());
    unit->AddType(type.Get());
    ktRef<ktVariable> variable(factory.CreateVariable());
    unit->AddVariable(variable.Get());
    for (const bool on : {true, true, false, true, false}) {
        unit->SetIndexed(on);
        EXPECT_EQ(unit->IsIndexed(), on);
        EXPECT_EQ(unit->FunctionNames().KeyCount(), on ? 1u : 0u);
        EXPECT_EQ(unit->TypeNames().KeyCount(), on ? 1u : 0u);
        EXPECT_EQ(unit->VariableNames().KeyCount(), on ? 1u : 0u);
        EXPECT_EQ(unit->FindFunction("f"), unit->Functions()[0]);
        EXPECT_EQ(unit->Functions().size() + unit->Types().size() + unit->Variables().size(), 3u);
    }
}

TEST_P(CompUnitTest, NamesStayFoundAfterAFreezeAndAddingGoesOn) {
    for (int i = 0; i < 100; ++i) Add("f");
    unit->Freeze();
    EXPECT_EQ(unit->FindFunction("f_99"), unit->Functions()[99]);
    Add("f");
    EXPECT_EQ(FunctionNames().back(), "f_100");
    EXPECT_EQ(unit->FindFunction("f_100"), unit->Functions()[100]);
}

// The rules of names as plain scans, against random names, modes and freezes.
TEST(CompUnitRandom, NamesAreThoseOfAScan) {
    for (uint64_t seed = 0; seed < 150; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        ktSymbolFactory factory;
        ktRef<ktCompUnit> unit(factory.CreateCompUnit());
        Names names; // in array order
        bool isIndexed = false;
        const auto find = [&names, &isIndexed](const std::string &name) -> size_t {
            const bool isRefused = std::any_of(name.begin(), name.end(), [](char c) { return c & 0x80; });
            if (isIndexed && isRefused) return names.size();
            return static_cast<size_t>(std::find(names.begin(), names.end(), name) - names.begin());
        };
        const auto makeName = [&random] {
            static const char *const parts[] = {"", "a", "b", "a_1", "a_2", "_1", "b_1_1", "\xC3", "\xC3_1"};
            std::string name = parts[random() % std::size(parts)];
            if (random() % 3 == 0) name += std::to_string(random() % 50);
            return name;
        };
        for (int i = 0; i < 120; ++i) {
            const std::string name = makeName();
            std::string wanted = name;
            for (uint64_t n = 1; find(wanted) != names.size(); ++n) wanted = name + "_" + std::to_string(n);
            if (random() % 2) {
                ktRef<ktFunction> function(factory.CreateFunction());
                function->name.Assign(name.c_str());
                ASSERT_TRUE(unit->AddFunction(function.Get()));
                ASSERT_EQ(function->name.Get(), wanted);
                names.push_back(wanted);
            }
            const std::string probe = makeName();
            const size_t place = find(probe);
            ASSERT_EQ(unit->FindFunction(probe.c_str()), place == names.size() ? nullptr : unit->Functions()[place]);
            if (random() % 20 == 0) unit->SetIndexed(isIndexed = !isIndexed);
            if (random() % 20 == 0) unit->Freeze();
        }
    }
}

TEST(CompUnitReferences, AStructThatPointsToItselfGoes) {
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

namespace {

/// A unit with objects in a circle: an alias of a function type that returns the alias, takes an array of
/// it, and has an argument whose end tells whether the circle was opened.
class CircleTest : public testing::Test {
protected:
    CircleTest() : unit(factory.CreateCompUnit()), alias(factory.CreateAliasType()) {
        ktFuncType *function = factory.CreateFuncType();
        ktArrayType *array = factory.CreateArrayType();
        ktRangeType *range = factory.CreateRangeType();
        array->ranges.push_back(range);
        for (ktObject *object : {static_cast<ktObject *>(new MortalType(hasEnded)), static_cast<ktObject *>(array)}) {
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

namespace {

struct Nest {
    size_t functions;
    uint64_t space;
    uint64_t longest;
    size_t maxRanges;
    uint64_t origin;
};

class CompUnitAddresses : public testing::TestWithParam<Nest> {};

} // namespace

TEST_P(CompUnitAddresses, LookUpIsThatOfAWalk) {
    const Nest &nest = GetParam();
    for (uint64_t seed = 0; seed < 30; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937_64 random(seed);
        ktSymbolFactory factory;
        ktRef<ktCompUnit> unit(factory.CreateCompUnit());
        std::vector<std::vector<ktAddrRange>> plain; // the ranges of each function
        const auto add = [&] {
            ktRef<ktFunction> function(factory.CreateFunction());
            plain.emplace_back();
            for (size_t i = random() % (nest.maxRanges + 1); i > 0; --i) {
                plain.back().push_back({nest.origin + random() % nest.space, random() % nest.longest});
                function->ranges.Add(plain.back().back().start, plain.back().back().size);
            }
            ASSERT_TRUE(unit->AddFunction(function.Get()));
        };
        const auto holds = [&plain](size_t place, uint64_t address) {
            uint64_t low = top;
            uint64_t high = 0;
            bool isInside = false;
            for (const ktAddrRange &range : plain[place]) {
                low = std::min(low, range.start);
                high = std::max(high, range.start + range.size);
                isInside |= address >= range.start && address - range.start < range.size;
            }
            return address >= low && address <= high && isInside;
        };
        const auto expectWalk = [&] {
            std::vector<ktFunction *> hits;
            for (uint64_t offset = 0; offset <= nest.space + 4; ++offset) {
                const uint64_t address = nest.origin + offset - 2;
                std::vector<ktFunction *> wanted;
                for (size_t place = 0; place < plain.size(); ++place) {
                    if (holds(place, address)) wanted.push_back(unit->Functions()[place]);
                }
                hits.assign(1, nullptr); // what is there stays
                unit->FunctionsAt(address, hits);
                hits.erase(hits.begin());
                ASSERT_EQ(hits, wanted) << "offset " << offset;
                ASSERT_EQ(unit->FirstFunctionAt(address), wanted.empty() ? nullptr : wanted[0]);
            }
        };
        for (size_t i = 0; i < nest.functions; ++i) add();
        ASSERT_NO_FATAL_FAILURE(expectWalk());
        unit->Freeze();
        ASSERT_NO_FATAL_FAILURE(expectWalk());
        add();
        ASSERT_NO_FATAL_FAILURE(expectWalk());
        unit->Freeze();
        ASSERT_NO_FATAL_FAILURE(expectWalk());
    }
}

INSTANTIATE_TEST_SUITE_P(Nests, CompUnitAddresses,
                         testing::Values(Nest{5, 60, 30, 2, 0}, Nest{60, 300, 8, 3, 0x1000},
                                         Nest{120, 200, 150, 2, 0x1000}, Nest{3, 400, 20, 80, 0x1000},
                                         Nest{80, 300, 40, 3, top - 150}, Nest{40, 20, 10, 1, 0}));

TEST(CompUnitLookUp, AFunctionWithTwoRangesThatOverlapIsOneHit) {
    ktSymbolFactory factory;
    ktRef<ktCompUnit> unit(factory.CreateCompUnit());
    for (uint64_t i = 0; i < 40; ++i) {
        ktRef<ktFunction> function(factory.CreateFunction());
        function->ranges.Add(0x1000, 0x100);
        function->ranges.Add(0x1080, 0x100);
        unit->AddFunction(function.Get());
    }
    unit->Freeze();
    std::vector<ktFunction *> hits;
    unit->FunctionsAt(0x1090, hits);
    EXPECT_EQ(hits, unit->Functions());
}

TEST(CompUnitLookUp, AllocatesNothingOnceTheIndexStands) {
    ktSymbolFactory factory;
    ktRef<ktCompUnit> unit(factory.CreateCompUnit());
    for (uint64_t i = 0; i < 1000; ++i) {
        ktRef<ktFunction> function(factory.CreateFunction());
        function->ranges.Add(i * 0x20, 0x10);
        unit->AddFunction(function.Get());
    }
    unit->Freeze();
    std::vector<ktFunction *> hits;
    hits.reserve(8);
    ASSERT_NE(unit->FirstFunctionAt(0), nullptr);
    ASSERT_TRUE(unit->ranges.Holds(0));
    const uint64_t before = AllocationCount();
    for (uint64_t address = 0; address < 0x8000; ++address) {
        const bool isInside = address % 0x20 < 0x10 && address < 1000 * 0x20;
        hits.clear();
        unit->FunctionsAt(address, hits);
        ASSERT_EQ(hits.size(), isInside ? 1u : 0u);
        ASSERT_EQ(unit->FirstFunctionAt(address) != nullptr, isInside);
        ASSERT_EQ(unit->ranges.Holds(address), isInside);
    }
    EXPECT_EQ(AllocationCount(), before);
}

TEST(CompUnitLookUp, ManyThreadsMayLookUpAtOnce) {
    constexpr uint64_t count = 2000;
    for (int round = 0; round < 5; ++round) {
        ktSymbolFactory factory;
        ktRef<ktCompUnit> unit(factory.CreateCompUnit());
        for (uint64_t i = 0; i < count; ++i) {
            ktRef<ktFunction> function(factory.CreateFunction());
            function->ranges.Add(i * 0x20, 0x10);
            unit->AddFunction(function.Get());
        }
        unit->Freeze();
        std::vector<std::thread> threads;
        for (uint64_t n = 0; n < 4; ++n) {
            threads.emplace_back([&unit, n] {
                std::vector<ktFunction *> hits;
                for (uint64_t i = n; i < count; i += 3) {
                    hits.clear();
                    unit->FunctionsAt(i * 0x20 + 1, hits);
                    ASSERT_EQ(hits, std::vector<ktFunction *>{unit->Functions()[i]});
                    ASSERT_EQ(unit->FirstFunctionAt(i * 0x20 + 0x10), nullptr);
                    ASSERT_TRUE(unit->ranges.Holds(i * 0x20));
                    ASSERT_EQ(unit->FindFunction(unit->Functions()[i]->name.Get()), unit->Functions()[i]);
                }
            });
        }
        for (std::thread &thread : threads) thread.join();
    }
}

class CompUnitScale : public CompUnitTest {};

INSTANTIATE_TEST_SUITE_P(Names, CompUnitScale, testing::Values(false, true),
                         [](const auto &instance) { return instance.param ? "Indexed" : "Scanned"; });

// Work that grows with the square of these counts would run into the time limit of the tests.
TEST_P(CompUnitScale, AHundredThousandFunctionsOfOneName) {
    constexpr size_t count = 100000;
    for (size_t i = 0; i < count; ++i) ASSERT_NE(Add("f"), nullptr);
    EXPECT_EQ(unit->FindFunction("f_99999"), unit->Functions().back());
    EXPECT_EQ(unit->FindFunction("f_100000"), nullptr);
    unit->Freeze();
    EXPECT_EQ(unit->FindFunction("f_5"), unit->Functions()[5]);
}

TEST_P(CompUnitScale, ManyTypesOfAThousandNames) {
    constexpr size_t count = 100000;
    for (size_t i = 0; i < count; ++i) {
        ktRef<ktBasicType> type(factory.CreateBasicType());
        type->SetName(("name" + std::to_string(i % 1000)).c_str());
        ASSERT_TRUE(unit->AddType(type.Get()));
    }
    EXPECT_STREQ(unit->Types().back()->GetName(), "name999_99");
    EXPECT_EQ(unit->FindType("name999_99"), unit->Types().back());
}
