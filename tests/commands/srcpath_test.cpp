#include "symbols/srcpath_cmd.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/command_session.h"

namespace {

using Lines = std::vector<std::string>;

class SrcPathCmd : public testing::Test {
protected:
    SrcPathCmd() {
        module = target.builder.AddModule("kernel", 0x100000, 0x10000);
        target.builder.Publish(*target.space, module);
    }
    uint32_t Run(std::vector<std::string> words) { return target.Run(command, std::move(words)); }
    const Lines &Output() const { return target.output.lines; }

    ktCommandSession target;
    ktSrcPathCmd command;
    ktModule *module = nullptr;
};

TEST_F(SrcPathCmd, NothingSetIsSaid) {
    EXPECT_EQ(Run({"kernel"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{"Default source path is not set"});
}

TEST_F(SrcPathCmd, SetsSilentlyAndShows) {
    EXPECT_EQ(Run({"kernel", "/home/u/src"}), ktCmdOk);
    EXPECT_TRUE(Output().empty());
    EXPECT_EQ(Run({"kernel"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{"/home/u/src"});
    EXPECT_EQ(Run({"kernel", "/other"}), ktCmdOk);
    EXPECT_EQ(Run({"kernel"}), ktCmdOk);
    EXPECT_EQ(Output(), Lines{"/other"});
}

TEST_F(SrcPathCmd, UnknownModuleIsStatus10) {
    EXPECT_EQ(Run({"nosuch"}), ktCmdNotFound);
    EXPECT_EQ(Run({"nosuch", "/src"}), ktCmdNotFound);
    EXPECT_TRUE(Output().empty());
    target.session.spaces->SetCurrent(nullptr);
    EXPECT_EQ(Run({"kernel"}), ktCmdNotFound);
}

TEST_F(SrcPathCmd, TheWholeTextIsTheNameOfAModule) {
    EXPECT_EQ(Run({"*", "/first"}), ktCmdOk); // the first of all modules
    EXPECT_STREQ(module->sourcePath.Get(), "/first");
    EXPECT_EQ(Run({"kernel!main.c", "/second"}), ktCmdNotFound);
    EXPECT_STREQ(module->sourcePath.Get(), "/first");
}

TEST_F(SrcPathCmd, NoSpaceListIsStatus8) {
    target.session.spaces.reset();
    EXPECT_EQ(Run({"kernel"}), ktCmdNoSpaces);
    command.SetCmdContext({});
    EXPECT_EQ(command.Execute(nullptr, 0), ktCmdNoSpaces);
}

TEST_F(SrcPathCmd, APathThatCannotBeCopiedIsStatus15AndKeepsTheOld) {
    EXPECT_EQ(Run({"kernel", "/old"}), ktCmdOk);
    char name[] = "kernel";
    ktCmdArg args[2] = {{ktArgModule, name, 0, nullptr}, {ktArgPath, nullptr, 0, nullptr}};
    EXPECT_EQ(command.Execute(args, 2), ktCmdNoPath);
    EXPECT_STREQ(module->sourcePath.Get(), "/old");
    args[0].text = nullptr;
    EXPECT_EQ(command.Execute(args, 1), ktCmdNotFound);
}

TEST_F(SrcPathCmd, DeclaresModuleAndPath) {
    EXPECT_STREQ(command.GetName(), "srcpath");
    EXPECT_EQ(command.GetMinArgs(), 1u);
    EXPECT_EQ(command.GetMaxArgs(), 2u);
    EXPECT_TRUE(command.IsSynchronous());
}

} // namespace
