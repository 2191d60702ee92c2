#include "symbols/dwarf/entry_walk.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/dwarf_fixture.h"

namespace {

/// Each value goes through the size of a basic type and through the name that follows it: a name that is read
/// right shows how much the form has passed.
class DwarfForm : public testing::Test, protected ktDwarfFixture {
protected:
    /// Reads a basic type whose size has that form and those bytes; the name stands behind it.
    bool ReadSize(uint64_t form, const ktBytes &value, int64_t declared = 0) {
        dwarf.BeginUnitWithCode();
        dwarf.Leaf(0x24, {{0x0B, form, value, declared}, AttrName("type")});
        dwarf.End();
        return Load();
    }
    ktBasicType *Basic() { return Type<ktBasicType>("type"); }
    void ExpectSize(uint64_t form, const ktBytes &value, uint64_t size) {
        ASSERT_TRUE(ReadSize(form, value));
        ASSERT_TRUE(Basic());
        EXPECT_EQ(Basic()->size, size);
        EXPECT_TRUE(log.lines.empty());
    }
    /// Reads an alias whose target has that form and those bytes.
    ktAliasType *ReadTarget(uint64_t form, const ktBytes &value) {
        dwarf.Leaf(0x16, {{0x49, form, value, 0}, AttrName("alias")});
        dwarf.End();
        EXPECT_TRUE(Load());
        return Type<ktAliasType>("alias");
    }
    /// The name of a variable that is given in that form.
    std::string ReadName(uint64_t form, const ktBytes &value) {
        dwarf.BeginUnitWithCode();
        dwarf.Leaf(0x34, {{0x03, form, value, 0}});
        dwarf.End();
        EXPECT_TRUE(Load());
        ktCompUnit *unit = Unit();
        return unit && unit->Variables().size() == 1 ? unit->Variables()[0]->name.Get() : "no variable";
    }
    static constexpr uint64_t bigNumber = 0x8877665544332211;
};

TEST_F(DwarfForm, AddrHasTheSizeOfAnAddressAndTheBias) {
    dwarf.isMovable = true;
    rebase = 0x500000;
    ExpectSize(0x01, ktDieBytes().U64(0x1000).bytes, 0x101000);
}

TEST_F(DwarfForm, AddrOfFourBytes) {
    dwarf.addressSize = 4;
    ExpectSize(0x01, ktDieBytes().U32(0xFFFF0000).bytes, 0xFFFF0000);
}

TEST_F(DwarfForm, AddrOfThreeBytes) {
    dwarf.addressSize = 3;
    ExpectSize(0x01, {1, 2, 3}, 0x030201);
}

TEST_F(DwarfForm, AddrOfMoreThanEightBytesEndsTheUnit) {
    dwarf.BeginUnit();
    dwarf.PutInfo(dwarf.Here() - 1, 9, 1);
    dwarf.Leaf(0x11, {AttrName("unit.c"), AttrNumber(0x11, 1, 0x1000, 8), {0, 0, {0}, 0}});
    EXPECT_FALSE(Load());
}

TEST_F(DwarfForm, Data1) { ExpectSize(0x0B, {0xFE}, 0xFE); }
TEST_F(DwarfForm, Data2) { ExpectSize(0x05, {0x34, 0xF2}, 0xF234); }
TEST_F(DwarfForm, Data4) { ExpectSize(0x06, ktDieBytes().U32(0xFEDCBA98).bytes, 0xFEDCBA98); }
TEST_F(DwarfForm, Data8) { ExpectSize(0x07, ktDieBytes().U64(bigNumber).bytes, bigNumber); }
TEST_F(DwarfForm, FlagIsOneByte) { ExpectSize(0x0C, {0x7B}, 0x7B); }
TEST_F(DwarfForm, FlagPresentIsOneWithoutBytes) { ExpectSize(0x19, {}, 1); }
TEST_F(DwarfForm, Udata) { ExpectSize(0x0F, ktDieBytes().Uleb(bigNumber).bytes, bigNumber); }
TEST_F(DwarfForm, UdataMayBePaddedBeyondTenBytes) {
    ExpectSize(0x0F, {0x85, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x80, 0x00}, 5);
}
TEST_F(DwarfForm, BitsOfAUdataBeyondTheSixtyFourthAreDropped) {
    ExpectSize(0x0F, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x7F}, ~uint64_t(0));
}

TEST_F(DwarfForm, SdataReadsAsZero) { ExpectSize(0x0D, ktDieBytes().Sleb(-300).bytes, 0); }
TEST_F(DwarfForm, AnEnumeratorInSdataHasValueZero) {
    dwarf.BeginUnitWithCode();
    dwarf.Parent(0x04, {AttrName("e")});
    dwarf.Leaf(0x28, {AttrSleb(0x1C, 7), AttrName("signed")});
    dwarf.Leaf(0x28, {AttrData1(0x1C, 7), AttrName("unsigned")});
    dwarf.End();
    dwarf.End();
    ASSERT_TRUE(Load());
    const auto &members = Type<ktEnumType>("e")->members;
    ASSERT_EQ(Names(members), "signed unsigned");
    EXPECT_EQ(members[0]->value, 0);
    EXPECT_EQ(members[1]->value, 7);
}
TEST_F(DwarfForm, ImplicitConstReadsAsZeroAndStandsInTheDeclaration) {
    ASSERT_TRUE(ReadSize(0x21, {}, -123456789));
    EXPECT_EQ(Basic()->size, 0u);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfForm, RefAddrIsTakenAsItIs) { ExpectSize(0x10, ktDieBytes().U32(0x12345678).bytes, 0x12345678); }
TEST_F(DwarfForm, RefAddrHasEightBytesInTheWideFormat) {
    dwarf.wide = true;
    ExpectSize(0x10, ktDieBytes().U64(bigNumber).bytes, bigNumber);
}
TEST_F(DwarfForm, RefUdataIsTakenWithoutTheStartOfTheUnit) {
    dwarf.BeginUnitWithCode("first.c", 1);
    dwarf.End();
    const ktBytes value = ktDieBytes().Uleb(0x1234).bytes;
    dwarf.BeginUnitWithCode("second.c");
    dwarf.Leaf(0x24, {{0x0B, 0x15, value, 0}, AttrName("type")});
    ASSERT_TRUE(Load());
    ASSERT_EQ(Module().CompUnits().size(), 2u);
    EXPECT_EQ(static_cast<ktBasicType *>(Module().CompUnits()[1]->Types()[0])->size, 0x1234u);
}
TEST_F(DwarfForm, TheOtherReferencesAddTheStartOfTheUnit) {
    dwarf.BeginUnitWithCode("first.c", 1);
    dwarf.BeginUnitWithCode("second.c");
    const size_t sizes[] = {1, 2, 4, 8};
    for (uint64_t i = 0; i < 4; ++i) dwarf.Leaf(0x24, {AttrNumber(0x0B, 0x11 + i, 0x42, sizes[i])});
    const uint64_t start = dwarf.UnitStart();
    ASSERT_TRUE(Load());
    ASSERT_EQ(Module().CompUnits().size(), 2u);
    ASSERT_EQ(Module().CompUnits()[1]->Types().size(), 4u);
    for (const ktType *type : Module().CompUnits()[1]->Types()) EXPECT_EQ(type->GetSize(), start + 0x42);
}
TEST_F(DwarfForm, AReferenceThatPassesTheHighestOffsetWraps) {
    dwarf.BeginUnitWithCode("first.c", 1);
    dwarf.BeginUnitWithCode("second.c");
    dwarf.Leaf(0x24, {AttrNumber(0x0B, 0x14, ~uint64_t(0), 8)});
    const uint64_t start = dwarf.UnitStart();
    ASSERT_TRUE(Load());
    EXPECT_EQ(Module().CompUnits()[1]->Types()[0]->GetSize(), start - 1);
}

TEST_F(DwarfForm, BlocksArePassedAndReadAsZero) {
    const ktBytes bytes(5, 0xEE);
    dwarf.BeginUnitWithCode();
    const auto block = [&bytes](uint64_t form, size_t lengthSize) {
        ktAttr attr = AttrNumber(0x0B, form, bytes.size(), lengthSize);
        attr.value.insert(attr.value.end(), bytes.begin(), bytes.end());
        return attr;
    };
    for (const ktAttr &attr :
         {block(0x0A, 1), block(0x03, 2), block(0x04, 4), block(0x09, 1), block(0x18, 1)})
        dwarf.Leaf(0x24, {attr, AttrName("b")});
    dwarf.End();
    ASSERT_TRUE(Load());
    EXPECT_EQ(TypeNames(), "b b_1 b_2 b_3 b_4");
    for (const ktType *type : Unit()->Types()) EXPECT_EQ(type->GetSize(), 0u);
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfForm, TheFormatsNewerFormsAreToldAndConsumeNothing) {
    for (const uint64_t form : ktCodes{0x02, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x22, 0x23, 0x2C, 0x1F01}) {
        dwarf = ktDwarfBuilder();
        log.Clear();
        EXPECT_TRUE(ReadSize(form, {}));
        ASSERT_TRUE(Basic()) << form;
        EXPECT_EQ(Basic()->size, 0u);
        EXPECT_EQ(log.lines, Lines{"Unexpected form " + Hex(form)});
    }
}
TEST_F(DwarfForm, FormZeroOfAnAttributeIsToldToo) {
    EXPECT_TRUE(ReadSize(0, {}));
    EXPECT_EQ(log.lines, Lines{"Unexpected form 0"});
    EXPECT_TRUE(Basic());
}
TEST_F(DwarfForm, StrxIsToldAndTheRestOfTheEntryIsReadFromTheWrongPlace) {
    dwarf.BeginUnitWithCode();
    // The index of the text is taken for the size, and the size for the code of the next entry: none.
    dwarf.Leaf(0x24, {{0x03, 0x1A, {0x07}, 0}, AttrData1(0x0B, 0x70)});
    dwarf.Leaf(0x24, {AttrName("lost")});
    dwarf.End();
    EXPECT_TRUE(Load());
    EXPECT_EQ(log.lines, Lines{"Unexpected form 1A"});
    ASSERT_EQ(Unit()->Types().size(), 1u);
    EXPECT_EQ(Unit()->Types()[0]->GetSize(), 7u);
    EXPECT_STREQ(Unit()->Types()[0]->GetName(), ""); // the attribute is there, without a text
}
TEST_F(DwarfForm, IndirectIsToldForTheDeclarationAndForTheEntry) {
    EXPECT_TRUE(ReadSize(0x16, {}));
    EXPECT_EQ(log.lines, (Lines{"Indirect form is not implemented", "Unexpected form DW_FORM_indirect"}));
    EXPECT_TRUE(Basic());
}
TEST_F(DwarfForm, RefSig8IsToldAndConsumesNothing) {
    EXPECT_TRUE(ReadSize(0x20, {}));
    EXPECT_EQ(log.lines, Lines{"Unexpected form DW_FORM_ref_sig8"});
    EXPECT_TRUE(Basic());
}

TEST_F(DwarfForm, SecOffsetIsForSixAttributesOnly) {
    for (const uint64_t attribute : ktCodes{0x02, 0x10, 0x43, 0x55, 0x2119, 0x2137}) {
        dwarf = ktDwarfBuilder();
        dwarf.BeginUnitWithCode();
        dwarf.Leaf(0x2E, {AttrOffset(attribute, 0x7FFFFFFF)});
        dwarf.Leaf(0x34, {AttrName("behind")});
        EXPECT_TRUE(Load()) << attribute;
        EXPECT_EQ(Names(Unit()->Variables()), "behind");
    }
    EXPECT_TRUE(log.lines.empty());
    for (const uint64_t attribute : ktCodes{0x03, 0x0B, 0x38, 0x46, 0x54, 0x56, 0x2118}) {
        dwarf = ktDwarfBuilder();
        log.Clear();
        dwarf.BeginUnitWithCode();
        dwarf.Leaf(0x34, {AttrName("before")});
        dwarf.Leaf(0x34, {AttrName("this"), AttrOffset(attribute, 0), AttrData1(0x5A, 1)});
        dwarf.Leaf(0x34, {AttrName("behind")});
        EXPECT_FALSE(Load()) << attribute;
        EXPECT_EQ(log.lines, Lines{"Unexpected attribute " + Hex(attribute)});
        EXPECT_EQ(Names(Unit()->Variables()), "before this"); // a failed unit keeps what it has
    }
}
TEST_F(DwarfForm, SecOffsetHasEightBytesInTheWideFormat) {
    dwarf.wide = true;
    dwarf.BeginUnitWithCode();
    dwarf.Leaf(0x2E, {AttrOffset(0x43, ~uint64_t(0), 8)});
    dwarf.Leaf(0x34, {AttrName("behind")});
    EXPECT_TRUE(Load());
    EXPECT_EQ(Names(Unit()->Variables()), "behind");
}

TEST_F(DwarfForm, StringsStandInTheEntry) {
    EXPECT_EQ(ReadName(0x08, ktDieBytes().Text("inline text").bytes), "inline text");
}
TEST_F(DwarfForm, StrpIsAnOffsetIntoTheTexts) {
    dwarf.Text("other");
    const uint64_t offset = dwarf.Text("a text");
    EXPECT_EQ(ReadName(0x0E, ktDieBytes().U32(offset).bytes), "a text");
}
TEST_F(DwarfForm, LineStrpIsAnOffsetIntoTheTextsOfLines) {
    dwarf.Text("other", ".debug_line_str");
    const uint64_t offset = dwarf.Text("a text", ".debug_line_str");
    EXPECT_EQ(ReadName(0x1F, ktDieBytes().U32(offset).bytes), "a text");
}
TEST_F(DwarfForm, StrpHasEightBytesInTheWideFormat) {
    dwarf.wide = true;
    EXPECT_EQ(ReadName(0x0E, ktDieBytes().U64(dwarf.Text("a text")).bytes), "a text");
}
TEST_F(DwarfForm, WithoutTheTextsNothingIsReadForStrpAndTheNameIsEmpty) {
    for (const uint64_t form : ktCodes{0x0E, 0x1F}) {
        dwarf = ktDwarfBuilder();
        EXPECT_EQ(ReadName(form, {}), "") << form;
    }
    EXPECT_TRUE(log.lines.empty());
}
TEST_F(DwarfForm, ATextThatIsNotThereEndsTheUnit) {
    const uint64_t size = dwarf.Text("text") + 5;
    dwarf.BeginUnitWithCode();
    dwarf.Leaf(0x34, {AttrName("before")});
    dwarf.Leaf(0x34, {AttrNumber(0x03, 0x0E, size, 4)});
    dwarf.Leaf(0x34, {AttrName("behind")});
    EXPECT_FALSE(Load());
    EXPECT_EQ(Unit()->Variables().size(), 2u);
    EXPECT_STREQ(Unit()->Variables()[0]->name.Get(), "before");
}
TEST_F(DwarfForm, ATextWithoutAnEndEndsTheUnit) {
    dwarf.sections[".debug_str"] = {'a', 0, 'b', 'c'};
    dwarf.BeginUnitWithCode();
    dwarf.Leaf(0x34, {AttrNumber(0x03, 0x0E, 0, 4)});
    dwarf.Leaf(0x34, {AttrNumber(0x03, 0x0E, 2, 4)});
    EXPECT_FALSE(Load());
}

TEST_F(DwarfForm, TextsAreCutTo4095Bytes) {
    const std::string text(5000, 'x');
    EXPECT_EQ(ReadName(0x08, ktDieBytes().Text(text).bytes), text.substr(0, 4095));
    dwarf = ktDwarfBuilder();
    EXPECT_EQ(ReadName(0x0E, ktDieBytes().U32(dwarf.Text(text)).bytes), text.substr(0, 4095));
    dwarf = ktDwarfBuilder();
    const std::string fits(4095, 'y');
    EXPECT_EQ(ReadName(0x0E, ktDieBytes().U32(dwarf.Text(fits)).bytes), fits);
}
TEST_F(DwarfForm, ALongBlockMakesRoomForLongerTextsBehindIt) {
    const std::string text(9000, 'x');
    dwarf.BeginUnitWithCode();
    dwarf.Leaf(0x34, {AttrName(text)});
    ktAttr block = AttrNumber(0x3A, 0x04, 5001, 4);
    block.value.resize(4 + 5001, 0xEE);
    dwarf.Leaf(0x34, {block});
    dwarf.Leaf(0x34, {AttrName(text)});
    dwarf.End();
    ASSERT_TRUE(Load());
    const auto &variables = Unit()->Variables();
    ASSERT_EQ(variables.size(), 3u);
    EXPECT_EQ(std::string(variables[0]->name.Get()).size(), 4095u);
    EXPECT_EQ(std::string(variables[2]->name.Get()).size(), 5007u); // 5001 rounded up to 5008
}
TEST_F(DwarfForm, ABlockAsANameIsTakenUpToItsZero) { EXPECT_EQ(ReadName(0x0A, {4, 'a', 'b', 0, 'c'}), "ab"); }
TEST_F(DwarfForm, ANumberAsANameIsAnEmptyName) { EXPECT_EQ(ReadName(0x0B, {0x41}), ""); }

TEST_F(DwarfForm, ReferencesOfEachFormResolve) {
    dwarf.BeginUnitWithCode("first.c", 1);
    dwarf.BeginUnitWithCode("second.c");
    const uint64_t target = dwarf.Leaf(0x24, {AttrName("int")});
    const uint64_t absolute = dwarf.UnitStart() + target;
    const ktAttr references[] = {AttrNumber(0x49, 0x11, target, 1),   AttrNumber(0x49, 0x12, target, 2),
                                 AttrNumber(0x49, 0x13, target, 4),   AttrNumber(0x49, 0x14, target, 8),
                                 AttrNumber(0x49, 0x10, absolute, 4), AttrUleb(0x49, 0x15, absolute),
                                 AttrNumber(0x49, 0x06, absolute, 4), AttrNumber(0x49, 0x0F, absolute, 1)};
    for (const ktAttr &reference : references) dwarf.Leaf(0x34, {reference});
    ASSERT_LT(absolute, 0x80u);
    ASSERT_TRUE(Load());
    const ktCompUnit &unit = *Module().CompUnits()[1];
    ASSERT_EQ(unit.Variables().size(), std::size(references));
    for (const ktVariable *variable : unit.Variables()) EXPECT_EQ(variable->type.Object(), unit.Types()[0]);
}

} // namespace
