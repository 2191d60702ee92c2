#include "symbols/type_cmd.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/command_session.h"
#include "support/session_rig.h"
#include "support/type_builder.h"

namespace {

using Lines = std::vector<std::string>;

class DtCmd : public testing::Test {
protected:
    /// Modules `m` and `other`; `m` has units `u` and `v`.
    void AddSymbols() {
        ktModule *module = target.builder.AddModule("m", 0x100000, 0x10000);
        ktCompUnit *first = target.builder.AddUnit(module, "u");
        ktTypeBuilder types(target.builder.factory, first);
        types.Basic("int", 4);
        types.Basic("name", 1);
        types.Basic("name", 2); // becomes name_1
        types.Basic("wide", 16);
        anonymous = types.Complex(nullptr, 8)->GetName();
        target.builder.AddType(target.builder.AddUnit(module, "v"), "int");
        target.builder.Publish(*target.space, module);
        ktModule *other = target.builder.AddModule("other", 0x200000, 0x1000);
        target.builder.AddType(target.builder.AddUnit(other, "w"), "single");
        target.builder.Publish(*target.space, other);
    }
    const Lines &Output() const { return target.output.lines; }

    ktCommandSession target;
    ktDtCmd dt;
    std::string anonymous;
};

TEST_F(DtCmd, NoSpaceListIsStatus8) {
    target.session.spaces.reset();
    EXPECT_EQ(target.Run(dt, {"m!u#int"}), ktCmdNoSpaces);
    dt.SetCmdContext({});
    EXPECT_EQ(dt.Execute(nullptr, 0), ktCmdNoSpaces);
}

TEST_F(DtCmd, UnknownTypesAreStatus11) {
    EXPECT_EQ(target.Run(dt, {"*!*#*"}), ktCmdNoType);
    AddSymbols();
    for (const char *name : {"m!u#long", "m!x#int", "x!u#int", "m!u#INT", "m!u#in"})
        EXPECT_EQ(target.Run(dt, {name}), ktCmdNoType) << name;
    EXPECT_TRUE(Output().empty());
}

TEST_F(DtCmd, EverySeparatorIsNeeded) {
    AddSymbols();
    for (const char *name : {"int", "m#int", "m!u", "m!u|int"})
        EXPECT_EQ(target.Run(dt, {name}), ktCmdNoType) << name;
}

TEST_F(DtCmd, NoCurrentSpaceAndNoTextFindNothing) {
    AddSymbols();
    ktCmdArg released[1] = {{ktArgTypeLocation, nullptr, 0, nullptr}};
    target.Run(dt, {"m!u#int"});
    EXPECT_EQ(dt.Execute(released, 1), ktCmdNoType);
    EXPECT_EQ(dt.Execute(nullptr, 0), ktCmdNoType);
    target.session.spaces->SetCurrent(nullptr);
    EXPECT_EQ(target.Run(dt, {"m!u#int"}), ktCmdNoType);
}

TEST_F(DtCmd, OneResultIsShown) {
    AddSymbols();
    EXPECT_EQ(target.Run(dt, {"m!u#int"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{"Basic type int, size 0x0000000000000004"});
    EXPECT_EQ(target.Run(dt, {"other!*#*"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{"Basic type single, size 0x0000000000000000"});
}

TEST_F(DtCmd, OnlyTheExactNameMatches) {
    AddSymbols();
    EXPECT_EQ(target.Run(dt, {"m!u#name"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{"Basic type name, size 0x0000000000000001"});
    EXPECT_EQ(target.Run(dt, {"m!u#name_1"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{"Basic type name_1, size 0x0000000000000002"});
}

TEST_F(DtCmd, AnonymousTypeIsFoundByItsDefaultName) {
    AddSymbols();
    EXPECT_EQ(anonymous.rfind("cplx_", 0), 0u);
    EXPECT_EQ(target.Run(dt, {"m!u#" + anonymous}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{"Complex type " + anonymous + ", size 0x0000000000000008"});
}

TEST_F(DtCmd, SeveralResultsAreListedAsLocations) {
    AddSymbols();
    EXPECT_EQ(target.Run(dt, {"m!*#int"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Multiple results:", "m!u#int", "m!v#int"}));
}

TEST_F(DtCmd, SeveralResultsShowNoValue) {
    AddSymbols();
    target.Write(0x1000, {1, 2, 3, 4});
    EXPECT_EQ(target.Run(dt, {"m!*#int", "0x1000"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Multiple results:", "m!u#int", "m!v#int"}));
}

TEST_F(DtCmd, AddressShowsTheValueBehindTheType) {
    AddSymbols();
    target.Write(0x1000, {0x78, 0x56, 0x34, 0x12});
    EXPECT_EQ(target.Run(dt, {"m!u#int", "0x1000"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Basic type int, size 0x0000000000000004", "12345678"}));
    EXPECT_EQ(target.Run(dt, {"m!u#name_1", "1002"}), ktCmdOk);
    EXPECT_EQ(Output(), (Lines{"Basic type name_1, size 0x0000000000000002", "1234"}));
}

TEST_F(DtCmd, TypeOfSize16ShowsTheFirst64Bits) {
    AddSymbols();
    target.Write(0x1000, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
    EXPECT_EQ(target.Run(dt, {"m!u#wide", "1000"}), ktCmdOk);
    EXPECT_EQ(Output(),
              (Lines{"Basic type wide, size 0x0000000000000010", "00000000000000000807060504030201"}));
}

TEST_F(DtCmd, UnreadableAddressShowsTheTypeAlone) {
    AddSymbols();
    target.Write(0x1000, {1});
    for (const char *address : {"5000", "1ffe", "ffffffffffffffff", "0"}) {
        EXPECT_EQ(target.Run(dt, {"m!u#int", address}), ktCmdOk) << address;
        EXPECT_EQ(Output(), Lines{"Basic type int, size 0x0000000000000004"}) << address;
    }
}

TEST_F(DtCmd, ReaderOfTheSpaceStaysWhereItIs) {
    AddSymbols();
    target.Write(0x1000, {1, 2, 3, 4});
    target.space->Reader().Seek(0x77); // another command may be reading through it
    EXPECT_EQ(target.Run(dt, {"m!u#int", "1000"}), ktCmdOk);
    EXPECT_EQ(target.space->Reader().GetPosition(), 0x77u);
}

TEST(DtCmdOnATarget, ValueComesFromTheTarget) {
    ktSessionRig rig;
    rig.target.Poke(0x700020, {0x11, 0x22, 0x33, 0x44});
    ASSERT_TRUE(rig.ConnectQuietly());
    ktSymbolBuilder builder;
    ktModule *module = builder.AddModule("m", 0x700000, 0x1000);
    ktTypeBuilder(builder.factory, builder.AddUnit(module, "u")).Basic("int", 4);
    builder.Publish(*rig.Current(), module);
    ktDtCmd dt;
    ktCmdContext context;
    context.session = &rig.session;
    context.output = &rig.output;
    dt.SetCmdContext(context);
    std::string name = "m!u#int";
    ktCmdArg args[2] = {{ktArgTypeLocation, name.data(), 0, nullptr},
                        {ktArgAddress, nullptr, 0x700020, nullptr}};
    rig.output.lines.clear();
    EXPECT_EQ(dt.Execute(args, 2), ktCmdOk);
    EXPECT_EQ(rig.output.lines, (Lines{"Basic type int, size 0x0000000000000004", "44332211"}));
}

} // namespace
