#include "symbols/dwarf/die_tree.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/dwarf_fixture.h"

namespace {

class DwarfTree : public testing::Test, protected ktDwarfFixture {
protected:
    uint64_t Variable(const std::string &name) { return dwarf.Leaf(0x34, {AttrName(name)}); }
    std::string Variables() {
        ktCompUnit *unit = Unit();
        return unit ? Names(unit->Variables()) : std::string();
    }
    /// The names of the children of a node, each a letter that its offset stands for.
    static std::string Children(const ktDieTree &tree, uint32_t node) {
        std::string text;
        for (uint32_t child = tree.FirstChild(node); child != 0; child = tree.NextSibling(child))
            text += static_cast<char>(tree[child].offset);
        return text;
    }
};

TEST_F(DwarfTree, ChildrenOfTheUnitComeInTheirOrder) {
    dwarf.BeginUnitWithCode();
    for (const char *name : {"a", "b", "c"}) Variable(name);
    dwarf.End();
    EXPECT_TRUE(Load());
    EXPECT_EQ(Variables(), "a b c");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfTree, AfterAnEntryThatHasChildrenByItsFlagOnlyTheNextStandsBehindItsParentsFirstChild) {
    dwarf.BeginUnitWithCode();
    Variable("a");
    Variable("b");
    dwarf.Parent(0x13, {AttrName("s")});
    dwarf.End();
    Variable("c");
    Variable("d");
    dwarf.End();
    EXPECT_TRUE(Load());
    EXPECT_EQ(Variables(), "a c d b");
}

TEST_F(DwarfTree, AnEntryWithTheFlagAndNoChildrenAsFirstChildIsThePlaceBehindWhichTheNextStands) {
    dwarf.BeginUnitWithCode();
    dwarf.Parent(0x13, {AttrName("s")});
    dwarf.End();
    dwarf.Leaf(0x13, {AttrName("t")});
    dwarf.Leaf(0x13, {AttrName("u")});
    dwarf.End();
    EXPECT_TRUE(Load());
    EXPECT_EQ(TypeNames(), "s t u");
}

TEST_F(DwarfTree, EntriesBehindTheUnitsOwnEndAreNotInTheUnit) {
    dwarf.BeginUnitWithCode();
    Variable("a");
    dwarf.End();
    Variable("b");
    EXPECT_TRUE(Load());
    EXPECT_EQ(Variables(), "a");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfTree, MoreEndMarksThanEntriesLeadBackToTheRootAndNoFurther) {
    dwarf.BeginUnitWithCode();
    Variable("a");
    for (int i = 0; i < 10; ++i) dwarf.End();
    Variable("b");
    Variable("c");
    EXPECT_TRUE(Load());
    EXPECT_EQ(Variables(), "a");
}

TEST_F(DwarfTree, EntriesBehindAUnitEntryWithoutChildrenAreNotInTheUnit) {
    dwarf.BeginUnit();
    dwarf.Leaf(0x11, {AttrName("u.c"), AttrAddr(0x11, 0x1000), AttrData1(0x12, 16)});
    Variable("a");
    EXPECT_TRUE(Load());
    EXPECT_EQ(Variables(), "");
}

TEST_F(DwarfTree, AUnitWithoutEntriesIsTold) {
    dwarf.BeginUnit();
    dwarf.BeginUnitWithCode("next.c");
    EXPECT_TRUE(Load());
    EXPECT_EQ(log.lines, Lines{"Failed to properly read debug info"});
    EXPECT_STREQ(Unit()->name.Get(), "next.c");
}

TEST_F(DwarfTree, OnlyEndMarksAreNoEntries) {
    dwarf.BeginUnit();
    for (int i = 0; i < 5; ++i) dwarf.End();
    EXPECT_TRUE(Load());
    EXPECT_EQ(log.lines, Lines{"Failed to properly read debug info"});
}

TEST_F(DwarfTree, AUnitWhoseFirstEntryIsAnotherIsDetachedAndStaysWithoutItsChildren) {
    dwarf.BeginUnit();
    Variable("before");
    dwarf.Parent(0x11, {AttrName("u.c"), AttrAddr(0x11, 0x1000), AttrData1(0x12, 16)});
    Variable("a");
    dwarf.End();
    EXPECT_TRUE(Load());
    EXPECT_EQ(log.lines, Lines{"Detached compilation unit data"});
    EXPECT_EQ(DescribeAll(), Lines{"u.c[1000+10] types: ; variables: "});
}

TEST_F(DwarfTree, EntriesWithoutAUnitEntryMakeNoUnit) {
    dwarf.BeginUnit();
    Variable("alone");
    EXPECT_TRUE(Load());
    EXPECT_EQ(log.lines, Lines{"Detached compilation unit data"});
    EXPECT_TRUE(Module().CompUnits().empty());
}

TEST_F(DwarfTree, ASecondUnitEntryIsToldAndTheFirstStays) {
    dwarf.BeginUnitWithCode("first.c");
    Variable("a");
    dwarf.Leaf(0x11, {AttrName("second.c"), AttrAddr(0x11, 0x5000), AttrData1(0x12, 16)});
    Variable("b");
    dwarf.End();
    EXPECT_TRUE(Load());
    EXPECT_EQ(log.lines, Lines{"Detached compilation unit"});
    EXPECT_EQ(DescribeAll(), Lines{"first.c[400100+100] types: ; variables: a b"});
}

TEST_F(DwarfTree, ASecondUnitEntryBesideTheFirstIsToldToo) {
    dwarf.BeginUnitWithCode("first.c");
    Variable("a");
    dwarf.End();
    dwarf.Parent(0x11, {AttrName("second.c")});
    Variable("b");
    dwarf.End();
    EXPECT_TRUE(Load());
    EXPECT_EQ(log.lines, Lines{"Detached compilation unit"});
    EXPECT_EQ(DescribeAll(), Lines{"first.c[400100+100] types: ; variables: a"});
}

TEST_F(DwarfTree, EachTagOfATypeMakesItsClass) {
    struct Case {
        uint64_t tag;
        ktType::TypeKind kind;
        uint64_t flags;
        const char *prefix;
    };
    const Case cases[] = {{0x01, ktType::typeArray, 0, "arr_"},     {0x04, ktType::typeEnum, 0, "enum_"},
                          {0x0F, ktType::typeModified, 2, "modt_"}, {0x10, ktType::typeModified, 8, "modt_"},
                          {0x13, ktType::typeComplex, 0, "cplx_"},  {0x15, ktType::typeFunction, 0, "fnt_"},
                          {0x16, ktType::typeAlias, 0, "alt_"},     {0x17, ktType::typeComplex, 0, "cplx_"},
                          {0x21, ktType::typeRange, 0, "rngt_"},    {0x24, ktType::typeBasic, 0, "bas_"},
                          {0x26, ktType::typeModified, 1, "modt_"}, {0x35, ktType::typeModified, 4, "modt_"},
                          {0x37, ktType::typeModified, 16, "modt_"}};
    dwarf.BeginUnitWithCode();
    for (const Case &one : cases) dwarf.Leaf(one.tag, {});
    dwarf.End();
    ASSERT_TRUE(Load());
    const std::vector<ktType *> &types = Unit()->Types();
    ASSERT_EQ(types.size(), std::size(cases));
    for (size_t i = 0; i < types.size(); ++i) {
        EXPECT_EQ(types[i]->GetTypeKind(), cases[i].kind) << i;
        EXPECT_EQ(types[i]->GetName(), cases[i].prefix + Hex(types[i]->GetId())) << i;
        if (cases[i].kind == ktType::typeModified) {
            EXPECT_EQ(static_cast<ktModifiedType *>(types[i])->flags, cases[i].flags) << i;
        }
    }
}

TEST_F(DwarfTree, AllOtherTagsMakeNoObject) {
    const std::vector<uint64_t> objects{0x01, 0x04, 0x05, 0x0D, 0x0F, 0x10, 0x11, 0x13, 0x15, 0x16,
                                        0x17, 0x1D, 0x21, 0x24, 0x26, 0x28, 0x2E, 0x34, 0x35, 0x37};
    dwarf.BeginUnitWithCode();
    for (uint64_t tag = 1; tag < 0x60; ++tag) {
        if (std::find(objects.begin(), objects.end(), tag) == objects.end())
            dwarf.Leaf(tag, {AttrName("none"), AttrData1(0x5A, 1)});
    }
    for (const uint64_t tag : ktCodes{uint64_t(0x4109), uint64_t(1) << 32 | 0x24, ~uint64_t(0)})
        dwarf.Leaf(tag, {});
    const uint64_t last = dwarf.Leaf(0x24, {});
    dwarf.End();
    ASSERT_GT(last, 0u);
    ASSERT_TRUE(Load());
    EXPECT_EQ(TypeNames(), "bas_3"); // 1 is the module, 2 the unit
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfTree, AnEntryOfTag0EndsAListOfChildrenAsAnEndMarkDoes) {
    dwarf.BeginUnitWithCode();
    dwarf.Parent(0x13, {AttrName("s")});
    dwarf.Leaf(0x0D, {AttrName("m")});
    dwarf.Leaf(0, {AttrName("none")});
    dwarf.Leaf(0x34, {AttrName("v")});
    dwarf.End();
    ASSERT_TRUE(Load());
    EXPECT_EQ(TypeNames(), "s");
    EXPECT_EQ(Names(Unit()->Variables()), "v");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfTree, NumbersFollowTheEntriesAlsoOfObjectsThatAreNeverUsed) {
    dwarf.BeginUnit();
    dwarf.Parent(0x11, {AttrAddr(0x11, 0x1000), AttrData1(0x12, 16)}); // 2
    dwarf.Parent(0x0B, {});
    dwarf.Leaf(0x34, {}); // 3, below an entry without an object
    dwarf.End();
    dwarf.Parent(0x2E, {AttrData1(0x12, 4)}); // 4
    dwarf.Leaf(0x05, {});                     // 5
    dwarf.Leaf(0x34, {});                     // 6
    dwarf.Leaf(0x1D, {AttrData1(0x12, 1)});   // 7
    dwarf.End();
    dwarf.Parent(0x13, {}); // 8
    dwarf.Leaf(0x0D, {});   // 9
    dwarf.End();
    dwarf.Parent(0x04, {}); // A
    dwarf.Leaf(0x28, {});   // B
    dwarf.End();
    dwarf.Leaf(0x34, {}); // C
    dwarf.End();
    ASSERT_TRUE(Load());
    const ktCompUnit &unit = *Unit();
    EXPECT_EQ(Describe(unit), "cu_2[1000+10] fn_7@1000[1000+1](){} fn_4@1000[1000+4](farg_5){var_6} "
                              "types: cplx_8 enum_A; variables: var_C");
    EXPECT_EQ(Names(static_cast<ktComplexType *>(unit.Types()[0])->members), "fld_9");
    EXPECT_EQ(Names(static_cast<ktEnumType *>(unit.Types()[1])->members), "em_B");
    EXPECT_EQ(factory.nextId, 0xCu);
}

TEST_F(DwarfTree, NumbersFollowTheEntriesAlsoWhereAUnitEntryIsNotTheFirst) {
    dwarf.BeginUnit();
    dwarf.Leaf(0x34, {});                                              // 2
    dwarf.Parent(0x11, {AttrAddr(0x11, 0x1000), AttrData1(0x12, 16)}); // 3
    dwarf.BeginUnit();
    dwarf.Parent(0x11, {AttrAddr(0x11, 0x2000), AttrData1(0x12, 16)}); // 4
    dwarf.Leaf(0x34, {});                                              // 5
    dwarf.Leaf(0x11, {});                                              // 6
    dwarf.Leaf(0x34, {});                                              // 7
    ASSERT_TRUE(Load());
    EXPECT_EQ(DescribeAll(),
              (Lines{"cu_3[1000+10] types: ; variables: ", "cu_4[2000+10] types: ; variables: var_5 var_7"}));
}

TEST_F(DwarfTree, FindGivesOnlyTheExactStartsOfEntries) {
    ktDieTree tree;
    tree.Begin(100);
    const std::vector<uint32_t> offsets{100, 101, 105, 117, 300, 5000};
    std::vector<uint32_t> nodes;
    for (const uint32_t offset : offsets) nodes.push_back(tree.Add(offset, true));
    for (uint32_t offset = 0, next = 0; offset < 6000; ++offset) {
        const bool isStart = next < offsets.size() && offsets[next] == offset;
        EXPECT_EQ(tree.Find(offset), isStart ? nodes[next++] : 0) << offset;
    }
    EXPECT_EQ(tree.Find(~uint64_t(0)), 0u);
    EXPECT_EQ(tree.Find((uint64_t(1) << 32) + 105), 0u);
}

TEST_F(DwarfTree, ARootWithoutSiblingsLeavesTheEntryApart) {
    ktDieTree tree;
    tree.Begin('A');
    const uint32_t first = tree.Add('A', false);
    tree.Pop();
    tree.Pop();
    tree.Add('B', true);
    tree.Add('C', false);
    EXPECT_EQ(Children(tree, ktDieTree::root), "A");
    EXPECT_EQ(Children(tree, first), "");
    EXPECT_EQ(Children(tree, tree.Find('B')), "C");
}

} // namespace
