#include "commands/edit_cmds.h"

#include "support/command_rig.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<uint8_t>;
using Calls = std::vector<std::string>;
using Lines = std::vector<std::string>;

class EditCmds : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(rig.Run("connect sable usb3"), 0u);
        rig.target.ForgetCalls();
    }
    uint64_t Run(const std::string &line) {
        rig.output.lines.clear();
        return rig.Run(line.c_str());
    }
    const Lines &Output() const { return rig.output.lines; }

    ktCommandRig rig;
};

std::string Repeated(const char *text, int count) {
    std::string all;
    for (int i = 0; i < count; ++i) all += text;
    return all;
}

} // namespace

TEST_F(EditCmds, EachWidthWritesItsElements) {
    const struct {
        const char *line;
        Bytes bytes;
    } cases[] = {
        {"eb 400000 1 ff 80", {0x01, 0xFF, 0x80}},
        {"ew 400000 1 ff00", {0x01, 0x00, 0x00, 0xFF}},
        {"ed 400000 12345678 1", {0x78, 0x56, 0x34, 0x12, 1, 0, 0, 0}},
        {"eq 400000 123456789abcdef0", {0xF0, 0xDE, 0xBC, 0x9A, 0x78, 0x56, 0x34, 0x12}},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(Run(row.line), 0u) << row.line;
        EXPECT_EQ(rig.target.LastWritten(), row.bytes) << row.line;
        EXPECT_EQ(Output(), Lines{"Written " + std::to_string(row.bytes.size()) + " bytes"}) << row.line;
    }
}

TEST_F(EditCmds, ValuesAreCutToTheElement) {
    EXPECT_EQ(Run("ew 400000 12345"), 0u);
    EXPECT_EQ(rig.target.LastWritten(), (Bytes{0x45, 0x23}));
    EXPECT_EQ(Run("eb 400000 1ff"), 0u);
    EXPECT_EQ(rig.target.LastWritten(), Bytes{0xFF});
    EXPECT_EQ(Run("ed 400000 1aabbccdd"), 0u);
    EXPECT_EQ(rig.target.LastWritten(), (Bytes{0xDD, 0xCC, 0xBB, 0xAA}));
}

TEST_F(EditCmds, AnAddressWithoutARootTakesTheUnmaskedCr3) {
    const struct {
        const char *line;
        const char *call;
    } cases[] = {
        {"eb 400000 1", "WriteTarget kind 2 at 0000:400000 root 80000000001A5003 attribute 9 for 1"},
        {"eb 10:400000 1", "WriteTarget kind 1 at 0010:400000 root 80000000001A5003 attribute 9 for 1"},
        {"eb #400000 1", "WriteTarget kind 3 at 0000:400000 root 80000000001A5003 attribute 9 for 1"},
        {"eb 400000@2000 1", "WriteTarget kind 2 at 0000:400000 root 2000 attribute 9 for 1"},
        {"eb 10:400000@2000 1", "WriteTarget kind 1 at 0010:400000 root 2000 attribute 9 for 1"},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(Run(row.line), 0u);
        EXPECT_EQ(rig.target.Calls(), Calls{row.call});
        rig.target.ForgetCalls();
    }
}

TEST_F(EditCmds, WithoutASnapshotTheRootStaysNone) {
    ktSnapshot *published = rig.session.publishedSnapshot.exchange(nullptr);
    EXPECT_EQ(Run("eb 400000 1"), 0u);
    EXPECT_EQ(rig.target.Calls(), Calls{"WriteTarget kind 2 at 0000:400000 root 0 attribute 9 for 1"});
    rig.session.publishedSnapshot = published;
}

TEST_F(EditCmds, AtMost31ValuesFitALine) {
    EXPECT_EQ(Run("eb 400000" + Repeated(" 7", 31)), 0u);
    EXPECT_EQ(rig.target.LastWritten(), Bytes(31, 7));
    EXPECT_EQ(Output(), Lines{"Written 31 bytes"});
    EXPECT_EQ(Run("eb 400000" + Repeated(" 8", 32)), 0u); // the last one is not looked at
    EXPECT_EQ(rig.target.LastWritten(), Bytes(31, 8));
    EXPECT_EQ(Run("eq 400000" + Repeated(" 0101010101010101", 32)), 0u);
    EXPECT_EQ(rig.target.LastWritten(), Bytes(31 * 8, 1));
    EXPECT_EQ(Output(), Lines{"Written 248 bytes"});
}

TEST_F(EditCmds, TheBufferHolds32Elements) {
    ktEqCmd eq;
    ktCmdContext context;
    context.session = &rig.session;
    context.output = &rig.output;
    eq.SetCmdContext(context);
    char address[] = "400000";
    ktCmdArg args[ktMaxArgs + 8] = {};
    args[0].text = address;
    for (uint32_t i = 1; i < ktMaxArgs + 8; ++i) args[i].value = i;
    EXPECT_EQ(eq.Execute(args, ktMaxArgs + 8), 0u); // more than a line can hold
    EXPECT_EQ(rig.target.LastWritten().size(), 32u * 8);
    EXPECT_EQ(rig.target.LastWritten()[31 * 8], 32);
    EXPECT_EQ(eq.Execute(args, 1), 0u); // nothing to write
    EXPECT_TRUE(rig.target.LastWritten().empty());
}

TEST_F(EditCmds, AShortWriteSaysWhatWasWritten) {
    rig.target.LimitTransfers(2);
    EXPECT_EQ(Run("ed 400000 12345678"), 0u);
    EXPECT_EQ(Output(), Lines{"Written 2 bytes"});
}

TEST_F(EditCmds, AFailedWriteIs18AndLeavesTheCache) {
    EXPECT_EQ(Run("db 400000 10"), 0u);
    const uint64_t pages = rig.Current()->Pages().PageCount();
    EXPECT_GT(pages, 0u);
    rig.target.Fail("WriteTarget");
    EXPECT_EQ(Run("eb 400000 1"), 18u);
    EXPECT_TRUE(Output().empty());
    EXPECT_EQ(rig.Current()->Pages().PageCount(), pages);
    EXPECT_EQ(rig.target.Count("WriteTarget"), 1u); // no second try
    rig.target.Mend("WriteTarget");
    EXPECT_EQ(Run("eb 5000 1"), 18u);
}

TEST_F(EditCmds, WrittenBytesShowAtOnce) {
    EXPECT_EQ(Run("dd 400000 4"), 0u);
    EXPECT_EQ(Output()[0].substr(0, 26), "0000000000400000: 00000000");
    EXPECT_EQ(Run("ed 400000 12345678"), 0u);
    EXPECT_EQ(Run("dd 400000 4"), 0u);
    EXPECT_EQ(Output()[0].substr(0, 26), "0000000000400000: 12345678");
}

TEST_F(EditCmds, AWriteEmptiesTheCacheAndLeavesTheSnapshot) {
    const ktSnapshot *published = rig.Published();
    ktPageCache &pages = rig.Current()->Pages();
    EXPECT_GT(pages.PageCount(), 0u);
    EXPECT_GT(pages.generation, 0u);
    EXPECT_EQ(Run("eb #400000 90"), 0u); // whatever the kind of address
    EXPECT_EQ(pages.PageCount(), 0u);
    EXPECT_EQ(pages.generation, 0u);
    EXPECT_EQ(rig.Published(), published);
    EXPECT_EQ(rig.target.Names(), Calls{"WriteTarget"});
}

TEST_F(EditCmds, AWriteWithoutACurrentSpaceIsDoneAllTheSame) {
    rig.session.spaces->SetCurrent(nullptr);
    EXPECT_EQ(Run("eb 400000 90"), 0u);
    EXPECT_EQ(Output(), Lines{"Written 1 bytes"});
}

TEST_F(EditCmds, ATextThatIsNoAddressIs10) {
    for (const char *line : {"eb 1:2:3 1", "eb #8:1000 1", "eb 1@2@3 1"}) EXPECT_EQ(Run(line), 10u) << line;
    EXPECT_EQ(Run("eb " + std::string(64, '1') + " 1"), 10u);
    EXPECT_TRUE(rig.target.Calls().empty());
    EXPECT_TRUE(Output().empty());
}

TEST_F(EditCmds, LocationsAreNotLookedUp) {
    EXPECT_EQ(Run("eb main 90"), 18u); // the digits that stand in the word
    EXPECT_EQ(rig.target.Calls(),
              Calls{"WriteTarget kind 2 at 0000:A root 80000000001A5003 attribute 9 for 1"});
}

TEST(EditCmdStatus, TheTextIsReadFirstThenTheSessionThenTheEngine) {
    ktEbCmd eb;
    ktEwCmd ew;
    ktEdCmd ed;
    ktEqCmd eq;
    ktMemEditCmd *const commands[] = {&eb, &ew, &ed, &eq};
    ktSessionRig rig;
    for (ktMemEditCmd *command : commands) {
        EXPECT_FALSE(command->IsSynchronous());
        EXPECT_EQ(ExecuteIn(nullptr, *command, {"1:2:3", "1"}), 10u);
        EXPECT_EQ(ExecuteIn(nullptr, *command, {static_cast<const char *>(nullptr), "1"}), 10u);
        EXPECT_EQ(command->Execute(nullptr, 0), 10u);
        EXPECT_EQ(ExecuteIn(nullptr, *command, {"1000", "1"}), 8u);
        EXPECT_EQ(ExecuteIn(&rig.session, *command, {"1000", "1"}), 8u);
    }
    ASSERT_TRUE(rig.ConnectQuietly());
    rig.session.cpuIdentity.reset();
    for (ktMemEditCmd *command : commands) EXPECT_EQ(ExecuteIn(&rig.session, *command, {"1000", "1"}), 16u);
    rig.session.cpuIdentity = std::make_unique<ktCpuIdentity>();
    rig.session.engine.reset();
    for (ktMemEditCmd *command : commands) EXPECT_EQ(ExecuteIn(&rig.session, *command, {"1000", "1"}), 16u);
    EXPECT_TRUE(rig.target.Names().size() == 1 && rig.target.Names()[0] == "Destroy");
}
