#include "commands/port_cmds.h"

#include "support/target_cmd_test.h"

#include <gtest/gtest.h>

namespace {

using Bytes = std::vector<uint8_t>;
using Calls = std::vector<std::string>;
using Lines = std::vector<std::string>;

std::string Blanks(size_t count) { return std::string(count, ' '); }

class PortCmds : public ktTargetCmdTest {
protected:
    PortCmds() { rig.target.SetSource(ktAddress::kindIoPort, {0x41, 0x42, 0x43, 0x44}); }
};

} // namespace

TEST_F(PortCmds, InReadsOneByteUnlessTold) {
    EXPECT_EQ(Run("inb 60"), 0u);
    EXPECT_EQ(rig.target.Calls(), Calls{"ReadTarget kind 5 at 0000:60 root 0 attribute 9 for 1 width 1"});
    EXPECT_EQ(Output(), Lines{"0000000000000000: 41 " + Blanks(1 + 45) + "A" + Blanks(1 + 15) + "+0x0"});
    EXPECT_EQ(Run("inw 60"), 0u);
    EXPECT_EQ(rig.target.Calls(), Calls{"ReadTarget kind 5 at 0000:60 root 0 attribute 9 for 1 width 2"});
    EXPECT_EQ(Run("ind 60"), 0u);
    EXPECT_EQ(rig.target.Calls(), Calls{"ReadTarget kind 5 at 0000:60 root 0 attribute 9 for 1 width 4"});
}

TEST_F(PortCmds, InwReadsWith16BitAccessesAndShowsBytesAtZero) {
    EXPECT_EQ(Run("inw 60 4"), 0u);
    EXPECT_EQ(rig.target.Calls(), Calls{"ReadTarget kind 5 at 0000:60 root 0 attribute 9 for 4 width 2"});
    EXPECT_EQ(Output(),
              Lines{"0000000000000000: 41 42 43 44 " + Blanks(1 + 36) + "ABCD" + Blanks(1 + 12) + "+0x0"});
}

TEST_F(PortCmds, InStaysAtThePortAndCountsEachChunkFromOffsetZero) {
    EXPECT_EQ(Run("ind cf8 1014"), 0u);
    EXPECT_EQ(rig.target.Calls(), (Calls{"ReadTarget kind 5 at 0000:CF8 root 0 attribute 9 for 1000 width 4",
                                         "ReadTarget kind 5 at 0000:CF8 root 0 attribute 9 for 14 width 4"}));
    ASSERT_EQ(Output().size(), 258u);
    EXPECT_TRUE(Output()[255].starts_with("0000000000000FF0: 00 "));
    EXPECT_TRUE(Output()[255].ends_with(" +0xFF0"));
    EXPECT_TRUE(Output()[256].starts_with("0000000000001000: 41 42 43 44 00 "));
    EXPECT_TRUE(Output()[256].ends_with(" +0x0"));
    EXPECT_TRUE(Output()[257].starts_with("0000000000001010: 00 00 00 00 "));
    EXPECT_TRUE(Output()[257].ends_with(" +0x10"));
}

TEST_F(PortCmds, InGoesOnBehindTheBytesThatCame) {
    rig.target.LimitTransfers(2);
    EXPECT_EQ(Run("inb 60 3"), 0u);
    EXPECT_EQ(rig.target.Calls(), (Calls{"ReadTarget kind 5 at 0000:60 root 0 attribute 9 for 3 width 1",
                                         "ReadTarget kind 5 at 0000:60 root 0 attribute 9 for 1 width 1"}));
    ASSERT_EQ(Output().size(), 2u);
    EXPECT_TRUE(Output()[0].starts_with("0000000000000000: 41 42 "));
    EXPECT_TRUE(Output()[1].starts_with("0000000000000002: 41 "));
}

TEST_F(PortCmds, InOfNothingIsDoneAtOnce) {
    EXPECT_EQ(Run("inb 60 0"), 0u);
    EXPECT_TRUE(Output().empty());
    EXPECT_TRUE(rig.target.Calls().empty());
}

TEST_F(PortCmds, AFailedInIs12) {
    rig.target.Fail("ReadTarget", ktFakeTarget::failure, SIZE_MAX, 1);
    EXPECT_EQ(Run("inb 60 1001"), 12u);
    EXPECT_EQ(Output().size(), 256u); // of the chunk before
    rig.target.Mend("ReadTarget");
    rig.target.LimitTransfers(0);
    EXPECT_EQ(Run("inb 60"), 12u); // nothing came
    EXPECT_TRUE(Output().empty());
}

TEST_F(PortCmds, AFailedInIsNotTriedAgain) {
    rig.target.Fail("ReadTarget");
    for (const char *line : {"inb 60", "inw 60 2", "ind 60 2000"}) {
        EXPECT_EQ(Run(line), 12u) << line;
        EXPECT_EQ(rig.target.Count("ReadTarget"), 1u) << line;
        EXPECT_TRUE(Output().empty()) << line;
    }
}

TEST_F(PortCmds, OutSendsTheLowBytesAndPrintsNothing) {
    EXPECT_EQ(Run("outb 80 1234"), 0u);
    EXPECT_EQ(rig.target.Calls(), Calls{"WriteTarget kind 5 at 0000:80 root 0 attribute 9 for 1 width 1"});
    EXPECT_EQ(rig.target.LastWritten(), Bytes{0x34});
    EXPECT_EQ(Run("outw 80 12345"), 0u);
    EXPECT_EQ(rig.target.Calls(), Calls{"WriteTarget kind 5 at 0000:80 root 0 attribute 9 for 2 width 2"});
    EXPECT_EQ(rig.target.LastWritten(), (Bytes{0x45, 0x23}));
    EXPECT_EQ(Run("outd cf8 180000010"), 0u);
    EXPECT_EQ(rig.target.Calls(), Calls{"WriteTarget kind 5 at 0000:CF8 root 0 attribute 9 for 4 width 4"});
    EXPECT_EQ(rig.target.LastWritten(), (Bytes{0x10, 0x00, 0x00, 0x80}));
    EXPECT_TRUE(Output().empty());
}

TEST_F(PortCmds, AFailedOutIs13AndIsNotTriedAgain) {
    rig.target.Fail("WriteTarget");
    for (const char *line : {"outb 80 1", "outw 80 1", "outd 80 1"}) {
        EXPECT_EQ(Run(line), 13u);
        EXPECT_EQ(rig.target.Count("WriteTarget"), 1u);
    }
    EXPECT_TRUE(Output().empty());
}

TEST_F(PortCmds, OutNeedsItsValue) { EXPECT_EQ(Run("outb 80"), 5u); }

TEST(PortCmdStatus, WithoutASessionItIs8AndWithoutAnEngine16) {
    ktInbCmd inb;
    ktInwCmd inw;
    ktIndCmd ind;
    ktOutbCmd outb;
    ktOutwCmd outw;
    ktOutdCmd outd;
    ktCmd *const commands[] = {&inb, &inw, &ind, &outb, &outw, &outd};
    ktSessionRig rig;
    for (ktCmd *command : commands) {
        EXPECT_TRUE(command->IsSynchronous());
        EXPECT_EQ(ExecuteIn(nullptr, *command, {0x60, 1}), 8u);
        EXPECT_EQ(ExecuteIn(&rig.session, *command, {0x60, 1}), 8u);
        EXPECT_EQ(command->Execute(nullptr, 0), 5u);
    }
    EXPECT_EQ(ExecuteIn(&rig.session, inb, {0x60, 0}), 8u); // before the count is looked at
    ASSERT_TRUE(rig.ConnectQuietly());
    rig.session.engine.reset();
    for (ktCmd *command : commands) EXPECT_EQ(ExecuteIn(&rig.session, *command, {0x60, 1}), 16u);
    EXPECT_EQ(ExecuteIn(&rig.session, inb, {0x60, 0}), 0u);
}
