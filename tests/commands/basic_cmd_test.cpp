#include "commands/basic_cmd.h"

#include "commands/cmd_line.h"

#include <gtest/gtest.h>

namespace {

struct NamedCmd : ktBasicCmd {
    using ktBasicCmd::ktBasicCmd;
    void SetCmdContext(const ktCmdContext &) override {}
    void GetCmdContext(ktCmdContext *) override {}
    uint32_t Execute(ktCmdArg *, uint32_t) override { return ktCmdOk; }
};

TEST(BasicCmd, TakesEverythingFromTheTables) {
    NamedCmd command("lmf");
    EXPECT_STREQ(command.GetName(), "lmf");
    EXPECT_STREQ(command.GetSummary(), "lmf - load module from file");
    EXPECT_STREQ(command.GetHelpLine(4), "   elf - DWARFv4, DWARFv5 or ELF symbols");
    EXPECT_EQ(command.GetHelpLine(5), nullptr);
    EXPECT_EQ(command.GetHelpLine(UINT32_MAX), nullptr);
    EXPECT_EQ(command.GetMinArgs(), 1u);
    EXPECT_EQ(command.GetMaxArgs(), 2u);
    EXPECT_EQ(command.GetArgType(0), ktArgPath);
    EXPECT_EQ(command.GetArgType(1), ktArgHex);
    EXPECT_EQ(command.GetArgType(2), ktArgNone);
    EXPECT_FALSE(command.IsSynchronous());
    EXPECT_FALSE(command.IsHidden());
    EXPECT_FALSE(command.Cancel());
}

TEST(BasicCmd, ANameInNoTableDeclaresNothing) {
    NamedCmd command("nosuch");
    EXPECT_STREQ(command.GetName(), "");
    EXPECT_STREQ(command.GetSummary(), "");
    EXPECT_EQ(command.GetHelpLine(0), nullptr);
    EXPECT_EQ(command.GetArgType(0), ktArgNone);
}

struct SessionOutputCmd : ktSessionOutputCmd {
    SessionOutputCmd() : ktSessionOutputCmd("r") {}
    uint32_t Execute(ktCmdArg *, uint32_t) override { return session && output ? ktCmdOk : ktCmdFailed; }
};

TEST(CmdWith, KeepsJustTheNamedMembersOfTheContext) {
    int object = 0;
    ktCmdContext context;
    context.session = reinterpret_cast<ktSession *>(&object);
    context.output = reinterpret_cast<ktLines *>(&object);
    context.pool = reinterpret_cast<ktTaskPool *>(&object);
    context.processor = reinterpret_cast<ktCmdProcessor *>(&object);
    SessionOutputCmd command;
    EXPECT_EQ(command.Execute(nullptr, 0), ktCmdFailed);
    command.SetCmdContext(context);
    EXPECT_EQ(command.Execute(nullptr, 0), ktCmdOk);
    ktCmdContext out;
    out.gui = reinterpret_cast<ktGuiLink *>(&object);
    command.GetCmdContext(&out);
    EXPECT_EQ(out.session, context.session);
    EXPECT_EQ(out.output, context.output);
    EXPECT_EQ(out.pool, nullptr);
    EXPECT_EQ(out.processor, nullptr);
    EXPECT_EQ(out.gui, reinterpret_cast<ktGuiLink *>(&object)); // another command's, untouched
    command.GetCmdContext(nullptr);
}

/// The defaults of the interface itself.
struct BareCmd : ktCmd {
    void SetCmdContext(const ktCmdContext &) override {}
    void GetCmdContext(ktCmdContext *) override {}
    uint32_t Execute(ktCmdArg *, uint32_t) override { return ktCmdOk; }
    const char *GetName() const override { return "bare"; }
    const char *GetSummary() const override { return ""; }
    const char *GetHelpLine(uint32_t) const override { return nullptr; }
};

TEST(Cmd, DeclaresNoArgumentsAndRunsOnTheWorkerByDefault) {
    BareCmd command;
    EXPECT_EQ(command.GetMaxArgs(), 0u);
    EXPECT_EQ(command.GetMinArgs(), 0u);
    EXPECT_EQ(command.GetArgType(0), ktArgNone);
    EXPECT_FALSE(command.IsSynchronous());
    EXPECT_FALSE(command.IsHidden());
    EXPECT_FALSE(command.Cancel());
}

} // namespace
