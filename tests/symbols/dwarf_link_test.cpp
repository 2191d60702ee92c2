#include "symbols/dwarf/unit_linker.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "support/dwarf_fixture.h"

namespace {

class DwarfLink : public testing::Test, protected ktDwarfFixture {
protected:
    /// A function with code of its own.
    ktDwarfBuilder::Attrs Code(const std::string &name, uint64_t address) {
        return {AttrName(name), AttrAddr(0x11, address), AttrData1(0x12, 0x10)};
    }
    bool EndAndLoad() {
        dwarf.End();
        return Load();
    }
    /// Puts a reference of four bytes, `at` bytes into an entry, once its target is known.
    void PutRef(uint64_t entry, size_t at, uint64_t target) {
        dwarf.PutInfo(dwarf.UnitStart() + entry + at, target, 4);
    }
    ktVariable *Variable(const std::string &name) {
        for (ktVariable *variable : Unit()->Variables()) {
            if (name == variable->name.Get()) return variable;
        }
        ADD_FAILURE() << name;
        return nullptr;
    }
};

TEST_F(DwarfLink, NestedFunctionsStandAheadOfTheFunctionThatHoldsThem) {
    dwarf.BeginUnitWithCode("u");
    dwarf.Parent(0x2E, Code("outer", 0x1000));
    dwarf.Parent(0x1D, Code("a", 0x1001));
    dwarf.Leaf(0x1D, Code("aa", 0x1002));
    dwarf.Leaf(0x2E, Code("ab", 0x1003));
    dwarf.End();
    dwarf.Leaf(0x2E, Code("b", 0x1004));
    dwarf.End();
    dwarf.Leaf(0x2E, Code("last", 0x2000));
    ASSERT_TRUE(EndAndLoad());
    EXPECT_EQ(FunctionNames(), "aa ab a b outer last");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfLink, AnInlinedCallIsNamedByItsNumberWhateverItsOriginIsCalled) {
    dwarf.BeginUnitWithCode("u");                                    // 2
    const uint64_t origin = dwarf.Leaf(0x2E, {AttrName("inlined")}); // 3
    dwarf.Parent(0x2E, Code("caller", 0x1000));                      // 4
    dwarf.Leaf(0x1D, {AttrRef(0x31, origin), AttrData1(0x12, 4)});   // 5
    dwarf.Leaf(0x1D, {AttrRef(0x31, origin), AttrData1(0x12, 4), AttrName("own")});
    dwarf.End();
    ASSERT_TRUE(EndAndLoad());
    EXPECT_EQ(FunctionNames(), "fn_5 own caller");
    const auto *inlined = static_cast<ktInlinedFunction *>(Unit()->Functions()[0]);
    ASSERT_TRUE(inlined->IsInlined());
    ASSERT_TRUE(inlined->origin.Object());
    ASSERT_EQ(inlined->origin.Object()->GetKind(), ktObject::kindFunction);
    EXPECT_STREQ(static_cast<ktFunction *>(inlined->origin.Object())->name.Get(), "inlined");
}

TEST_F(DwarfLink, ADeclarationWithoutCodeIsNotAmongTheFunctionsButItsNestedOnesAre) {
    dwarf.BeginUnitWithCode("u");
    dwarf.Parent(0x2E, {AttrName("declared"), AttrAddr(0x11, 0x1000), AttrData1(0x3C, 1)});
    dwarf.Leaf(0x2E, Code("nested", 0x1000));
    dwarf.End();
    ASSERT_TRUE(EndAndLoad());
    EXPECT_EQ(FunctionNames(), "nested");
}

TEST_F(DwarfLink, AFunctionOfNoBytesIsAmongTheFunctions) {
    dwarf.BeginUnitWithCode("u");
    dwarf.Leaf(0x2E, {AttrName("empty"), AttrAddr(0x11, 0x1000), AttrData1(0x12, 0)});
    ASSERT_TRUE(EndAndLoad());
    EXPECT_EQ(FunctionNames(), "empty");
}

TEST_F(DwarfLink, FunctionsOwnTheirArgumentsAndLocals) {
    dwarf.BeginUnitWithCode("u");
    const uint64_t type = dwarf.Leaf(0x24, {AttrName("int")});
    dwarf.Parent(0x2E, Code("f", 0x1000));
    dwarf.Leaf(0x05, {AttrName("a"), AttrType(type)});
    dwarf.Leaf(0x34, {AttrName("x"), AttrType(type)});
    dwarf.Leaf(0x05, {AttrName("b")});
    dwarf.Leaf(0x34, {AttrName("x")});
    dwarf.Leaf(0x13, {AttrName("ignored")});
    dwarf.End();
    ASSERT_TRUE(EndAndLoad());
    const ktFunction &function = *Unit()->Functions()[0];
    EXPECT_EQ(Names(function.args), "a b");
    EXPECT_EQ(Names(function.locals), "x x");
    EXPECT_EQ(function.args[0]->type.Object(), Unit()->Types()[0]);
    EXPECT_EQ(function.locals[0]->type.Object(), Unit()->Types()[0]);
    EXPECT_TRUE(function.args[1]->type.IsNone());
    EXPECT_EQ(TypeNames(), "int");
    EXPECT_TRUE(Unit()->Variables().empty());
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfLink, WhatALexicalBlockHoldsIsDropped) {
    dwarf.BeginUnitWithCode("u");
    dwarf.Parent(0x2E, Code("f", 0x1000));
    dwarf.Parent(0x0B, {});
    dwarf.Leaf(0x34, {AttrName("hidden")});
    dwarf.Leaf(0x1D, Code("hidden call", 0x1004));
    dwarf.Leaf(0x0D, {});
    dwarf.End();
    dwarf.Leaf(0x34, {AttrName("seen")});
    dwarf.End();
    ASSERT_TRUE(EndAndLoad());
    EXPECT_EQ(FunctionNames(), "f");
    EXPECT_EQ(Names(Unit()->Functions()[0]->locals), "seen");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfLink, WhatANamespaceHoldsIsNotInTheUnitButCanBeReferredTo) {
    dwarf.BeginUnitWithCode("u");
    dwarf.Parent(0x39, {AttrName("space")});
    const uint64_t inside = dwarf.Parent(0x13, {AttrName("inside"), AttrData1(0x0B, 24)});
    dwarf.Leaf(0x0D, {AttrName("m")});
    dwarf.End();
    dwarf.Leaf(0x2E, Code("f", 0x1000));
    dwarf.Leaf(0x34, {AttrName("hidden")});
    dwarf.End();
    dwarf.Leaf(0x34, {AttrName("v"), AttrType(inside)});
    ASSERT_TRUE(EndAndLoad());
    EXPECT_EQ(Describe(*Unit()), "u[400100+100] types: ; variables: v");
    ktType *type = TypeOf(Variable("v")->type);
    ASSERT_TRUE(type);
    EXPECT_STREQ(type->GetName(), "inside");
    EXPECT_EQ(type->GetSize(), 24u);
    EXPECT_TRUE(static_cast<ktComplexType *>(type)->members.empty()); // nobody has linked it
}

TEST_F(DwarfLink, OtherChildrenOfTheUnitAreIgnoredWithoutAWord) {
    dwarf.BeginUnitWithCode("u");
    for (const uint64_t tag : ktCodes{0x05, 0x0D, 0x28, 0x3A, 0x0B}) dwarf.Leaf(tag, {});
    ASSERT_TRUE(EndAndLoad());
    EXPECT_EQ(Describe(*Unit()), "u[400100+100] types: ; variables: ");
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfLink, EachContainerTellsTheKindsThatItCannotHold) {
    struct Case {
        uint64_t tag;
        Lines told; // for children of all kinds
    };
    const auto invalid = [](std::initializer_list<int> kinds) {
        Lines lines{"Detached compilation unit"};
        for (const int kind : kinds) lines.push_back("Invalid object type " + std::to_string(kind));
        return lines;
    };
    // The children: unit 0, functions 1, argument 2, types 3, member 4, enumerator 5, variable 7, nothing.
    const Case cases[] = {{0x2E, invalid({0, 4, 5})},
                          {0x1D, invalid({0, 4, 5})},
                          {0x13, invalid({0, 2, 5, 7})},
                          {0x17, invalid({0, 2, 5, 7})},
                          {0x04, invalid({0, 1, 1, 2, 3, 3, 4, 7})},
                          {0x15, invalid({0, 1, 1, 3, 3, 4, 5, 7})},
                          {0x01, invalid({})},
                          {0x24, invalid({})},
                          {0x0F, invalid({})},
                          {0x16, invalid({})},
                          {0x21, invalid({})}};
    for (const Case &one : cases) {
        dwarf = ktDwarfBuilder();
        log.Clear();
        dwarf.BeginUnitWithCode("u");
        dwarf.Parent(one.tag, {});
        for (const uint64_t tag : ktCodes{0x11, 0x2E, 0x1D, 0x05, 0x24, 0x21, 0x0D, 0x28, 0x34, 0x0B})
            dwarf.Leaf(tag, {});
        dwarf.End();
        ASSERT_TRUE(EndAndLoad());
        EXPECT_EQ(log.lines, one.told) << Hex(one.tag);
    }
}

TEST_F(DwarfLink, AStructHoldsItsMembersOnly) {
    dwarf.BeginUnitWithCode("u");
    const uint64_t self = dwarf.Here();
    dwarf.Parent(0x13, {AttrName("s"), AttrData1(0x0B, 16)});
    dwarf.Leaf(0x0D, {AttrName("next"), AttrType(self)});
    dwarf.Leaf(0x13, {AttrName("nested")});
    dwarf.Leaf(0x2E, Code("method", 0x1000));
    const uint64_t nested = dwarf.Leaf(0x24, {AttrName("nested int"), AttrData1(0x0B, 4)});
    dwarf.Leaf(0x0D, {AttrName("value"), AttrType(nested)});
    dwarf.End();
    ASSERT_TRUE(EndAndLoad());
    EXPECT_EQ(Describe(*Unit()), "u[400100+100] types: s; variables: ");
    const auto &members = Type<ktComplexType>("s")->members;
    ASSERT_EQ(Names(members), "next value");
    EXPECT_EQ(members[0]->type.Object(), Unit()->Types()[0]);
    ASSERT_TRUE(TypeOf(members[1]->type));
    EXPECT_STREQ(TypeOf(members[1]->type)->GetName(), "nested int"); // alive though no container owns it
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfLink, AFunctionTypeHoldsItsArgumentsAndReturnType) {
    dwarf.BeginUnitWithCode("u");
    const uint64_t type = dwarf.Leaf(0x24, {AttrName("int")});
    dwarf.Parent(0x15, {AttrName("callback"), AttrType(type)});
    dwarf.Leaf(0x05, {AttrName("a"), AttrType(type)});
    dwarf.Leaf(0x05, {AttrName("b")});
    dwarf.End();
    ASSERT_TRUE(EndAndLoad());
    const auto *function = Type<ktFuncType>("callback");
    EXPECT_EQ(function->returnType.Object(), Unit()->Types()[0]);
    ASSERT_EQ(Names(function->args), "a b");
    EXPECT_EQ(function->args[0]->type.Object(), Unit()->Types()[0]);
}

TEST_F(DwarfLink, AnArrayHoldsItsRanges) {
    dwarf.BeginUnitWithCode("u");
    const uint64_t type = dwarf.Leaf(0x24, {AttrName("int")});
    dwarf.Parent(0x01, {AttrName("a"), AttrType(type)});
    dwarf.Leaf(0x21, {AttrName("r"), AttrType(type), AttrData1(0x22, 1), AttrData1(0x2F, 9)});
    dwarf.Leaf(0x04, {AttrName("not a range")});
    dwarf.Leaf(0x21, {AttrName("q")});
    dwarf.End();
    ASSERT_TRUE(EndAndLoad());
    const auto *array = Type<ktArrayType>("a");
    EXPECT_EQ(array->elementType.Object(), Unit()->Types()[0]);
    ASSERT_EQ(Names(array->ranges), "r q");
    EXPECT_EQ(array->ranges[0]->indexType.Object(), Unit()->Types()[0]);
    EXPECT_EQ(array->ranges[0]->lower, 1);
    EXPECT_EQ(array->ranges[0]->upper, 9);
}

TEST_F(DwarfLink, ChainsOfTypesResolveToTheirEndWhereverTheyStand) {
    dwarf.BeginUnitWithCode("u");
    const uint64_t variable = dwarf.Leaf(0x34, {AttrType(0), AttrName("v")});
    dwarf.Parent(0x39, {}); // nobody links what stands in here
    const uint64_t type = dwarf.Leaf(0x24, {AttrName("int"), AttrData1(0x0B, 4)});
    const uint64_t enumeration = dwarf.Leaf(0x04, {AttrType(type), AttrName("enum")});
    const uint64_t constant = dwarf.Leaf(0x26, {AttrType(enumeration)});
    const uint64_t alias = dwarf.Leaf(0x16, {AttrType(constant), AttrName("alias")});
    const uint64_t function = dwarf.Leaf(0x15, {AttrType(alias)});
    const uint64_t pointer = dwarf.Leaf(0x0F, {AttrType(function)});
    dwarf.End();
    PutRef(variable, 1, pointer);
    ASSERT_TRUE(EndAndLoad());
    std::string kinds;
    const ktType *link = TypeOf(Variable("v")->type);
    const auto next = [&kinds](const ktTypeRef &reference) {
        ktType *found = TypeOf(reference);
        if (found) kinds += std::to_string(found->GetTypeKind());
        return found;
    };
    ASSERT_TRUE(link);
    link = next(static_cast<const ktModifiedType *>(link)->target);
    ASSERT_TRUE(link);
    link = next(static_cast<const ktFuncType *>(link)->returnType);
    ASSERT_TRUE(link);
    link = next(static_cast<const ktAliasType *>(link)->target);
    ASSERT_TRUE(link);
    link = next(static_cast<const ktModifiedType *>(link)->target);
    ASSERT_TRUE(link);
    link = next(static_cast<const ktEnumType *>(link)->underlying);
    EXPECT_EQ(kinds, "53240");
}

TEST_F(DwarfLink, AChainStopsAtTypesOfOtherKinds) {
    dwarf.BeginUnitWithCode("u");
    dwarf.Parent(0x39, {});
    const uint64_t type = dwarf.Leaf(0x24, {AttrName("int")});
    const uint64_t array = dwarf.Leaf(0x01, {AttrType(type)});
    const uint64_t alias = dwarf.Leaf(0x16, {AttrType(array)});
    dwarf.End();
    dwarf.Leaf(0x34, {AttrName("v"), AttrType(alias)});
    ASSERT_TRUE(EndAndLoad());
    const ktType *found = TypeOf(Variable("v")->type);
    ASSERT_TRUE(found);
    found = TypeOf(static_cast<const ktAliasType *>(found)->target);
    ASSERT_TRUE(found && found->GetTypeKind() == ktType::typeArray);
    EXPECT_TRUE(static_cast<const ktArrayType *>(found)->elementType.IsUnresolved());
}

TEST_F(DwarfLink, ReferencesToOtherPlacesStayUnresolved) {
    dwarf.BeginUnitWithCode("u");
    const uint64_t type = dwarf.Leaf(0x24, {AttrName("int"), AttrData1(0x0B, 4)});
    const uint64_t variable = dwarf.Leaf(0x34, {AttrName("inside"), AttrType(type + 1)});
    dwarf.Leaf(0x34, {AttrName("header"), AttrType(1)});
    dwarf.Leaf(0x34, {AttrName("beyond"), AttrNumber(0x49, 0x06, 0xFFFFFFFF, 4)});
    dwarf.Leaf(0x34, {AttrName("far"), AttrData8(0x49, ~uint64_t(0))});
    dwarf.Leaf(0x34, {AttrName("variable"), AttrType(variable)}); // no type
    dwarf.Leaf(0x34, {AttrName("top"), AttrType(11)});            // the unit's own entry
    dwarf.Leaf(0x34, {AttrName("zero"), AttrNumber(0x49, 0x06, 0, 4)});
    dwarf.Leaf(0x34, {AttrName("none")});
    ASSERT_TRUE(EndAndLoad());
    for (const char *name : {"inside", "header", "beyond", "far", "variable", "top", "zero"}) {
        EXPECT_TRUE(Variable(name)->type.IsUnresolved()) << name;
        EXPECT_FALSE(TypeOf(Variable(name)->type)) << name;
    }
    EXPECT_TRUE(Variable("none")->type.IsNone());
    EXPECT_TRUE(log.lines.empty());
}

TEST_F(DwarfLink, AReferenceIntoAnotherUnitStaysUnresolved) {
    dwarf.BeginUnitWithCode("first.c", 1);
    const uint64_t type = dwarf.UnitStart() + dwarf.Leaf(0x24, {AttrName("int")});
    dwarf.End();
    dwarf.BeginUnitWithCode("second.c");
    dwarf.Leaf(0x34, {AttrName("v"), AttrNumber(0x49, 0x10, type, 4)});
    dwarf.Leaf(0x2E, {AttrName("f"), AttrData1(0x12, 1), AttrNumber(0x49, 0x10, type, 4)});
    ASSERT_TRUE(EndAndLoad());
    const ktCompUnit &unit = *Module().CompUnits()[1];
    EXPECT_TRUE(unit.Variables()[0]->type.IsUnresolved());
    EXPECT_EQ(unit.Variables()[0]->type.Offset(), type);
    EXPECT_TRUE(unit.Functions()[0]->returnType.IsUnresolved());
}

TEST_F(DwarfLink, AFunctionsReturnTypeAcceptsAnyObject) {
    dwarf.BeginUnitWithCode("u");
    const uint64_t variable = dwarf.Leaf(0x34, {AttrName("v")});
    const uint64_t top = 11; // the unit's own entry stands behind its header
    const uint64_t self = dwarf.Here();
    dwarf.Leaf(0x2E, {AttrName("self"), AttrData1(0x12, 1), AttrType(self)});
    dwarf.Leaf(0x2E, {AttrName("to variable"), AttrData1(0x12, 1), AttrType(variable)});
    dwarf.Leaf(0x2E, {AttrName("to unit"), AttrData1(0x12, 1), AttrType(top)});
    const uint64_t block = dwarf.Leaf(0x0B, {});
    dwarf.Leaf(0x2E, {AttrName("to nothing"), AttrData1(0x12, 1), AttrType(block)});
    dwarf.Leaf(0x1D, {AttrName("origin"), AttrData1(0x12, 1), AttrRef(0x31, variable)});
    ASSERT_TRUE(EndAndLoad());
    ASSERT_EQ(FunctionNames(), "self to variable to unit to nothing origin");
    const auto &functions = Unit()->Functions();
    EXPECT_EQ(functions[0]->returnType.Object(), functions[0]);
    EXPECT_EQ(functions[1]->returnType.Object(), Unit()->Variables()[0]);
    EXPECT_EQ(functions[2]->returnType.Object(), Unit());
    EXPECT_TRUE(functions[3]->returnType.IsUnresolved());
    EXPECT_EQ(static_cast<ktInlinedFunction *>(functions[4])->origin.Object(), Unit()->Variables()[0]);
    EXPECT_FALSE(TypeOf(functions[0]->returnType)); // which is no type to those that want one
}

TEST_F(DwarfLink, AFunctionsReturnTypeIsLookedUpDirectlyWithoutTheChainBehindIt) {
    dwarf.BeginUnitWithCode("u");
    dwarf.Parent(0x39, {});
    const uint64_t type = dwarf.Leaf(0x24, {AttrName("int")});
    const uint64_t alias = dwarf.Leaf(0x16, {AttrType(type)});
    dwarf.End();
    dwarf.Leaf(0x2E, {AttrName("f"), AttrData1(0x12, 1), AttrType(alias)});
    ASSERT_TRUE(EndAndLoad());
    const ktType *found = TypeOf(Unit()->Functions()[0]->returnType);
    ASSERT_TRUE(found);
    EXPECT_TRUE(static_cast<const ktAliasType *>(found)->target.IsUnresolved());
}

TEST_F(DwarfLink, AnOriginWithoutCodeHasItsArgumentsAndReturnTypeWhereverItStands) {
    for (const bool isBefore : {true, false}) {
        dwarf = ktDwarfBuilder();
        dwarf.BeginUnitWithCode("u");
        const uint64_t type = dwarf.Leaf(0x24, {AttrName("int")});
        uint64_t origin = 0;
        const auto addOrigin = [&] {
            origin = dwarf.Parent(0x2E, {AttrName("origin"), AttrType(type)});
            dwarf.Leaf(0x05, {AttrName("a"), AttrType(type)});
            dwarf.Leaf(0x34, {AttrName("l")});
            dwarf.End();
        };
        if (isBefore) addOrigin();
        const uint64_t call = dwarf.Leaf(0x1D, {AttrRef(0x31, origin), AttrData1(0x12, 1), AttrName("call")});
        if (!isBefore) addOrigin();
        PutRef(call, 1, origin);
        ASSERT_TRUE(EndAndLoad());
        ASSERT_EQ(FunctionNames(), "call");
        const auto *inlined = static_cast<ktInlinedFunction *>(Unit()->Functions()[0]);
        const auto *found = static_cast<ktFunction *>(inlined->origin.Object());
        ASSERT_TRUE(found);
        EXPECT_EQ(Names(found->args), "a");
        EXPECT_EQ(Names(found->locals), "l");
        EXPECT_EQ(found->returnType.Object(), Unit()->Types()[0]);
        EXPECT_EQ(found->args[0]->type.Object(), Unit()->Types()[0]);
    }
}

TEST_F(DwarfLink, FunctionsWithoutCodeThatReferToEachOtherAreAllLinked) {
    // Each returns the one before it; only the last is referred to by a function with code.
    dwarf.BeginUnitWithCode("u");
    uint64_t before = dwarf.Parent(0x2E, {AttrName("first")});
    dwarf.Leaf(0x05, {AttrName("a")});
    dwarf.End();
    for (int i = 0; i < 200'000; ++i) before = dwarf.Leaf(0x2E, {AttrType(before)});
    dwarf.Leaf(0x2E, {AttrName("f"), AttrData1(0x12, 1), AttrType(before)});
    ASSERT_TRUE(EndAndLoad());
    const ktFunction *function = Unit()->Functions()[0];
    size_t steps = 0;
    for (; function->returnType.Object(); ++steps)
        function = static_cast<ktFunction *>(function->returnType.Object());
    EXPECT_EQ(steps, 200'001u);
    EXPECT_EQ(Names(function->args), "a");
}

TEST_F(DwarfLink, CirclesOfTypesResolveAndEnd) {
    dwarf.BeginUnitWithCode("u");
    const uint64_t a = dwarf.Leaf(0x0F, {AttrType(0)});
    const uint64_t b = dwarf.Leaf(0x16, {AttrType(a), AttrName("b")});
    PutRef(a, 1, b);
    const uint64_t own = dwarf.Leaf(0x26, {AttrType(0), AttrName("own")});
    PutRef(own, 1, own);
    dwarf.Leaf(0x34, {AttrName("v"), AttrType(b)});
    ASSERT_TRUE(EndAndLoad());
    const auto &types = Unit()->Types();
    EXPECT_EQ(static_cast<ktModifiedType *>(types[0])->target.Object(), types[1]);
    EXPECT_EQ(static_cast<ktAliasType *>(types[1])->target.Object(), types[0]);
    EXPECT_EQ(static_cast<ktModifiedType *>(types[2])->target.Object(), types[2]);
    EXPECT_EQ(types[1]->GetSize(), 0u);
    EXPECT_EQ(types[2]->GetSize(), 0u);
}

TEST_F(DwarfLink, NamesOfFunctionsAndTypesAreMadeUniqueAndThoseOfVariablesNot) {
    dwarf.BeginUnitWithCode("u");
    for (uint64_t i = 0; i < 3; ++i) {
        dwarf.Leaf(0x2E, Code("f", 0x1000 * i));
        dwarf.Leaf(0x24, {AttrName("t")});
        dwarf.Leaf(0x34, {AttrName("v")});
    }
    dwarf.Leaf(0x2E, Code("f_1", 0x8000));
    ASSERT_TRUE(EndAndLoad());
    EXPECT_EQ(FunctionNames(), "f f_1 f_2 f_1_1");
    EXPECT_EQ(TypeNames(), "t t_1 t_2");
    EXPECT_EQ(Names(Unit()->Variables()), "v v v");
}

TEST_F(DwarfLink, FunctionsAddTheirRangesToThoseOfTheUnit) {
    dwarf.BeginUnit();
    dwarf.Parent(0x11, {AttrName("u")});
    dwarf.Leaf(0x2E, Code("f", 0x1000));
    dwarf.Leaf(0x2E, Code("g", 0x1010));
    dwarf.Leaf(0x2E, Code("h", 0x2000));
    ASSERT_TRUE(EndAndLoad());
    EXPECT_EQ(Describe(Unit()->ranges), "1000+20,2000+10");
}

} // namespace
