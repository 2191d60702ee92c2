#include "symbols/location.h"

#include <gtest/gtest.h>

#include "support/allocation_count.h"
#include "support/symbol_builder.h"

namespace {

class LocationLookup : public testing::Test {
protected:
    LocationLookup() : space(0, nullptr) {
        kernel = builder.AddModule("kernel", 0x100000, 0x10000);
        mainUnit = builder.AddUnit(kernel, "main.c");
        // Inner calls stand ahead of the functions that they were inlined into.
        inner = builder.AddInlined(mainUnit, "inner", {{0x101020, 0x10}});
        outer = builder.AddInlined(mainUnit, "outer", {{0x101010, 0x40}});
        start = builder.AddFunction(mainUnit, "start", {{0x101000, 0x100}});
        next = builder.AddFunction(mainUnit, "next", {{0x101100, 0x80}, {0x105000, 0x10}});
        heapUnit = builder.AddUnit(kernel, "heap.c");
        heap = builder.AddFunction(heapUnit, "heap", {{0x102000, 0x100}});
        builder.Publish(space, kernel);
        user = builder.AddModule("user", 0x200000, 0x10000);
        userUnit = builder.AddUnit(user, "user.c");
        userMain = builder.AddFunction(userUnit, "main", {{0x200100, 0x10}});
        builder.Publish(space, user);
    }

    bool Find(uint64_t address) {
        results.clear();
        return FindByAddress(space, results, address);
    }
    std::vector<ktFunction *> Functions() const {
        std::vector<ktFunction *> functions;
        for (const ktLocation &location : results) functions.push_back(location.function);
        return functions;
    }
    static void Expect(const ktLocation &location, const ktLocation &expected) {
        EXPECT_EQ(location.address, expected.address);
        EXPECT_EQ(location.module, expected.module);
        EXPECT_EQ(location.unit, expected.unit);
        EXPECT_EQ(location.function, expected.function);
        EXPECT_EQ(location.type, expected.type);
    }
    using Hits = std::vector<ktFunction *>;

    ktSymbolBuilder builder;
    ktSpace space;
    ktModule *kernel, *user;
    ktCompUnit *mainUnit, *heapUnit, *userUnit;
    ktFunction *inner, *outer, *start, *next, *heap, *userMain;
    ktLocationList results;
};

TEST_F(LocationLookup, InlinedCallsComeInnermostFirst) {
    ASSERT_TRUE(Find(0x101028));
    EXPECT_EQ(Functions(), (Hits{inner, outer, start}));
    for (const ktLocation &location : results) {
        Expect(location, {0x101028, kernel, mainUnit, location.function, nullptr});
    }
    ASSERT_TRUE(Find(0x101010));
    EXPECT_EQ(Functions(), (Hits{outer, start}));
}

TEST_F(LocationLookup, LastByteBelongsToTheFunction) {
    ASSERT_TRUE(Find(0x1010FF));
    EXPECT_EQ(Functions(), Hits{start});
    ASSERT_TRUE(Find(0x101100)); // the byte behind: the next function
    EXPECT_EQ(Functions(), Hits{next});
    ASSERT_TRUE(Find(0x10500F)); // last byte of the second range
    EXPECT_EQ(Functions(), Hits{next});
}

TEST_F(LocationLookup, ByteBehindTheLastFunctionIsInTheModuleOnly) {
    ASSERT_TRUE(Find(0x101180));
    ASSERT_EQ(results.size(), 1u);
    Expect(results[0], {0x101180, kernel, nullptr, nullptr, nullptr});
}

TEST_F(LocationLookup, UnitWithoutAFunctionThereGivesTheUnit) {
    ktModule *module = builder.AddModule("gap", 0x300000, 0x1000);
    ktCompUnit *unit = builder.AddUnit(module, "gap.c");
    builder.AddFunction(unit, "f", {{0x300000, 0x10}});
    unit->ranges.Add(0x300010, 0x10); // code of the unit that belongs to no function
    builder.Publish(space, module);
    ASSERT_TRUE(Find(0x300018));
    ASSERT_EQ(results.size(), 1u);
    Expect(results[0], {0x300018, module, unit, nullptr, nullptr});
}

TEST_F(LocationLookup, HighEndOfTheUnitIsNotInside) {
    EXPECT_EQ(heapUnit->ranges.High(), 0x102100u);
    ASSERT_TRUE(Find(0x102100));
    ASSERT_EQ(results.size(), 1u);
    Expect(results[0], {0x102100, kernel, nullptr, nullptr, nullptr});
    ASSERT_TRUE(Find(0x1020FF));
    EXPECT_EQ(Functions(), Hits{heap});
}

TEST_F(LocationLookup, AddressOutsideEveryModuleFindsNothing) {
    EXPECT_FALSE(Find(0xFFFFF));
    EXPECT_FALSE(Find(0x110000)); // the byte behind a module
    EXPECT_FALSE(Find(0));
    EXPECT_FALSE(Find(~uint64_t(0)));
}

TEST_F(LocationLookup, ResultsAreAppended) {
    ASSERT_TRUE(Find(0x102010));
    ASSERT_TRUE(FindByAddress(space, results, 0x200100));
    EXPECT_EQ(Functions(), (Hits{heap, userMain}));
}

TEST_F(LocationLookup, FilledListGetsNoPlaceWithoutAFunction) {
    ASSERT_TRUE(Find(0x102010));
    ASSERT_TRUE(
        FindByAddress(space, results, 0x101180)); // module only: nothing is added, the list is not empty
    EXPECT_EQ(results.size(), 1u);
    EXPECT_TRUE(FindByAddress(space, results, 0x5)); // nothing at all, and still true
    EXPECT_EQ(results.size(), 1u);
}

TEST_F(LocationLookup, OverlappingUnitsAndModulesGiveMoreResults) {
    ktModule *overlay = builder.AddModule("overlay", 0x102000, 0x1000);
    ktCompUnit *first = builder.AddUnit(overlay, "first.c");
    ktFunction *a = builder.AddFunction(first, "a", {{0x102000, 0x20}});
    ktCompUnit *second = builder.AddUnit(overlay, "second.c");
    ktFunction *b = builder.AddFunction(second, "b", {{0x102000, 0x40}});
    builder.Publish(space, overlay);
    ASSERT_TRUE(Find(0x102010));
    EXPECT_EQ(Functions(), (Hits{heap, a, b}));
    EXPECT_EQ(results[1].module, overlay);
    EXPECT_EQ(results[1].unit, first);
    EXPECT_EQ(results[2].unit, second);
    ASSERT_TRUE(Find(0x102800)); // both modules, no unit: one result, for the first
    ASSERT_EQ(results.size(), 1u);
    EXPECT_EQ(results[0].module, kernel);
}

TEST_F(LocationLookup, ModuleUpToTheEndOfTheAddressSpace) {
    ktModule *top = builder.AddModule("top", 0xFFFFFFFFFFFFF000, 0x1000);
    ktCompUnit *unit = builder.AddUnit(top, "top.c");
    ktFunction *last = builder.AddFunction(unit, "last", {{0xFFFFFFFFFFFFFF00, 0xF0}});
    builder.Publish(space, top);
    ASSERT_TRUE(Find(0xFFFFFFFFFFFFFFEF));
    EXPECT_EQ(Functions(), Hits{last});
    ASSERT_TRUE(Find(~uint64_t(0)));
    EXPECT_EQ(results[0].module, top);
}

TEST_F(LocationLookup, UpdateOfNullFails) { EXPECT_FALSE(Update(space, nullptr, 0x101000)); }

TEST_F(LocationLookup, UpdateToTheSameAddressIsTrueWhateverItHolds) {
    ktLocation location = {0x5, nullptr, nullptr, nullptr, nullptr};
    EXPECT_TRUE(Update(space, &location, 0x5));
    Expect(location, {0x5, nullptr, nullptr, nullptr, nullptr});
}

TEST_F(LocationLookup, UpdateStaysInTheFunction) {
    ktLocation location = {0x101028, kernel, mainUnit, start, nullptr};
    EXPECT_TRUE(Update(space, &location, 0x101029));
    Expect(location, {0x101029, kernel, mainUnit, start, nullptr}); // not the inlined call that stands first
}

TEST_F(LocationLookup, UpdateTakesTheFirstFunctionOfTheUnit) {
    ktLocation location = {0x101100, kernel, mainUnit, next, nullptr};
    EXPECT_TRUE(Update(space, &location, 0x101028));
    Expect(location, {0x101028, kernel, mainUnit, inner, nullptr});
}

TEST_F(LocationLookup, UpdateMovesToAnotherUnitOfTheModule) {
    ktLocation location = {0x101028, kernel, mainUnit, inner, nullptr};
    EXPECT_TRUE(Update(space, &location, 0x102010));
    Expect(location, {0x102010, kernel, heapUnit, heap, nullptr});
}

TEST_F(LocationLookup, UpdateInTheModuleWithoutAUnitFails) {
    ktLocation location = {0x101028, kernel, mainUnit, inner, nullptr};
    EXPECT_FALSE(Update(space, &location, 0x101180));
    Expect(location, {0x101180, kernel, nullptr, nullptr, nullptr});
    EXPECT_TRUE(Update(space, &location, 0x101180)); // the address is equal now
    EXPECT_TRUE(Update(space, &location, 0x102000)); // and the module still there to go on from
    Expect(location, {0x102000, kernel, heapUnit, heap, nullptr});
}

TEST_F(LocationLookup, UpdateInTheUnitWithoutAFunctionFails) {
    ktModule *module = builder.AddModule("gap", 0x300000, 0x1000);
    ktCompUnit *unit = builder.AddUnit(module, "gap.c");
    ktFunction *f = builder.AddFunction(unit, "f", {{0x300000, 0x10}});
    unit->ranges.Add(0x300010, 0x10);
    builder.Publish(space, module);
    ktLocation location = {0x300000, module, unit, f, nullptr};
    EXPECT_FALSE(Update(space, &location, 0x300018));
    Expect(location, {0x300018, module, unit, nullptr, nullptr});
}

TEST_F(LocationLookup, UpdateMovesToAnotherModule) {
    ktLocation location = {0x101028, kernel, mainUnit, inner, nullptr};
    EXPECT_TRUE(Update(space, &location, 0x200108));
    Expect(location, {0x200108, user, userUnit, userMain, nullptr});
}

TEST_F(LocationLookup, UpdateOutsideEveryModuleClears) {
    ktLocation location = {0x101028, kernel, mainUnit, inner, nullptr};
    EXPECT_FALSE(Update(space, &location, 0x5));
    Expect(location, {0x5, nullptr, nullptr, nullptr, nullptr});
}

TEST_F(LocationLookup, UpdateKeepsTheModuleThatStillHolds) {
    ktModule *overlay = builder.AddModule("overlay", 0x102000, 0x1000);
    builder.Publish(space, overlay);
    ktLocation location = {0x102F00, overlay, nullptr, nullptr, nullptr};
    EXPECT_FALSE(Update(space, &location, 0x102010)); // the kernel, which has a function there, is not asked
    Expect(location, {0x102010, overlay, nullptr, nullptr, nullptr});
}

TEST_F(LocationLookup, UpdateAllNeedsAList) {
    EXPECT_FALSE(UpdateAll(space, nullptr, 0x101000));
    EXPECT_FALSE(UpdateAll(space, &results, 0x101000));
}

TEST_F(LocationLookup, UpdateAllKeepsAnInlineStackWhileTheAddressStaysInIt) {
    ASSERT_TRUE(Find(0x101028));
    EXPECT_TRUE(UpdateAll(space, &results, 0x10102A));
    EXPECT_EQ(Functions(), (Hits{inner, outer, start}));
    EXPECT_TRUE(UpdateAll(space, &results, 0x101038)); // out of the innermost: it gets the first hit
    EXPECT_EQ(Functions(), (Hits{outer, outer, start}));
}

TEST_F(LocationLookup, UpdateAllMovesEveryLocationEvenAfterAFailure) {
    results = {{0x101028, kernel, mainUnit, start, nullptr}, {0x102000, kernel, heapUnit, heap, nullptr}};
    EXPECT_FALSE(UpdateAll(space, &results, 0x101180));
    EXPECT_EQ(results[0].address, 0x101180u);
    EXPECT_EQ(results[1].address, 0x101180u);
    results = {{0x5, nullptr, nullptr, nullptr, nullptr}, {0x102000, kernel, heapUnit, heap, nullptr}};
    EXPECT_FALSE(UpdateAll(space, &results, 0x5)); // true for the first, false for the second
    EXPECT_EQ(results[1].module, nullptr);
}

TEST_F(LocationLookup, RepeatedSearchAllocatesNothing) {
    ASSERT_TRUE(Find(0x101028));
    const uint64_t before = AllocationCount();
    for (uint64_t address = 0x100000; address < 0x110000; address += 7) Find(address);
    EXPECT_EQ(AllocationCount(), before);
}

TEST_F(LocationLookup, UpdateAllocatesNothing) {
    ASSERT_TRUE(Find(0x101028));
    const uint64_t before = AllocationCount();
    for (uint64_t address = 0x100000; address < 0x210000; address += 61) UpdateAll(space, &results, address);
    EXPECT_EQ(AllocationCount(), before);
}

} // namespace
