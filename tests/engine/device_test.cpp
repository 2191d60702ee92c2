#include <gtest/gtest.h>

#include "sim/interval_timer.h"
#include "sim/local_apic.h"
#include "sim/pic.h"
#include "sim/serial_port.h"
#include "sim/text_output.h"
#include "support/machine_rig.h"

namespace sable {

namespace {

/// Both controllers as PCs set them up, all lines open.
PicPair ReadyPics() {
    PicPair pics;
    for (const bool isSecond : {false, true}) {
        pics.Write(isSecond, false, 0x11);
        pics.Write(isSecond, true, isSecond ? 0x28 : 0x20);
        pics.Write(isSecond, true, isSecond ? 2 : 4);
        pics.Write(isSecond, true, 1);
        pics.Write(isSecond, true, 0);
    }
    return pics;
}

constexpr uint64_t count = IntervalTimer::unitsPerCount;

void Load(IntervalTimer &timer, uint8_t command, uint16_t value, uint64_t now) {
    timer.Write(3, command, now);
    timer.Write(0, uint8_t(value), now);
    timer.Write(0, uint8_t(value >> 8), now);
}

LocalApic ReadyApic() {
    LocalApic apic(0);
    apic.Write(0xF0, 0x1FF);
    return apic;
}

} // namespace

TEST(Pic, ARisingLineBecomesItsVector) {
    PicPair pics = ReadyPics();
    EXPECT_FALSE(pics.HasInterrupt());
    pics.SetLine(1, true);
    EXPECT_TRUE(pics.HasInterrupt());
    EXPECT_EQ(pics.Acknowledge(), 0x21);
    EXPECT_FALSE(pics.HasInterrupt());
    pics.Write(false, false, 0x20);
    EXPECT_FALSE(pics.HasInterrupt()) << "a line that stays up does not count again";
    pics.SetLine(1, false);
    pics.SetLine(1, true);
    EXPECT_TRUE(pics.HasInterrupt());
}

TEST(Pic, LowerLinesGoFirstAndInterruptHigherOnes) {
    PicPair pics = ReadyPics();
    pics.SetLine(4, true);
    pics.SetLine(3, true);
    EXPECT_EQ(pics.Acknowledge(), 0x23);
    EXPECT_FALSE(pics.HasInterrupt()) << "line 4 waits for the end of line 3";
    pics.SetLine(0, true);
    EXPECT_EQ(pics.Acknowledge(), 0x20);
    pics.Write(false, false, 0x20);
    pics.Write(false, false, 0x20);
    EXPECT_EQ(pics.Acknowledge(), 0x24);
}

TEST(Pic, TheSecondOneComesThroughLine2) {
    PicPair pics = ReadyPics();
    pics.SetLine(12, true);
    EXPECT_EQ(pics.Acknowledge(), 0x2C);
    pics.Write(false, false, 0x0B);
    pics.Write(true, false, 0x0B);
    EXPECT_EQ(pics.Read(false, false), 1 << 2);
    EXPECT_EQ(pics.Read(true, false), 1 << 4);
    pics.SetLine(10, true);
    EXPECT_FALSE(pics.HasInterrupt()) << "the first one still serves line 2";
    pics.Write(false, false, 0x62); // the end of line 2 alone
    EXPECT_EQ(pics.Acknowledge(), 0x2A);
}

TEST(Pic, MaskedLinesWait) {
    PicPair pics = ReadyPics();
    pics.Write(false, true, 0x02);
    pics.SetLine(1, true);
    EXPECT_FALSE(pics.HasInterrupt());
    EXPECT_EQ(pics.Read(false, true), 0x02);
    EXPECT_EQ(pics.Read(false, false), 0x02) << "the request is there";
    pics.Write(false, true, 0);
    EXPECT_TRUE(pics.HasInterrupt());
}

TEST(Pic, AnInterruptThatHasGoneIsTheLastLine) {
    PicPair pics = ReadyPics();
    EXPECT_EQ(pics.Acknowledge(), 0x27);
    pics.Write(false, false, 0x0B);
    EXPECT_EQ(pics.Read(false, false), 0) << "and is not served";
}

TEST(Pic, EndsAtOnceWhenToldSo) {
    PicPair pics;
    pics.Write(false, false, 0x11);
    for (const int word : {0x40, 4, 3, 0}) pics.Write(false, true, uint8_t(word));
    pics.SetLine(5, true);
    EXPECT_EQ(pics.Acknowledge(), 0x45);
    pics.SetLine(6, true);
    EXPECT_EQ(pics.Acknowledge(), 0x46);
}

TEST(Pic, IsSilentBeforeItIsSetUp) {
    PicPair pics;
    pics.SetLine(0, true);
    EXPECT_FALSE(pics.HasInterrupt());
    pics.Write(false, false, 0x11);
    pics.SetLine(1, true);
    EXPECT_FALSE(pics.HasInterrupt());
}

TEST(IntervalTimer, TicksAtItsPeriod) {
    IntervalTimer timer;
    EXPECT_EQ(timer.NextRise(), IntervalTimer::never);
    Load(timer, 0x34, 1000, 500);
    EXPECT_EQ(timer.NextRise(), 500 + 1000 * count);
    EXPECT_FALSE(timer.HasRisen(499 + 1000 * count));
    EXPECT_TRUE(timer.HasRisen(500 + 1000 * count));
    EXPECT_FALSE(timer.HasRisen(501 + 1000 * count));
    EXPECT_EQ(timer.NextRise(), 500 + 2000 * count);
    EXPECT_TRUE(timer.HasRisen(500 + 5500 * count)) << "several at once are one";
    EXPECT_EQ(timer.NextRise(), 500 + 6000 * count);
}

TEST(IntervalTimer, ACountOfZeroIsTheLongest) {
    IntervalTimer timer;
    Load(timer, 0x36, 0, 0);
    EXPECT_EQ(timer.NextRise(), 65536 * count);
}

TEST(IntervalTimer, CountsOnceWhenToldSo) {
    IntervalTimer timer;
    Load(timer, 0x30, 9, 0);
    EXPECT_TRUE(timer.HasRisen(10 * count));
    EXPECT_EQ(timer.NextRise(), IntervalTimer::never);
    EXPECT_FALSE(timer.HasRisen(1000000 * count));
}

TEST(IntervalTimer, ShowsItsCount) {
    IntervalTimer timer;
    Load(timer, 0x34, 0x1234, 0);
    EXPECT_EQ(timer.Read(0, 4 * count), 0x30);
    EXPECT_EQ(timer.Read(0, 4 * count), 0x12);
    timer.Write(3, 0x00, 4 * count); // the count is kept
    EXPECT_EQ(timer.Read(0, 900 * count), 0x30);
    EXPECT_EQ(timer.Read(0, 900 * count), 0x12);
    timer.Write(3, 0xC2, 0x34 * count); // count and status
    EXPECT_EQ(timer.Read(0, 0), 0xB4);
    EXPECT_EQ(timer.Read(0, 0), 0x00);
    EXPECT_EQ(timer.Read(0, 0), 0x12);
}

TEST(IntervalTimer, TakesOneByteWhenToldSo) {
    IntervalTimer timer;
    timer.Write(3, 0x14, 0);
    timer.Write(0, 100, 0);
    EXPECT_EQ(timer.NextRise(), 100 * count);
    timer.Write(3, 0x24, 0);
    EXPECT_EQ(timer.NextRise(), IntervalTimer::never) << "a command stops it until the next count";
    timer.Write(0, 1, 0);
    EXPECT_EQ(timer.NextRise(), 256 * count);
    EXPECT_EQ(timer.Read(0, 0), 1);
}

TEST(IntervalTimer, OtherChannelsAreNotThere) {
    IntervalTimer timer;
    timer.Write(3, 0x74, 0);
    timer.Write(1, 1, 0);
    timer.Write(1, 1, 0);
    EXPECT_EQ(timer.NextRise(), IntervalTimer::never);
    EXPECT_EQ(timer.Read(1, 0), 0xFF);
}

TEST(TextOutput, ComesByLinesInOrder) {
    TextKeeper keeper;
    TextOutput output(keeper);
    for (const char c : std::string_view("ab\nc")) output.Put(TextOutput::Port::debug, uint8_t(c));
    EXPECT_EQ(keeper.pieces, std::vector<std::string>{"ab\n"});
    output.Flush();
    output.Flush();
    EXPECT_EQ(keeper.pieces, (std::vector<std::string>{"ab\n", "c"}));
    for (unsigned n = 0; n < TextOutput::longestPiece; ++n) output.Put(TextOutput::Port::serial, 'x');
    EXPECT_EQ(keeper.pieces.back().size(), TextOutput::longestPiece) << "no line is waited for for ever";
}

TEST(TextOutput, ABegunLineComesWhenNothingIsAdded) {
    TextKeeper keeper;
    TextOutput output(keeper);
    output.Put(TextOutput::Port::debug, '>');
    output.FlushIfQuiet();
    EXPECT_TRUE(keeper.pieces.empty());
    output.Put(TextOutput::Port::debug, ' ');
    output.FlushIfQuiet();
    EXPECT_TRUE(keeper.pieces.empty());
    output.FlushIfQuiet();
    EXPECT_EQ(keeper.pieces, std::vector<std::string>{"> "});
}

TEST(TextOutput, WhatBothPortsSendCountsOnce) {
    TextKeeper keeper;
    TextOutput output(keeper);
    using Port = TextOutput::Port;
    for (const char c : std::string_view("aab\n")) {
        output.Put(Port::debug, uint8_t(c));
        output.Put(Port::serial, uint8_t(c));
    }
    EXPECT_EQ(keeper.text, "aab\n");
    for (const Port port : {Port::debug, Port::serial, Port::debug}) output.Put(port, 'x');
    for (const Port port : {Port::serial, Port::serial}) output.Put(port, 'y');
    output.Flush();
    EXPECT_EQ(keeper.text, "aab\nxxyy");
}

TEST(SerialPort, SendsAndIsAlwaysReady) {
    TextKeeper keeper;
    TextOutput output(keeper);
    SerialPort port(output);
    EXPECT_EQ(port.Read(5), 0x60);
    port.Write(0, '!');
    port.Write(3, 0x80);
    port.Write(0, 1); // the divisor, which is not sent
    port.Write(1, 2);
    EXPECT_EQ(port.Read(0), 1);
    EXPECT_EQ(port.Read(1), 2);
    port.Write(3, 0x03);
    EXPECT_EQ(port.Read(0), 0);
    EXPECT_EQ(port.Read(1), 0);
    port.Write(0, '\n');
    EXPECT_EQ(keeper.text, "!\n");
}

TEST(SerialPort, LooksLikeA16550) {
    TextKeeper keeper;
    TextOutput output(keeper);
    SerialPort port(output);
    EXPECT_EQ(port.Read(2), 0x01);
    port.Write(2, 0x07);
    EXPECT_EQ(port.Read(2), 0xC1);
    port.Write(7, 0x5A);
    EXPECT_EQ(port.Read(7), 0x5A);
    port.Write(4, 0x1A); // loop-back, out 2, request to send
    EXPECT_EQ(port.Read(6), 0x90);
    port.Write(0, 'x');
    output.Flush();
    EXPECT_EQ(keeper.text, "") << "nothing leaves it in loop-back";
    port.Write(4, 0x03);
    EXPECT_EQ(port.Read(6), 0xB0);
}

TEST(LocalApic, ServesTheHighestPriorityFirst) {
    LocalApic apic = ReadyApic();
    apic.Request(0x31);
    apic.Request(0x45);
    EXPECT_EQ(apic.Read(0x220), 1u << 0x05);
    EXPECT_EQ(apic.Acknowledge(), 0x45);
    EXPECT_FALSE(apic.HasInterrupt());
    EXPECT_EQ(apic.Read(0xA0), 0x40u);
    apic.Request(0x4F);
    EXPECT_FALSE(apic.HasInterrupt()) << "the same priority waits";
    apic.Write(0xB0, 0);
    EXPECT_EQ(apic.Acknowledge(), 0x4F);
    apic.Write(0xB0, 0);
    apic.SetTaskPriority(0x30);
    EXPECT_FALSE(apic.HasInterrupt());
    apic.Write(0x80, 0x20);
    EXPECT_EQ(apic.Acknowledge(), 0x31);
}

TEST(LocalApic, IsOffUntilItIsTurnedOn) {
    LocalApic apic(1);
    EXPECT_EQ(apic.Read(0x20), 0x01000000u);
    EXPECT_EQ(apic.Read(0x30), 0x00050014u);
    apic.Request(0x40);
    EXPECT_FALSE(apic.HasInterrupt());
    apic.Write(0x350, 0x700);
    EXPECT_FALSE(apic.PassesLine0()) << "its lines stay masked";
    apic.Write(0xF0, 0x1FF);
    apic.Write(0x350, 0x700);
    EXPECT_TRUE(apic.PassesLine0());
    apic.Write(0xF0, 0xFF);
    EXPECT_FALSE(apic.PassesLine0());
    EXPECT_EQ(apic.Acknowledge(), 0xFF) << "the spurious vector";
}

TEST(LocalApic, DecodesWhatItSends) {
    using Kind = InterProcessor::Kind;
    LocalApic apic = ReadyApic();
    EXPECT_EQ(apic.Write(0x310, 0x01000000).kind, Kind::none);
    const InterProcessor start = apic.Write(0x300, 0x4608);
    EXPECT_EQ(start.kind, Kind::start);
    EXPECT_EQ(start.vector, 8);
    EXPECT_EQ(start.destination, 1);
    EXPECT_EQ(start.to, InterProcessor::To::one);
    EXPECT_EQ(apic.Write(0x300, 0x4500).kind, Kind::init);
    EXPECT_EQ(apic.Write(0x300, 0x8500).kind, Kind::none) << "the end of INIT";
    EXPECT_EQ(apic.Write(0x300, 0xC4400).kind, Kind::nmi);
    EXPECT_EQ(apic.Write(0x300, 0x80031).to, InterProcessor::To::all);
    EXPECT_EQ(apic.Read(0x300), 0x80031u);
    EXPECT_EQ(apic.Read(0x304), 0u);
    EXPECT_EQ(apic.Read(0xFF0), 0u);
}

} // namespace sable
