#include "commands/quit_cmd.h"

#include "commands/cmd_processor.h"
#include "support/fake_gui.h"
#include "support/scripted_cmd.h"

#include <gtest/gtest.h>

namespace {

TEST(QuitCmd, BeforeTheWindowsExistGivesStatus5) {
    ktQuitCmd command;
    ktScriptedCmdSet set{&command};
    ktCmdProcessor processor;
    processor.RegisterSet(&set);
    EXPECT_EQ(processor.RunLine("q"), ktCmdBadArguments);
}

TEST(QuitCmd, AsksTheMainWindowToClose) {
    ktFakeGui gui;
    ktCmdContext context;
    context.gui = &gui;
    ktQuitCmd command;
    command.SetCmdContext(context);
    EXPECT_EQ(command.Execute(nullptr, 0), ktCmdOk);
    EXPECT_EQ(gui.closes, 1u);
}

TEST(QuitCmd, CarriesTheGuiAndNothingElseAcross) {
    ktFakeGui gui;
    ktCmdContext context;
    context.gui = &gui;
    context.processor = reinterpret_cast<ktCmdProcessor *>(&gui);
    ktQuitCmd command;
    command.SetCmdContext(context);
    command.GetCmdContext(nullptr);
    ktCmdContext out;
    command.GetCmdContext(&out);
    EXPECT_EQ(out.gui, &gui);
    EXPECT_EQ(out.processor, nullptr);
}

} // namespace
