#include "symbols/location_format.h"

#include <gtest/gtest.h>

#include "support/symbol_builder.h"

namespace {

class LocationFormat : public testing::Test {
protected:
    LocationFormat() {
        module = builder.AddModule("kernel", 0x100000, 0x10000);
        unit = builder.AddUnit(module, "main.c");
        function = builder.AddFunction(unit, "start", {{0x101000, 0x100}});
        type = builder.AddType(unit, "point");
        module->Freeze();
    }
    ~LocationFormat() override { module->Release(); }

    std::string Text(const ktLocation &location, uint64_t mask) {
        format.mask = mask;
        EXPECT_TRUE(format.Format(location));
        return format.text;
    }
    bool Parse(const char *source, uint64_t mask) {
        format.mask = mask;
        return format.Parse(source);
    }

    ktSymbolBuilder builder;
    ktModule *module;
    ktCompUnit *unit;
    ktFunction *function;
    ktType *type;
    ktLocationFormat format;
};

TEST_F(LocationFormat, AddressWithoutModuleIsTheOffsetAlone) {
    EXPECT_EQ(Text({.address = 0x1234}, 15), "0x1234");
    EXPECT_EQ(Text({.address = 0xABCDEF0123456789}, 15), "0xabcdef0123456789");
}

TEST_F(LocationFormat, AddressZeroWithoutModuleIsEmpty) { EXPECT_EQ(Text({}, 15), ""); }

TEST_F(LocationFormat, FunctionEntryHasNoOffset) {
    EXPECT_EQ(Text({0x101000, module, unit, function, nullptr}, 15), "kernel!main.c|start");
    EXPECT_EQ(format.offset, 0u);
    EXPECT_EQ(format.offsetText, "");
}

TEST_F(LocationFormat, OffsetIsRelativeToTheLastPartNamed) {
    const ktLocation inside = {0x101010, module, unit, function, nullptr};
    EXPECT_EQ(Text(inside, 15), "kernel!main.c|start+0x10");
    EXPECT_EQ(format.offsetText, "0x10");
    EXPECT_EQ(Text(inside, 13), "kernel!main.c+0x10"); // the unit starts where its function does
    EXPECT_EQ(Text(inside, 9), "kernel+0x1010");
    EXPECT_EQ(Text(inside, 1), "0x101010");
    function->entry = 0x101008;
    EXPECT_EQ(Text(inside, 15), "kernel!main.c|start+0x8");
    EXPECT_EQ(Text(inside, 11), "kernel|start+0x8");
}

TEST_F(LocationFormat, ModuleOffsetCountsForItsStart) {
    module->offset = 0x400;
    EXPECT_EQ(Text({0x100410, module, nullptr, nullptr, nullptr}, 15), "kernel+0x10");
}

TEST_F(LocationFormat, AddressBelowItsPartWrapsAround) {
    EXPECT_EQ(Text({0xFFFFF, module, nullptr, nullptr, nullptr}, 15), "kernel+0xffffffffffffffff");
}

TEST_F(LocationFormat, SeparatorsStandOnlyBehindSomething) {
    const ktLocation inside = {0x101010, module, unit, function, nullptr};
    EXPECT_EQ(Text(inside, 7), "main.c|start+0x10");
    EXPECT_EQ(Text(inside, 3), "start+0x10");
    EXPECT_EQ(Text(inside, 2), "start");
    EXPECT_EQ(Text(inside, 8), "kernel");
    EXPECT_EQ(Text(inside, 0), "");
}

TEST_F(LocationFormat, OffsetNeedsItsMaskBit) {
    EXPECT_EQ(Text({0x101010, module, unit, function, nullptr}, 14), "kernel!main.c|start");
    EXPECT_EQ(format.offset, 0x10u);
    EXPECT_EQ(Text({.address = 0x1234}, 14), "");
}

TEST_F(LocationFormat, TypeHasNoOffset) {
    EXPECT_EQ(Text({0x101010, module, unit, nullptr, type}, 31), "kernel!main.c#point");
    EXPECT_EQ(format.offsetText, "");
    EXPECT_EQ(Text({0x101010, module, unit, function, type}, 31), "kernel!main.c|start#point");
    EXPECT_EQ(Text({0x101010, nullptr, nullptr, nullptr, type}, 17), "point");
    EXPECT_EQ(Text({0x101010, module, unit, nullptr, type}, 15),
              "kernel!main.c+0x10"); // bit 16 not asked for
}

TEST_F(LocationFormat, PartWithoutANameIsPassedOver) {
    ktModule *nameless = builder.factory.CreateModule();
    ktModule bare(77); // no name at all
    bare.base = 0x5000;
    EXPECT_EQ(Text({0x5010, &bare, nullptr, nullptr, nullptr}, 15), "0x5010");
    nameless->name.Assign("");
    nameless->base = 0x5000;
    EXPECT_EQ(Text({0x5010, nameless, nullptr, nullptr, nullptr}, 15), "0x10"); // named, if by nothing
    nameless->Release();
}

TEST_F(LocationFormat, NextUseForgetsTheLast) {
    Text({0x101010, module, unit, function, type}, 31);
    EXPECT_EQ(Text({0x100000, module, nullptr, nullptr, nullptr}, 31), "kernel");
    EXPECT_EQ(format.unitText, "");
    EXPECT_EQ(format.functionText, "");
    EXPECT_EQ(format.typeText, "");
}

TEST_F(LocationFormat, ReuseKeepsTheBuffers) {
    Text({0x101010, module, unit, function, nullptr}, 15);
    const char *before = format.text.data();
    Text({0x101020, module, unit, function, nullptr}, 15);
    EXPECT_EQ(format.text.data(), before);
}

TEST(LocationMask, CountsTheSeparatorsWhereverTheyStand) {
    EXPECT_EQ(MaskOf("kernel"), 8u);
    EXPECT_EQ(MaskOf("kernel!main.c"), 12u);
    EXPECT_EQ(MaskOf("kernel|main"), 10u);
    EXPECT_EQ(MaskOf("kernel!main.c|start"), 14u);
    EXPECT_EQ(MaskOf("kernel!main.c#point"), 28u);
    EXPECT_EQ(MaskOf("kernel+10"), 9u);
    EXPECT_EQ(MaskOf("kernel!main.c|start+0x10"), 15u);
    EXPECT_EQ(MaskOf("+#|!"), 31u);
    EXPECT_EQ(MaskOf("#C++"), 25u);
    EXPECT_EQ(MaskOf(""), 8u);
    EXPECT_EQ(MaskOf(nullptr), 8u);
}

TEST_F(LocationFormat, ParsesEveryPart) {
    ASSERT_TRUE(Parse("kernel!main.c|start+0x10", 15));
    EXPECT_EQ(format.moduleText, "kernel");
    EXPECT_EQ(format.unitText, "main.c");
    EXPECT_EQ(format.functionText, "start");
    EXPECT_EQ(format.offsetText, "0x10");
    EXPECT_EQ(format.offset, 0x10u);
    EXPECT_EQ(format.typeText, "");
    ASSERT_TRUE(Parse("kernel!main.c#point", 28));
    EXPECT_EQ(format.typeText, "point");
    EXPECT_EQ(format.functionText, "");
    EXPECT_EQ(format.offset, 0u);
}

TEST_F(LocationFormat, ModulePartIsCutAtTheBarWithoutAUnitStep) {
    ASSERT_TRUE(Parse("kernel|main", 10));
    EXPECT_EQ(format.moduleText, "kernel");
    EXPECT_EQ(format.functionText, "main");
}

TEST_F(LocationFormat, ModulePartStartsBehindTheFirstBackslash) {
    ASSERT_TRUE(Parse("C:\\a!b", 12));
    EXPECT_EQ(format.moduleText, "a");
    EXPECT_EQ(format.unitText, "b");
    ASSERT_TRUE(Parse("C:\\x\\a!b", 12));
    EXPECT_EQ(format.moduleText, "x\\a");
    ASSERT_TRUE(Parse("/x/a!b", 12));
    EXPECT_EQ(format.moduleText, "/x/a");
}

TEST_F(LocationFormat, BackslashInALaterPartHidesTheSeparatorsBeforeIt) {
    EXPECT_FALSE(Parse("kernel!src\\main.c", 12));
    ASSERT_TRUE(Parse("src\\main.c|start", 6)); // no module step, no backslash rule
    EXPECT_EQ(format.unitText, "src\\main.c");
}

TEST_F(LocationFormat, MissingSeparatorFailsBehindAnOpenPart) {
    EXPECT_FALSE(Parse("kernel", 12));
    EXPECT_FALSE(Parse("kernel!main.c", 14));
    EXPECT_FALSE(Parse("kernel!main.c|start", 15));
    EXPECT_FALSE(Parse("kernel!main.c|start", 30));
    EXPECT_FALSE(Parse("kernel|main!c", 14)); // the bar stands before the unit part
}

TEST_F(LocationFormat, FailureLeavesTheParts) {
    ASSERT_TRUE(Parse("kernel!main.c", 12));
    EXPECT_FALSE(Parse("other", 12));
    EXPECT_EQ(format.moduleText, "kernel");
    EXPECT_EQ(format.unitText, "main.c");
}

TEST_F(LocationFormat, FirstPartNeedsNoSeparator) {
    ASSERT_TRUE(Parse("main.c", 4));
    EXPECT_EQ(format.unitText, "main.c");
    ASSERT_TRUE(Parse("junk!main.c", 4));
    EXPECT_EQ(format.unitText, "main.c");
    ASSERT_TRUE(Parse("10", 1));
    EXPECT_EQ(format.offset, 0x10u);
    ASSERT_TRUE(Parse("anything", 0));
    EXPECT_EQ(format.moduleText, "");
}

TEST_F(LocationFormat, EmptyPartsAreParts) {
    ASSERT_TRUE(Parse("!|+", 15));
    EXPECT_EQ(format.moduleText, "");
    EXPECT_EQ(format.unitText, "");
    EXPECT_EQ(format.functionText, "");
    EXPECT_EQ(format.offset, 0u);
    ASSERT_TRUE(Parse("", 8));
    EXPECT_EQ(format.moduleText, "");
}

TEST_F(LocationFormat, OffsetTextIsCutTo23Characters) {
    ASSERT_TRUE(Parse("a+000000000000000000000012345", 9));
    EXPECT_EQ(format.offsetText, "00000000000000000000001");
    EXPECT_EQ(format.offset, 1u);
}

TEST_F(LocationFormat, OffsetIsReadAsHexadecimal) {
    ASSERT_TRUE(Parse("a+1F", 9));
    EXPECT_EQ(format.offset, 0x1Fu);
    ASSERT_TRUE(Parse("a+0x1f", 9));
    EXPECT_EQ(format.offset, 0x1Fu);
    ASSERT_TRUE(Parse("a+1z2", 9));
    EXPECT_EQ(format.offset, 0x12u);
}

TEST_F(LocationFormat, ParsedTextFormatsBack) {
    const std::string text = Text({0x101010, module, unit, function, nullptr}, 15);
    ktLocationFormat parts;
    ASSERT_TRUE(parts.Parse(text));
    EXPECT_EQ(parts.moduleText, "kernel");
    EXPECT_EQ(parts.functionText, "start");
    EXPECT_EQ(parts.offset, 0x10u);
}

} // namespace
