#include "symbols/comp_unit.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "symbols/function.h"
#include "symbols/symbol_factory.h"
#include "symbols/types.h"
#include "symbols/variable.h"

namespace {

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

/// A function and a type that write their ends down.
class MortalFunction final : public ktFunction {
public:
    MortalFunction(uint64_t id, std::vector<uint64_t> &ends) : ktFunction(id), ended(ends) {}
    ~MortalFunction() override { ended.push_back(GetId()); }

private:
    std::vector<uint64_t> &ended;
};

/// The type also writes down how many references there are to `watched`.
class MortalType final : public ktType {
public:
    MortalType(uint64_t id, std::vector<uint64_t> &ends, const ktObject &newWatched)
        : ktType(id), ended(ends), watched(newWatched) {}
    ~MortalType() override {
        ended.push_back(GetId());
        ended.push_back(watched.RefCount());
    }

    TypeKind GetTypeKind() const override { return typeBasic; }
    uint64_t GetSize() const override { return 1; }

private:
    std::vector<uint64_t> &ended;
    const ktObject &watched;
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

TEST_P(CompUnitTest, TheEndReleasesFunctionsThenTypesThenVariables) {
    std::vector<uint64_t> ended;
    const ktRef<ktVariable> variable(factory.CreateVariable());
    ASSERT_TRUE(unit->AddVariable(variable.Get()));
    for (const uint64_t id : {101u, 102u}) {
        const ktRef<MortalType> type(new MortalType(id, ended, *variable));
        type->SetName(std::to_string(id).c_str());
        ASSERT_TRUE(unit->AddType(type.Get()));
    }
    for (const uint64_t id : {11u, 12u}) {
        const ktRef<MortalFunction> function(new MortalFunction(id, ended));
        ASSERT_TRUE(unit->AddFunction(function.Get()));
    }
    unit.Reset();
    // At the end of each type the unit still has its reference to the variable, beside the test's.
    EXPECT_EQ(ended, (std::vector<uint64_t>{11, 12, 101, 2, 102, 2}));
    EXPECT_EQ(variable->RefCount(), 1u);
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
            ASSERT_EQ(unit->FindFunction(probe.c_str()),
                      place == names.size() ? nullptr : unit->Functions()[place]);
            if (random() % 20 == 0) unit->SetIndexed(isIndexed = !isIndexed);
            if (random() % 20 == 0) unit->Freeze();
        }
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
