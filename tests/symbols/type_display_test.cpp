#include "symbols/type_display.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "app/cut_text.h"
#include "support/counting_reader.h"
#include "support/recording_lines.h"
#include "support/type_builder.h"

namespace {

using Lines = std::vector<std::string>;

constexpr int64_t lowest = std::numeric_limits<int64_t>::min();
constexpr int64_t highest = std::numeric_limits<int64_t>::max();

/// The bytes 01 02 03 and so on.
std::vector<uint8_t> Counted(size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i + 1);
    return bytes;
}

class TypeDisplay : public testing::Test {
protected:
    ~TypeDisplay() override { unit->Release(); }

    Lines Show(const ktType *type, DataReader *reader = nullptr) {
        ktRecordingLines output;
        ShowType(*type, reader, output);
        return output.lines;
    }
    /// The lines of a basic type of that size in front of those bytes.
    Lines ShowSized(uint64_t size, std::vector<uint8_t> bytes) {
        ktCountingReader reader(std::move(bytes));
        return Show(types.Basic("t", size), &reader);
    }
    std::string Describe(const ktType *type) {
        char buffer[512];
        ktCutText text(buffer);
        DescribeType(*type, text);
        return buffer;
    }
    /// A modified type that refers to itself.
    ktType *Circle(uint64_t flags) {
        ktModifiedType *type = types.Modified(flags, nullptr);
        types.Refer(type->target, type);
        return type;
    }

    ktSymbolFactory factory;
    ktCompUnit *unit = factory.CreateCompUnit();
    ktTypeBuilder types{factory, unit};
    ktType *character = types.Basic("char", 1);
    ktType *integer = types.Basic("int", 4);
};

TEST_F(TypeDisplay, BasicTypeShowsItsSize) {
    EXPECT_EQ(Show(integer), Lines{"Basic type int, size 0x0000000000000004"});
    EXPECT_EQ(Show(types.Basic("wide", 0xABCDEF0123456789)),
              Lines{"Basic type wide, size 0xABCDEF0123456789"});
}

TEST_F(TypeDisplay, ValueHasTwiceAsManyDigitsAsTheTypeHasBytes) {
    const auto bytes = Counted(32);
    EXPECT_EQ(ShowSized(4, bytes), (Lines{"Basic type t, size 0x0000000000000004", "04030201"}));
    EXPECT_EQ(ShowSized(1, bytes).at(1), "01");
    EXPECT_EQ(ShowSized(2, bytes).at(1), "0201");
    EXPECT_EQ(ShowSized(3, bytes).at(1), "030201");
    EXPECT_EQ(ShowSized(7, bytes).at(1), "07060504030201");
    EXPECT_EQ(ShowSized(8, bytes).at(1), "0807060504030201");
    EXPECT_EQ(ShowSized(4, {0xFF, 0xFE, 0xFD, 0xFC}).at(1), "fcfdfeff");
    EXPECT_EQ(ShowSized(8, std::vector<uint8_t>(8)).at(1), "0000000000000000");
}

TEST_F(TypeDisplay, TypeOfSize16PrintsAtMostTheFirst64Bits) {
    EXPECT_EQ(ShowSized(16, Counted(32)).at(1), "0000000000000000"
                                                "0807060504030201");
    EXPECT_EQ(ShowSized(10, Counted(32)).at(1), "0000"
                                                "0807060504030201");
}

TEST_F(TypeDisplay, TypeWithoutBytesReadsNothing) {
    EXPECT_EQ(ShowSized(0, {}), (Lines{"Basic type t, size 0x0000000000000000", "0"}));
}

TEST_F(TypeDisplay, FailedReadEndsBehindTheTypeLine) {
    EXPECT_EQ(ShowSized(4, Counted(3)).size(), 1u);
    EXPECT_EQ(ShowSized(16, Counted(15)).size(), 1u);
    EXPECT_EQ(ShowSized(1, {}).size(), 1u);
    EXPECT_EQ(ShowSized(4, Counted(4)).size(), 2u);
}

TEST_F(TypeDisplay, ValueLineIsCut) {
    const std::string value = "0807060504030201";
    EXPECT_EQ(ShowSized(255, Counted(255)).at(1), std::string(510 - 16, '0') + value);
    EXPECT_EQ(ShowSized(256, Counted(256)).at(1), std::string(512 - 16, '0') + value.substr(0, 15));
    EXPECT_EQ(ShowSized(0x10000, Counted(0x10000)).at(1), std::string(511, '0'));
}

TEST_F(TypeDisplay, ValuesOfAbsurdSizesAreNotRead) {
    for (const uint64_t size : {uint64_t(0x10001), uint64_t(1) << 32, (uint64_t(1) << 32) + 4,
                                uint64_t(1) << 63, (uint64_t(1) << 63) + 4, ~uint64_t(0)}) {
        ktCountingReader reader(Counted(8));
        reader.endless = true;
        EXPECT_EQ(Show(types.Basic("t", size), &reader).size(), 1u) << size;
        EXPECT_EQ(reader.largestRead, 0u) << size;
    }
}

TEST_F(TypeDisplay, ReaderShowsOnlyBasicTypes) {
    ktCountingReader reader(Counted(64));
    ktComplexType *complex = types.Complex("point", 4);
    types.Member(complex, "x", 0, integer);
    EXPECT_EQ(Show(complex, &reader).size(), 2u);
    EXPECT_EQ(Show(types.Alias("number", integer), &reader).size(), 1u);
    EXPECT_EQ(Show(types.Enum("e", 4, integer), &reader).size(), 1u);
    EXPECT_EQ(Show(types.Modified(ktModifierConst, integer), &reader).size(), 1u);
    EXPECT_EQ(reader.bytesRead, 0u);
}

TEST_F(TypeDisplay, ComplexTypeShowsItsMembers) {
    ktComplexType *node = types.Complex("node", 0x20);
    types.Member(node, "value", 0, integer);
    types.Member(node, "next", 8, types.Modified(ktModifierPointer, node));
    types.Member(node, "far", 0x123456789A, types.Alias("number", integer));
    const std::string pointerName = TypeOf(node->members[1]->type)->GetName();
    EXPECT_EQ(Show(node), (Lines{"Complex type node, size 0x0000000000000020", "+0x00000000: value : int",
                                 "+0x00000008: next : " + pointerName + " (pointer to node)",
                                 "+0x123456789A: far : number"}));
    EXPECT_EQ(pointerName.rfind("modt_", 0), 0u);
}

TEST_F(TypeDisplay, ArrayMemberShowsItsDescriptionInParentheses) {
    ktComplexType *complex = types.Complex("line", 0x10);
    types.Member(complex, "cells", 0, types.Array("cells_t", 16, integer, {{0, 3}}));
    EXPECT_EQ(Show(complex).at(1), "+0x00000000: cells : cells_t (array[3] of int)");
}

TEST_F(TypeDisplay, MembersWithoutATypePrintAnEmptyTypeName) {
    ktComplexType *complex = types.Complex("broken", 8);
    types.Member(complex, "none", 0, nullptr);
    types.Member(complex, "open", 4, nullptr)->type.SetOffset(0x1234);
    EXPECT_EQ(Show(complex), (Lines{"Complex type broken, size 0x0000000000000008",
                                    "+0x00000000: none : ", "+0x00000004: open : "}));
}

TEST_F(TypeDisplay, ComplexTypeWithoutMembersIsOneLine) {
    EXPECT_EQ(Show(types.Complex("empty", 0)), Lines{"Complex type empty, size 0x0000000000000000"});
}

TEST_F(TypeDisplay, ModifiedTypeShowsItsDescription) {
    EXPECT_EQ(Show(types.Modified(ktModifierPointer, types.Modified(ktModifierConst, character))),
              Lines{"Modified type, pointer to const char"});
    EXPECT_EQ(Show(types.Modified(ktModifierConst, nullptr)), Lines{"Modified type, const"});
}

TEST_F(TypeDisplay, AliasShowsTheNameOfItsTarget) {
    EXPECT_EQ(Show(types.Alias("number", integer)), Lines{"Alias type number for type int"});
    EXPECT_EQ(Show(types.Alias("nothing", nullptr)), Lines{"Alias type nothing for type "});
    ktAliasType *open = types.Alias("open", nullptr);
    open->target.SetOffset(1);
    EXPECT_EQ(Show(open), Lines{"Alias type open for type "});
    ktAliasType *self = types.Alias("self", nullptr);
    types.Refer(self->target, self);
    EXPECT_EQ(Show(self), Lines{"Alias type self for type self"});
}

TEST_F(TypeDisplay, EnumShowsItsMembers) {
    ktEnumType *type = types.Enum("colour", 4, integer);
    types.Enumerator(type, "red", 0);
    types.Enumerator(type, "blue", 5);
    types.Enumerator(type, "none", -1);
    types.Enumerator(type, "low", lowest);
    EXPECT_EQ(Show(type), (Lines{"Enum type colour, size 0x0000000000000004, type int", "red : 0", "blue : 5",
                                 "none : -1", "low : -9223372036854775808"}));
    EXPECT_EQ(Show(types.Enum("open", 1, nullptr)), Lines{"Enum type open, size 0x0000000000000001, type "});
}

TEST_F(TypeDisplay, FunctionTypeShowsReturnTypeAndArguments) {
    ktFuncType *type = types.Func("callback", integer);
    types.Arg(type, "count", integer);
    types.Arg(type, "text", types.Modified(ktModifierPointer, character));
    types.Arg(type, "gone", nullptr);
    types.Arg(type, "open", nullptr)->type.SetOffset(7);
    const std::string pointerName = TypeOf(type->args[1]->type)->GetName();
    EXPECT_EQ(Show(type), (Lines{"Function type callback, type int", "count : int",
                                 "text : " + pointerName + " (pointer to char)", "gone : ", "open : "}));
}

TEST_F(TypeDisplay, FunctionTypeDescribesModifiedAndArrayReturnTypes) {
    ktModifiedType *pointer = types.Modified(ktModifierPointer, nullptr);
    EXPECT_EQ(Show(types.Func("f", pointer)),
              Lines{std::string("Function type f, type ") + pointer->GetName() + " (pointer to void)"});
    EXPECT_EQ(Show(types.Func("g", types.Array("row", 8, integer, {}))),
              Lines{"Function type g, type row (array of int)"});
}

TEST_F(TypeDisplay, FunctionTypeWithoutAReturnTypeIsVoid) {
    EXPECT_EQ(Show(types.Func("f", nullptr)), Lines{"Function type f, type void"});
    ktFuncType *open = types.Func("g", nullptr);
    open->returnType.SetOffset(3);
    EXPECT_EQ(Show(open), Lines{"Function type g, type void"});
}

TEST_F(TypeDisplay, ArrayShowsItsRanges) {
    ktType *index = types.Basic("sizetype", 8);
    EXPECT_EQ(Show(types.Array("grid", 0x30, integer, {{0, 3}, {2, 2}, {-5, 0}}, index)),
              (Lines{"Array type grid, size 0x0000000000000030, type int", "Range [0,2] : sizetype",
                     "Range [2] : sizetype", "Range [-5,-1] : sizetype"}));
}

TEST_F(TypeDisplay, ArrayDescribesItsElementType) {
    ktType *row = types.Array("row", 8, integer, {{0, 1}});
    EXPECT_EQ(Show(types.Array("rows", 16, row, {})),
              Lines{"Array type rows, size 0x0000000000000010, type row (array[1] of int)"});
}

TEST_F(TypeDisplay, ArrayOfNothingPrintsEmptyNames) {
    EXPECT_EQ(Show(types.Array("a", 4, nullptr, {{0, 1}})),
              (Lines{"Array type a, size 0x0000000000000004, type ", "Range [0,0] : "}));
}

TEST_F(TypeDisplay, BoundsGoAroundTheEndsOfTheirRange) {
    EXPECT_EQ(Show(types.Array("a", 4, integer, {{0, lowest}})).at(1), "Range [0,9223372036854775807] : ");
    EXPECT_EQ(Describe(types.Array("b", 4, integer, {{1, lowest}})), "array[9223372036854775807] of int");
    EXPECT_EQ(Describe(types.Array("c", 4, integer, {{-1, highest}})), "array[-9223372036854775808] of int");
}

TEST_F(TypeDisplay, RangeTypeShowsItsIndexType) {
    EXPECT_EQ(Show(types.Range("span", integer)),
              Lines{"Range type span, size 0x0000000000000000, index type int"});
    EXPECT_EQ(Show(types.Range("open", nullptr)),
              Lines{"Range type open, size 0x0000000000000000, index type "});
}

TEST_F(TypeDisplay, MissingNamesAreNamedSo) {
    const ktBasicType nameless(1);
    EXPECT_EQ(Show(&nameless), Lines{"Basic type (null), size 0x0000000000000000"});
    EXPECT_EQ(Describe(&nameless), "(null)");
}

TEST_F(TypeDisplay, LongLinesAreCut) {
    const std::string name(1000, 'n');
    EXPECT_EQ(Show(types.Basic(name.c_str(), 4)), Lines{("Basic type " + name).substr(0, 511)});
    ktComplexType *complex = types.Complex("c", 1);
    types.Member(complex, name.c_str(), 0, types.Modified(ktModifierPointer, integer));
    EXPECT_EQ(Show(complex).at(1), ("+0x00000000: " + name).substr(0, 511));
    EXPECT_EQ(Show(types.Modified(ktModifierPointer, types.Basic(name.c_str(), 4))),
              Lines{("Modified type, pointer to " + name).substr(0, 511)});
}

TEST_F(TypeDisplay, PercentSignsInNamesArePrinted) {
    EXPECT_EQ(Show(types.Alias("a%s%n", types.Basic("%d%%", 1))), Lines{"Alias type a%s%n for type %d%%"});
}

TEST_F(TypeDisplay, DescriptionOfAPointerToConstChar) {
    EXPECT_EQ(Describe(types.Modified(ktModifierPointer, types.Modified(ktModifierConst, character))),
              "pointer to const char");
}

TEST_F(TypeDisplay, DescriptionOfAnArrayGivesTheDifferenceOfItsFirstBounds) {
    EXPECT_EQ(Describe(types.Array("a", 16, integer, {{0, 3}})), "array[3] of int");
    EXPECT_EQ(Describe(types.Array("b", 16, integer, {{2, 3}, {0, 9}})), "array[1] of int");
    EXPECT_EQ(Describe(types.Array("c", 16, integer, {{0, -1}})), "array[-1] of int");
    EXPECT_EQ(Describe(types.Array("d", 16, integer, {})), "array of int");
}

TEST_F(TypeDisplay, DescriptionEndsAtTypesWithANameOfTheirOwn) {
    ktType *const named[] = {integer, types.Complex("c", 1),
                             types.Alias("a", types.Modified(ktModifierPointer, integer)),
                             types.Enum("e", 4, integer), types.Func("f", integer)};
    for (ktType *type : named) {
        EXPECT_EQ(Describe(type), type->GetName());
        EXPECT_EQ(Describe(types.Modified(ktModifierReference, type)),
                  std::string("reference to ") + type->GetName());
    }
}

TEST_F(TypeDisplay, DescriptionHasOneWordForEachModifier) {
    EXPECT_EQ(Describe(types.Modified(ktModifierConst, integer)), "const int");
    EXPECT_EQ(Describe(types.Modified(ktModifierPointer, integer)), "pointer to int");
    EXPECT_EQ(Describe(types.Modified(ktModifierVolatile, integer)), "volatile int");
    EXPECT_EQ(Describe(types.Modified(ktModifierReference, integer)), "reference to int");
    EXPECT_EQ(Describe(types.Modified(ktModifierRestrict, integer)), "restrict int");
}

TEST_F(TypeDisplay, LaterModifiersOverrideEarlierOnes) {
    EXPECT_EQ(Describe(types.Modified(ktModifierConst | ktModifierPointer, integer)), "pointer to int");
    EXPECT_EQ(Describe(types.Modified(ktModifierPointer | ktModifierVolatile, nullptr)), "volatile");
    EXPECT_EQ(Describe(types.Modified(15, integer)), "reference to int");
    EXPECT_EQ(Describe(types.Modified(~uint64_t(0), integer)), "restrict int");
}

TEST_F(TypeDisplay, WithoutAModifierTheWordOfThePreviousStepIsRepeated) {
    ktType *plain = types.Modified(0, integer);
    EXPECT_EQ(Describe(types.Modified(ktModifierConst, plain)), "const const int");
    EXPECT_EQ(Describe(types.Modified(ktModifierPointer, types.Modified(32, nullptr))),
              "pointer to pointer to");
    EXPECT_EQ(Describe(types.Modified(ktModifierConst, types.Array("a", 4, plain, {}))),
              "const array of const int");
    EXPECT_EQ(Describe(plain), " int"); // there is no step before the first
}

TEST_F(TypeDisplay, DescriptionEndsWhereThereIsNoNextType) {
    EXPECT_EQ(Describe(types.Modified(ktModifierPointer, nullptr)), "pointer to void");
    EXPECT_EQ(Describe(types.Modified(ktModifierConst, nullptr)), "const");
    EXPECT_EQ(Describe(types.Modified(ktModifierPointer, types.Modified(ktModifierConst, nullptr))),
              "pointer to const");
    EXPECT_EQ(Describe(types.Array("a", 4, nullptr, {{0, 3}})), "array[3] of");
    ktModifiedType *open = types.Modified(ktModifierPointer, nullptr);
    open->target.SetOffset(9);
    EXPECT_EQ(Describe(open), "pointer to void");
}

TEST_F(TypeDisplay, DescriptionOfARangeTypeIsEmpty) {
    ktType *range = types.Range("r", integer);
    EXPECT_EQ(Describe(range), "");
    EXPECT_EQ(Describe(types.Modified(ktModifierPointer, range)), "pointer to");
}

TEST_F(TypeDisplay, ChainsThatComeBackToThemselvesEnd) {
    std::string expected;
    while (expected.size() < 511) expected += "pointer to ";
    EXPECT_EQ(Describe(Circle(ktModifierPointer)), expected.substr(0, 511));
    EXPECT_EQ(Describe(Circle(0)), std::string(511, ' '));
    ktArrayType *array = types.Array("a", 4, nullptr, {{0, 1}});
    types.Refer(array->elementType, types.Modified(ktModifierConst, array));
    EXPECT_EQ(Describe(array).substr(0, 40), "array[1] of const array[1] of const arra");
    EXPECT_EQ(Describe(array).size(), 511u);
}

TEST_F(TypeDisplay, CirclesInEveryPlaceGiveCutLines) {
    ktType *circle = Circle(ktModifierPointer);
    ktComplexType *complex = types.Complex("c", 1);
    types.Member(complex, "m", 0, circle);
    ktFuncType *function = types.Func("f", circle);
    types.Arg(function, "a", circle);
    ktArrayType *array = types.Array("a", 1, nullptr, {});
    types.Refer(array->elementType, array);
    EXPECT_EQ(Show(circle).at(0).size(), 511u);
    EXPECT_EQ(Show(complex).at(1).size(), 511u);
    EXPECT_EQ(Show(function).at(0).size(), 511u);
    EXPECT_EQ(Show(function).at(1).size(), 511u);
    EXPECT_EQ(Show(array).at(0).size(), 511u);
}

TEST_F(TypeDisplay, LongChainsOfTypesEnd) {
    ktType *last = integer;
    for (int i = 0; i < 100000; ++i) last = types.Modified(0, last);
    EXPECT_EQ(Describe(last), std::string(511, ' '));
}

} // namespace
