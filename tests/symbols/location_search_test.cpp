#include "symbols/location.h"

#include <gtest/gtest.h>

#include "support/symbol_builder.h"

namespace {

class LocationSearch : public testing::Test {
protected:
    LocationSearch() : space(0, nullptr) {
        kernel = builder.AddModule("kernel", 0x100000, 0x10000);
        mainUnit = builder.AddUnit(kernel, "main.c");
        start = builder.AddFunction(mainUnit, "start", {{0x101000, 0x100}});
        kernelMain = builder.AddFunction(mainUnit, "main", {{0x101100, 0x100}});
        point = builder.AddType(mainUnit, "point");
        heapUnit = builder.AddUnit(kernel, "heap.c");
        heapMain = builder.AddFunction(heapUnit, "main", {{0x102000, 0x100}});
        size = builder.AddType(heapUnit, "size");
        builder.Publish(space, kernel);
        user = builder.AddModule("user", 0x200000, 0x10000);
        user->offset = 0x40;
        userUnit = builder.AddUnit(user, "main.c");
        userMain = builder.AddFunction(userUnit, "main", {{0x200100, 0x10}});
        builder.Publish(space, user);
    }

    bool Find(const char *text, uint64_t mask = 0) { return FindByName(space, results, text, mask); }

    void ExpectResult(size_t index, const ktLocation &expected) {
        ASSERT_LT(index, results.size());
        EXPECT_EQ(results[index].address, expected.address);
        EXPECT_EQ(results[index].module, expected.module);
        EXPECT_EQ(results[index].unit, expected.unit);
        EXPECT_EQ(results[index].function, expected.function);
        EXPECT_EQ(results[index].type, expected.type);
    }

    ktSymbolBuilder builder;
    ktSpace space;
    ktModule *kernel, *user;
    ktCompUnit *mainUnit, *heapUnit, *userUnit;
    ktFunction *start, *kernelMain, *heapMain, *userMain;
    ktType *point, *size;
    ktLocationList results;
};

TEST_F(LocationSearch, ModuleAloneGivesItsStart) {
    ASSERT_TRUE(Find("kernel"));
    ASSERT_EQ(results.size(), 1u);
    ExpectResult(0, {0x100000, kernel, nullptr, nullptr, nullptr});
    ASSERT_TRUE(Find("user"));
    ExpectResult(0, {0x200040, user, nullptr, nullptr, nullptr}); // base plus offset
}

TEST_F(LocationSearch, ModuleNameIsExactAndWithCase) {
    EXPECT_FALSE(Find("Kernel"));
    EXPECT_FALSE(Find("kerne"));
    EXPECT_FALSE(Find("kernel "));
    EXPECT_FALSE(Find("kernel*"));
    EXPECT_FALSE(Find(""));
    EXPECT_TRUE(results.empty());
}

TEST_F(LocationSearch, StarAloneMatchesEveryName) {
    ASSERT_TRUE(Find("*"));
    ASSERT_EQ(results.size(), 2u);
    EXPECT_EQ(results[0].module, kernel);
    EXPECT_EQ(results[1].module, user);
}

TEST_F(LocationSearch, StarInsideANameIsLiteral) {
    ktModule *starred = builder.AddModule("a*", 0x300000, 0x1000);
    builder.Publish(space, starred);
    ASSERT_TRUE(Find("a*"));
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].module, starred);
    EXPECT_FALSE(Find("*!ma*"));
}

TEST_F(LocationSearch, UnitGivesItsLowestAddress) {
    ASSERT_TRUE(Find("kernel!heap.c"));
    ASSERT_EQ(results.size(), 1u);
    ExpectResult(0, {0x102000, kernel, heapUnit, nullptr, nullptr});
    ASSERT_TRUE(Find("*!main.c"));
    ASSERT_EQ(results.size(), 2u);
    ExpectResult(0, {0x101000, kernel, mainUnit, nullptr, nullptr});
    ExpectResult(1, {0x200100, user, userUnit, nullptr, nullptr});
}

TEST_F(LocationSearch, UnknownUnitFindsNothing) { EXPECT_FALSE(Find("kernel!nosuch.c")); }

TEST_F(LocationSearch, FunctionsOfAllUnitsComeInModuleUnitAndArrayOrder) {
    ASSERT_TRUE(Find("*!*|main"));
    ASSERT_EQ(results.size(), 3u);
    ExpectResult(0, {0x101100, kernel, mainUnit, kernelMain, nullptr});
    ExpectResult(1, {0x102000, kernel, heapUnit, heapMain, nullptr});
    ExpectResult(2, {0x200100, user, userUnit, userMain, nullptr});
    ASSERT_TRUE(Find("kernel!main.c|*"));
    ASSERT_EQ(results.size(), 2u);
    EXPECT_EQ(results[0].function, start);
    EXPECT_EQ(results[1].function, kernelMain);
}

TEST_F(LocationSearch, BarWithoutAUnitFindsTheModuleOnly) {
    ASSERT_TRUE(Find("kernel|main")); // mask 10
    ASSERT_EQ(results.size(), 1u);
    ExpectResult(0, {0x100000, kernel, nullptr, nullptr, nullptr});
    EXPECT_TRUE(Find("kernel|nosuch"));
}

TEST_F(LocationSearch, OffsetPlaysNoPart) {
    ASSERT_TRUE(Find("kernel!main.c|main+0x10"));
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].address, 0x101100u);
}

TEST_F(LocationSearch, TypeHasTheLastHitsAddress) {
    ASSERT_TRUE(Find("*!*#*"));
    ASSERT_EQ(results.size(), 2u);
    ExpectResult(0, {0, kernel, mainUnit, nullptr, point});
    ExpectResult(1, {0, kernel, heapUnit, nullptr, size});
    ASSERT_TRUE(Find("*!*|*#*")); // functions and types of each unit
    ASSERT_EQ(results.size(), 6u);
    ExpectResult(2, {0x101100, kernel, mainUnit, kernelMain, point});
    ExpectResult(3, {0x102000, kernel, heapUnit, heapMain, point});
    ExpectResult(4, {0x102000, kernel, heapUnit, heapMain, size});
    ExpectResult(5, {0x200100, user, userUnit, userMain, size});
}

TEST_F(LocationSearch, FieldsOfTheLastHitPersist) {
    ASSERT_TRUE(Find("*!*#size"));
    ExpectResult(0, {0, kernel, heapUnit, nullptr, size});
    ASSERT_TRUE(Find("*!*|start#size"));
    ASSERT_EQ(results.size(), 2u);
    ExpectResult(0, {0x101000, kernel, mainUnit, start, nullptr});
    ExpectResult(1, {0x101000, kernel, heapUnit, start, size});
}

TEST_F(LocationSearch, EachCallStartsAfresh) {
    ASSERT_TRUE(Find("kernel!main.c|start"));
    ASSERT_TRUE(Find("kernel"));
    ExpectResult(0, {0x100000, kernel, nullptr, nullptr, nullptr});
    ASSERT_FALSE(Find("nosuch"));
    EXPECT_TRUE(results.empty());
}

TEST_F(LocationSearch, GivenMaskWins) {
    ASSERT_TRUE(Find("kernel", 8));
    EXPECT_FALSE(Find("kernel", 12)); // no separator, no unit part
    EXPECT_TRUE(results.empty());
    EXPECT_FALSE(Find("kernel!main.c", 8)); // all of it is the module part
    EXPECT_FALSE(Find("main.c", 4));        // the module part is empty, and no module's name is
}

TEST_F(LocationSearch, NullTextFindsNothing) {
    results.resize(3);
    EXPECT_FALSE(Find(nullptr));
    EXPECT_TRUE(results.empty());
}

TEST_F(LocationSearch, ModulePartStartsBehindTheBackslash) {
    ASSERT_TRUE(Find("C:\\kernel!heap.c"));
    EXPECT_EQ(results[0].unit, heapUnit);
}

TEST_F(LocationSearch, NamesWithoutATextMatchOnlyTheStar) {
    ktModule *module = builder.AddModule("odd", 0x300000, 0x1000);
    ktCompUnit *unit = builder.AddUnit(module, "unit");
    builder.AddFunction(unit, "", {{0x300000, 16}});
    builder.Publish(space, module);
    ASSERT_TRUE(Find("odd!unit|"));
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].address, 0x300000u);
    ASSERT_TRUE(Find("odd!unit|*"));
    EXPECT_EQ(results.size(), 1u);
}

} // namespace
