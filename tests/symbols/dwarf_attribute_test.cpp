#include "symbols/dwarf/tag_rules.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "support/dwarf_fixture.h"

namespace {

using Codes = std::vector<uint64_t>;

class DwarfAttribute : public testing::Test, protected ktDwarfFixture {
protected:
    /// The messages of a unit in which one entry of `tag` has that attribute.
    Lines MessagesOf(uint64_t tag, uint64_t attribute) {
        dwarf = ktDwarfBuilder();
        log.Clear();
        dwarf.BeginUnitWithCode();
        dwarf.Leaf(tag, {AttrData1(attribute, 0)});
        EXPECT_TRUE(Load()) << tag << " " << attribute;
        return log.lines;
    }
    static bool Has(const Codes &codes, uint64_t code) {
        return std::find(codes.begin(), codes.end(), code) != codes.end();
    }
    /// A unit with one type of that tag.
    ktType *ReadType(uint64_t tag, const ktDwarfBuilder::Attrs &attrs) {
        dwarf = ktDwarfBuilder();
        dwarf.BeginUnitWithCode();
        dwarf.Leaf(tag, attrs);
        dwarf.End();
        EXPECT_TRUE(Load());
        ktCompUnit *unit = Unit();
        return unit && unit->Types().size() == 1 ? unit->Types()[0] : nullptr;
    }
    ktFunction *ReadFunction(uint64_t tag, const ktDwarfBuilder::Attrs &attrs) {
        dwarf = ktDwarfBuilder();
        dwarf.BeginUnitWithCode();
        dwarf.Leaf(tag, attrs);
        dwarf.End();
        EXPECT_TRUE(Load());
        ktCompUnit *unit = Unit();
        return unit && unit->Functions().size() == 1 ? unit->Functions()[0] : nullptr;
    }
};

struct Refusals {
    Codes tags;
    Codes refused;
};

// Each list as it is documented, written down a second time.
const Refusals refusals[] = {
    {{0x01}, {0x09, 0x0D, 0x17, 0x2C, 0x2E, 0x31, 0x32, 0x3C, 0x47, 0x4E, 0x4F, 0x50, 0x51, 0x5A}},
    {{0x04}, {0x17, 0x2C, 0x31, 0x32, 0x3C, 0x47, 0x4E, 0x4F, 0x50, 0x5A, 0x69, 0x6D}},
    {{0x05}, {0x02, 0x1C, 0x1E, 0x21, 0x31, 0x34, 0x46, 0x4B, 0x5A, 0x65}},
    {{0x0D}, {0x17, 0x32, 0x3C, 0x3F, 0x5A, 0x61}},
    {{0x0F, 0x10, 0x26, 0x35, 0x37}, {0x33, 0x4E, 0x4F, 0x50}},
    {{0x13, 0x17}, {0x17, 0x2C, 0x31, 0x32, 0x3C, 0x47, 0x4E, 0x4F, 0x50, 0x5A, 0x69}},
    {{0x15}, {0x17, 0x27, 0x2C, 0x31, 0x32, 0x3C, 0x4E, 0x4F, 0x50, 0x5A}},
    {{0x16}, {0x17, 0x2C, 0x31, 0x32, 0x3C, 0x4E, 0x4F, 0x50, 0x5A}},
    {{0x21}, {0x0B, 0x0D, 0x17, 0x2E, 0x31, 0x32, 0x37, 0x3C, 0x4E, 0x4F, 0x50, 0x51, 0x5A, 0x62}},
    {{0x24}, {0x4E, 0x4F, 0x50, 0x5A, 0x5B, 0x5C, 0x5D, 0x5E, 0x5F, 0x60, 0x65, 0x6B}},
    {{0x28}, {0x5A}},
    {{0x34}, {0x02, 0x17, 0x1C, 0x2C, 0x31, 0x32, 0x3C, 0x3F, 0x46, 0x47, 0x4B, 0x5A, 0x65, 0x6E}},
    {{0x11, 0x2E, 0x1D, 0x0B, 0x39}, {}}};

TEST_F(DwarfAttribute, EachTagTellsExactlyTheAttributesThatItRefuses) {
    for (const Refusals &one : refusals) {
        for (const uint64_t tag : one.tags) {
            for (uint64_t attribute = 1; attribute <= 0x8C; ++attribute) {
                Lines expected;
                if (tag == 0x11) expected.push_back("Detached compilation unit");
                if (Has(one.refused, attribute))
                    expected.push_back("Unsupported attribute " + Hex(attribute));
                EXPECT_EQ(MessagesOf(tag, attribute), expected) << Hex(tag) << " " << Hex(attribute);
            }
        }
    }
}

TEST_F(DwarfAttribute, AttributesThatShareTheLowBitsOfRefusedOnesAreDroppedWithoutAWord) {
    for (const uint64_t attribute : ktCodes{uint64_t(0x15A), uint64_t(0x5A00), uint64_t(1) << 32 | 0x5A})
        EXPECT_TRUE(MessagesOf(0x34, attribute).empty()) << attribute;
}

TEST_F(DwarfAttribute, RefusalsAreToldForEachEntryInTheOrderOfItsAttributes) {
    dwarf.BeginUnitWithCode();
    for (int i = 0; i < 3; ++i)
        dwarf.Leaf(0x34, {AttrData1(0x65, 0), AttrName("v"), AttrData1(0x02, 0), AttrData1(0x65, 0)});
    dwarf.End();
    EXPECT_TRUE(Load());
    const Lines once{"Unsupported attribute 65", "Unsupported attribute 2", "Unsupported attribute 65"};
    Lines expected;
    for (int i = 0; i < 3; ++i) expected.insert(expected.end(), once.begin(), once.end());
    EXPECT_EQ(log.lines, expected);
}

TEST_F(DwarfAttribute, AMessageOnAFormStandsBeforeTheRefusal) {
    dwarf.BeginUnitWithCode();
    dwarf.Leaf(0x34, {{0x5A, 0x1B, {}, 0}});
    dwarf.Leaf(0x34, {{0x5A, 0x16, {}, 0}});
    EXPECT_TRUE(Load());
    EXPECT_EQ(log.lines,
              (Lines{"Indirect form is not implemented", "Unexpected form 1B", "Unsupported attribute 5A",
                     "Unexpected form DW_FORM_indirect", "Unsupported attribute 5A"}));
}

TEST_F(DwarfAttribute, AFormThatEndsTheUnitKeepsTheRefusalsBeforeIt) {
    dwarf.BeginUnitWithCode();
    dwarf.Leaf(0x34, {AttrData1(0x5A, 0), AttrOffset(0x32, 0), AttrData1(0x65, 0)});
    EXPECT_FALSE(Load());
    EXPECT_EQ(log.lines, (Lines{"Unsupported attribute 5A", "Unexpected attribute 32"}));
}

TEST_F(DwarfAttribute, BasicTypeKeeps) {
    auto *type = static_cast<ktBasicType *>(
        ReadType(0x24, {AttrName("n"), AttrData1(0x0B, 1), AttrData1(0x0C, 2), AttrData1(0x0D, 3),
                        AttrData1(0x3E, 7), AttrData1(0x49, 9)}));
    ASSERT_TRUE(type);
    EXPECT_STREQ(type->GetName(), "n");
    EXPECT_EQ(type->size, 1u);
    EXPECT_EQ(type->bitOffset, 2u);
    EXPECT_EQ(type->bitSize, 3u);
    EXPECT_EQ(type->encoding, ktEncodingUnsigned);
}

TEST_F(DwarfAttribute, ArrayTypeKeeps) {
    auto *type = static_cast<ktArrayType *>(
        ReadType(0x01, {AttrName("n"), AttrData1(0x0B, 1), AttrNumber(0x49, 0x06, 0x7000, 4)}));
    ASSERT_TRUE(type);
    EXPECT_STREQ(type->GetName(), "n");
    EXPECT_EQ(type->size, 1u);
    EXPECT_TRUE(type->elementType.IsUnresolved());
    EXPECT_EQ(type->elementType.Offset(), 0x7000u);
}

TEST_F(DwarfAttribute, EnumTypeKeeps) {
    auto *type = static_cast<ktEnumType *>(
        ReadType(0x04, {AttrName("n"), AttrData1(0x0B, 1), AttrData1(0x0D, 2), AttrData1(0x2E, 3),
                        AttrData1(0x3E, 8), AttrNumber(0x49, 0x06, 0x7000, 4), AttrData1(0x51, 4)}));
    ASSERT_TRUE(type);
    EXPECT_STREQ(type->GetName(), "n");
    EXPECT_EQ(type->size, 1u);
    EXPECT_EQ(type->bitSize, 2u);
    EXPECT_EQ(type->bitStride, 3u);
    EXPECT_EQ(type->encoding, ktEncodingCharacter);
    EXPECT_EQ(type->underlying.Offset(), 0x7000u);
    EXPECT_EQ(type->byteStride, 4u);
}

TEST_F(DwarfAttribute, StructAndUnionKeep) {
    for (const uint64_t tag : ktCodes{0x13, 0x17}) {
        auto *type = static_cast<ktComplexType *>(
            ReadType(tag, {AttrName("n"), AttrData1(0x0B, 1), AttrData1(0x0D, 2)}));
        ASSERT_TRUE(type);
        EXPECT_STREQ(type->GetName(), "n");
        EXPECT_EQ(type->size, 1u);
        EXPECT_EQ(type->bitSize, 2u);
    }
}

TEST_F(DwarfAttribute, ModifiedTypesKeepNameAndTarget) {
    for (const uint64_t tag : ktCodes{0x0F, 0x10, 0x26, 0x35, 0x37}) {
        auto *type = static_cast<ktModifiedType *>(
            ReadType(tag, {AttrName("n"), AttrNumber(0x49, 0x06, 0x7000, 4), AttrData1(0x0B, 8)}));
        ASSERT_TRUE(type);
        EXPECT_STREQ(type->GetName(), "n");
        EXPECT_EQ(type->target.Offset(), 0x7000u);
    }
}

TEST_F(DwarfAttribute, AliasFunctionAndRangeTypesKeep) {
    const ktAttr reference = AttrNumber(0x49, 0x06, 0x7000, 4);
    auto *alias = static_cast<ktAliasType *>(ReadType(0x16, {AttrName("n"), reference}));
    ASSERT_TRUE(alias);
    EXPECT_STREQ(alias->GetName(), "n");
    EXPECT_EQ(alias->target.Offset(), 0x7000u);
    auto *function = static_cast<ktFuncType *>(ReadType(0x15, {AttrName("n"), reference}));
    ASSERT_TRUE(function);
    EXPECT_STREQ(function->GetName(), "n");
    EXPECT_EQ(function->returnType.Offset(), 0x7000u);
    auto *range = static_cast<ktRangeType *>(
        ReadType(0x21, {AttrName("n"), AttrData1(0x22, 3), AttrData8(0x2F, ~uint64_t(0)), reference}));
    ASSERT_TRUE(range);
    EXPECT_STREQ(range->GetName(), "n");
    EXPECT_EQ(range->lower, 3);
    EXPECT_EQ(range->upper, -1);
    EXPECT_EQ(range->indexType.Offset(), 0x7000u);
}

TEST_F(DwarfAttribute, MembersAndEnumeratorsKeep) {
    dwarf.BeginUnitWithCode();
    dwarf.Parent(0x13, {AttrName("s")});
    dwarf.Leaf(0x0D, {AttrName("n"), AttrData1(0x0B, 1), AttrData1(0x0C, 2), AttrData1(0x0D, 3),
                      AttrData1(0x38, 4), AttrNumber(0x49, 0x06, 0x7000, 4)});
    dwarf.End();
    dwarf.Parent(0x04, {AttrName("e")});
    dwarf.Leaf(0x28, {AttrName("m"), AttrData8(0x1C, ~uint64_t(4))});
    dwarf.End();
    dwarf.End();
    ASSERT_TRUE(Load());
    const auto *complex = Type<ktComplexType>("s");
    ASSERT_EQ(Names(complex->members), "n");
    const ktTypeMember &member = *complex->members[0];
    EXPECT_EQ(member.owner, complex);
    EXPECT_EQ(member.bits->byteSize, 1u);
    EXPECT_EQ(member.bits->bitOffset, 2u);
    EXPECT_EQ(member.bits->bitSize, 3u);
    EXPECT_EQ(member.offset, 4u);
    EXPECT_EQ(member.type.Offset(), 0x7000u);
    const auto *enumeration = Type<ktEnumType>("e");
    ASSERT_EQ(Names(enumeration->members), "m");
    EXPECT_EQ(enumeration->members[0]->value, -5);
    EXPECT_EQ(enumeration->members[0]->Owner(), enumeration);
}

TEST_F(DwarfAttribute, EncodingsAreMappedAndOthersAreZero) {
    for (uint64_t number = 0; number <= 0x20; ++number) {
        const uint32_t expected = number == 2                  ? 5
                                  : number == 3 || number == 4 ? 4
                                  : number == 6 || number == 8 ? 2
                                  : number == 7                ? 1
                                                               : 0;
        auto *basic = static_cast<ktBasicType *>(ReadType(0x24, {AttrData1(0x3E, number)}));
        ASSERT_TRUE(basic);
        EXPECT_EQ(basic->encoding, expected) << number;
        auto *enumeration = static_cast<ktEnumType *>(ReadType(0x04, {AttrData1(0x3E, number)}));
        ASSERT_TRUE(enumeration);
        EXPECT_EQ(enumeration->encoding, expected) << number;
    }
    auto *far = static_cast<ktBasicType *>(ReadType(0x24, {AttrNumber(0x3E, 0x05, 0x102, 2)}));
    ASSERT_TRUE(far);
    EXPECT_EQ(far->encoding, 0u);
}

TEST_F(DwarfAttribute, TheLastOfEqualAttributesCounts) {
    auto *type = static_cast<ktBasicType *>(
        ReadType(0x24, {AttrName("first"), AttrData1(0x0B, 1), AttrName("last"), AttrData1(0x0B, 2)}));
    ASSERT_TRUE(type);
    EXPECT_STREQ(type->GetName(), "last");
    EXPECT_EQ(type->size, 2u);
}

TEST_F(DwarfAttribute, TheUnitsNameIsCutBehindTheLastSlashOrBackslash) {
    const std::pair<const char *, const char *> cases[] = {
        {"plain.c", "plain.c"},           {"/src/a/b.c", "b.c"}, {"C:\\src\\w.c", "w.c"},
        {"/mixed\\and/last.c", "last.c"}, {"a/b\\c.c", "c.c"},   {"folder/", ""}};
    for (const auto &[given, kept] : cases) {
        dwarf = ktDwarfBuilder();
        dwarf.BeginUnit();
        dwarf.Leaf(0x11, {AttrName(given), AttrText(0x1B, given), AttrAddr(0x11, 1), AttrData1(0x12, 1)});
        ASSERT_TRUE(Load());
        EXPECT_STREQ(Unit()->name.Get(), kept);
        EXPECT_STREQ(Unit()->lines.compDir.Get(), given);
    }
}

TEST_F(DwarfAttribute, AUnitWithoutANameKeepsItsDefaultName) {
    dwarf.BeginUnit();
    dwarf.Leaf(0x11, {AttrAddr(0x11, 1), AttrData1(0x12, 1)});
    ASSERT_TRUE(Load());
    EXPECT_STREQ(Unit()->name.Get(), "cu_2");
    EXPECT_EQ(Unit()->lines.compDir.Get(), nullptr);
}

TEST_F(DwarfAttribute, AHighPcIsAlwaysASize) {
    for (const ktAttr &size : {AttrData1(0x12, 0x40), AttrNumber(0x12, 0x06, 0x40, 4), AttrData8(0x12, 0x40),
                               AttrUleb(0x12, 0x0F, 0x40), AttrAddr(0x12, 0x40)}) {
        const ktFunction *function = ReadFunction(0x2E, {AttrAddr(0x11, 0x1000), size});
        ASSERT_TRUE(function);
        EXPECT_EQ(Describe(function->ranges), "1000+40") << size.form;
        EXPECT_EQ(function->entry, 0x1000u);
    }
}

TEST_F(DwarfAttribute, AHighPcAsAnAddressIsASizeThatIncludesTheBias) {
    rebase = 0x500000; // linked at 0x400000
    dwarf.isMovable = true;
    dwarf.BeginUnit();
    dwarf.Parent(0x11, {AttrName("u"), AttrAddr(0x11, 0x400000), AttrAddr(0x12, 0x400010)});
    dwarf.Leaf(0x2E, {AttrName("f"), AttrAddr(0x11, 0x400004), AttrAddr(0x12, 0x400008)});
    dwarf.End();
    ASSERT_TRUE(Load());
    const ktFunction &function = *Unit()->Functions()[0];
    EXPECT_EQ(Describe(function.ranges), "500004+500008");
    EXPECT_EQ(function.entry, 0x500004u);
    EXPECT_EQ(Unit()->ranges.Low(), 0x500000u);
}

TEST_F(DwarfAttribute, AHighPcInSdataIsASizeOfZero) {
    const ktFunction *function = ReadFunction(0x2E, {AttrAddr(0x11, 0x1000), AttrSleb(0x12, 16)});
    ASSERT_TRUE(function);
    EXPECT_EQ(Describe(function->ranges), "1000+0");
}

TEST_F(DwarfAttribute, AHighPcWithoutALowPcGoesWithTheLastOneBefore) {
    dwarf.BeginUnit();
    dwarf.Parent(0x11, {AttrName("u"), AttrAddr(0x11, 0x1000), AttrData1(0x12, 0x10)});
    dwarf.Leaf(0x2E, {AttrName("a"), AttrData1(0x12, 1)});                         // the unit's
    dwarf.Leaf(0x2E, {AttrName("b"), AttrData1(0x12, 2), AttrAddr(0x11, 0x2000)}); // before its own
    dwarf.Leaf(0x34, {AttrName("v"), AttrAddr(0x11, 0x9000)});                     // no low pc of its kind
    dwarf.Leaf(0x0B, {AttrAddr(0x11, 0x9000)});                                    // nor here
    dwarf.Leaf(0x1D, {AttrName("c"), AttrData1(0x12, 3)});                         // that of b
    dwarf.Leaf(0x2E, {AttrName("d"), AttrAddr(0x11, 0x3000)});                     // no code
    dwarf.Leaf(0x2E, {AttrName("e"), AttrData1(0x12, 4)});                         // that of d
    dwarf.End();
    ASSERT_TRUE(Load());
    EXPECT_EQ(DescribeAll(), Lines{"u[1000+10,2000+3,3000+4] a@1000[1000+1](){} b@1000[1000+2](){} "
                                   "c@2000[2000+3](){} e@3000[3000+4](){} types: ; variables: v"});
}

TEST_F(DwarfAttribute, ALowPcIsNotCarriedIntoTheNextUnit) {
    dwarf.BeginUnitWithCode("first.c");
    dwarf.BeginUnit();
    dwarf.Leaf(0x11, {AttrName("second.c"), AttrData1(0x12, 0x10)});
    ASSERT_TRUE(Load());
    EXPECT_EQ(DescribeAll()[1], "second.c[0+10] types: ; variables: ");
}

TEST_F(DwarfAttribute, EveryHighPcOfAnEntryAddsARange) {
    const ktFunction *function =
        ReadFunction(0x2E, {AttrAddr(0x11, 0x1000), AttrData1(0x12, 1), AttrAddr(0x11, 0x2000),
                            AttrData1(0x12, 2), AttrData1(0x12, 3)});
    ASSERT_TRUE(function);
    EXPECT_EQ(Describe(function->ranges), "1000+1,2000+2,2000+3");
    EXPECT_EQ(function->entry, 0x2000u);
}

TEST_F(DwarfAttribute, OnlyAnInlinedFunctionKeepsAnOrigin) {
    const ktAttr origin = AttrNumber(0x31, 0x06, 0x7000, 4);
    const ktFunction *inlined = ReadFunction(0x1D, {AttrData1(0x12, 1), origin});
    ASSERT_TRUE(inlined && inlined->IsInlined());
    EXPECT_EQ(static_cast<const ktInlinedFunction *>(inlined)->origin.Offset(), 0x7000u);
    const ktFunction *plain = ReadFunction(0x2E, {AttrData1(0x12, 1), origin, AttrData1(0x20, 3)});
    ASSERT_TRUE(plain);
    EXPECT_FALSE(plain->IsInlined());
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfAttribute, AFunctionsReturnTypeIsKept) {
    const ktFunction *function =
        ReadFunction(0x2E, {AttrName("f"), AttrData1(0x12, 1), AttrNumber(0x49, 0x06, 0x7000, 4)});
    ASSERT_TRUE(function);
    EXPECT_STREQ(function->name.Get(), "f");
    EXPECT_EQ(function->returnType.Offset(), 0x7000u);
}

} // namespace
