#include "sim/machine.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "support/machine_rig.h"

namespace sable {

namespace {

std::string ReadText(const char *path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

/// All that a program could tell two machines apart by.
std::vector<uint8_t> StateOf(Machine &machine) {
    std::vector<uint8_t> state(machine.Memory().Size());
    machine.Memory().Read(0, state.data(), state.size());
    auto add = [&](uint64_t value) {
        for (unsigned n = 0; n < 8; ++n) state.push_back(uint8_t(value >> 8 * n));
    };
    add(machine.Now());
    for (unsigned core = 0; core < Machine::coreCount; ++core) {
        const Registers &r = machine.Core(core).registers;
        for (unsigned n = 0; n < 16; ++n) add(r.gpr[n]);
        for (const uint64_t value :
             {r.rip, uint64_t(r.flags.Get()), r.cr0, r.cr2, r.cr3, r.cr4, r.cr8, machine.Core(core).Now()})
            add(value);
    }
    return state;
}

class StopAlways final : public BreakCheck {
public:
    bool ShouldStop(unsigned, uint64_t, uint64_t, uint64_t, uint64_t) override { return true; }
};

constexpr uint64_t start = GuestStart::loadAddress;

} // namespace

TEST(Machine, BootsTheDemoGuest) {
    MachineRig rig;
    const std::string expectedText = ReadText(SABLE_TEST_DATA "/demo_guest.txt");
    const auto expected = LinesBySpeaker(expectedText);
    ASSERT_GT(expected.size(), 4u);
    for (const auto &[speaker, lines] : expected)
        ASSERT_TRUE(rig.RunUntil(lines.back() + "\n")) << lines.back();
    auto found = LinesBySpeaker(rig.keeper.text);
    EXPECT_EQ(found.size(), expected.size());
    for (const auto &[speaker, lines] : expected) {
        auto &printed = found[speaker];
        ASSERT_GE(printed.size(), lines.size()) << speaker;
        printed.resize(lines.size());
        EXPECT_EQ(printed, lines) << speaker;
    }
    for (const std::string &piece : rig.keeper.pieces) EXPECT_EQ(piece.back(), '\n') << piece;
}

TEST(Machine, TellsTheGuestHowMuchRamThereIs) {
    MachineRig rig("demo", 96 << 20);
    EXPECT_TRUE(rig.RunUntil("kernel: long mode, 96 MiB\n"));
}

TEST(Machine, RunsTheVariants) {
    MachineRig small("demo32"), wide("demopae");
    EXPECT_TRUE(small.RunUntil("variant: paging 32 is on\n"));
    EXPECT_TRUE(wide.RunUntil("variant: paging PAE is on\n"));
    EXPECT_EQ(small.machine.Run(100000).stop, MachineStop::none);
    EXPECT_TRUE(small.machine.IsWaiting(1));
}

TEST(Machine, DoesTheSameEachTime) {
    MachineRig one, other;
    for (int n = 0; n < 12; ++n) one.machine.Run(1000000);
    for (int n = 0; n < 120; ++n) other.machine.Run(100000);
    EXPECT_GE(one.machine.Core(0).Executed() + one.machine.Core(1).Executed(), 15000000u);
    // However the time was cut into pieces, a round that has begun is finished.
    while (other.machine.Now() < one.machine.Now()) other.machine.Run(1);
    while (one.machine.Now() < other.machine.Now()) one.machine.Run(1);
    EXPECT_EQ(StateOf(one.machine), StateOf(other.machine));
    EXPECT_EQ(one.keeper.text, other.keeper.text);
}

TEST(Machine, AStopDoesNotChangeWhatTheProgramDoes) {
    MachineRig plain, stopped;
    StopAlways check;
    plain.machine.Run(1000000);
    for (unsigned core = 0; core < Machine::coreCount; ++core)
        stopped.machine.Core(core).SetBreakCheck(&check);
    stopped.machine.Memory().AddBreak(start);
    stopped.machine.Memory().AddBreak(0x1000); // where the second core begins
    int stops = 0;
    while (stopped.machine.Now() < plain.machine.Now()) {
        const Machine::Result result = stopped.machine.Run(plain.machine.Now() - stopped.machine.Now());
        if (result.stop != MachineStop::breakPoint) continue;
        ++stops;
        stopped.machine.PassBreakOnce(result.core);
    }
    EXPECT_EQ(stops, 2);
    EXPECT_EQ(StateOf(plain.machine), StateOf(stopped.machine));
}

TEST(Machine, ResetBringsEverythingBack) {
    MachineRig rig, fresh;
    ASSERT_TRUE(rig.RunUntil("second: hello\n"));
    rig.machine.Reset();
    EXPECT_EQ(StateOf(rig.machine), StateOf(fresh.machine));
    EXPECT_TRUE(rig.machine.IsWaiting(1));
    rig.keeper.text.clear();
    EXPECT_TRUE(rig.RunUntil("second: hello\n"));
}

TEST(Machine, PortsResetIt) {
    const std::vector<uint8_t> programs[] = {
        {0xBA, 0xF9, 0x0C, 0xB0, 0x06, 0xEE, 0xF4}, // mov dx, 0CF9h; mov al, 6; out dx, al
        {0xB0, 0xFE, 0xE6, 0x64, 0xF4},             // mov al, 0FEh; out 64h, al
        {0xB0, 0x03, 0xE6, 0x92, 0xF4},             // mov al, 3; out 92h, al
    };
    for (const std::vector<uint8_t> &program : programs) {
        MachineRig rig(program);
        EXPECT_EQ(rig.machine.Run(100).stop, MachineStop::reset);
        EXPECT_EQ(rig.machine.Core(0).registers.rip, start);
        EXPECT_EQ(rig.machine.Core(0).registers.gpr[gprRax], 0u);
        EXPECT_EQ(rig.machine.Now(), 0u);
        MachineRig stepped(program);
        Machine::Result result;
        for (int n = 0; n < 4 && result.stop == MachineStop::none; ++n)
            result = stepped.machine.Step(0, Interrupts::deliver);
        EXPECT_EQ(result.stop, MachineStop::reset);
    }
}

TEST(Machine, AWriteOfTheConfigurationAddressIsNoReset) {
    MachineRig rig({0x66, 0xB8, 0xFF, 0xFF, 0xFF, 0xFF, 0xBA, 0xF8, 0x0C, 0x66, 0xEF, 0xEB, 0xFE});
    EXPECT_EQ(rig.machine.Run(1000).stop, MachineStop::none); // out dx, eax; jmp $
}

TEST(Machine, AHaltWithInterruptsOffIsForGood) {
    MachineRig rig({0xFA, 0xF4}); // cli; hlt
    const Machine::Result result = rig.machine.Run(1000000);
    EXPECT_EQ(result.stop, MachineStop::halted);
    EXPECT_LT(rig.machine.Now(), 2 * Machine::turnUnits);
    EXPECT_EQ(rig.machine.Run(1000).stop, MachineStop::halted) << "and stays so";
}

TEST(Machine, AFaultThatCannotBeDeliveredStopsIt) {
    // A table of interrupts without room for any, and an invalid instruction.
    MachineRig rig({0x0F, 0x01, 0x1E, 0x07, 0x7C, 0x0F, 0x0B, 0, 0, 0, 0, 0, 0}); // lidt [7C07]; ud2
    EXPECT_EQ(rig.machine.Run(1000).stop, MachineStop::shutdown);
    EXPECT_EQ(rig.machine.Run(1000).stop, MachineStop::shutdown);
    EXPECT_EQ(rig.machine.Step(0, Interrupts::deliver).stop, MachineStop::shutdown);
    rig.machine.Reset();
    EXPECT_EQ(rig.machine.Step(0, Interrupts::deliver).stop, MachineStop::none);
}

TEST(Machine, IdleTimeJumpsToTheNextTick) {
    MachineRig rig;
    ASSERT_TRUE(rig.RunUntil("timer at 100 ticks a second\n"));
    // The first core waits two ticks before it starts the second one.
    const uint64_t executed = rig.machine.Core(0).Executed();
    const Machine::Result result = rig.machine.Run(477280);
    EXPECT_EQ(result.stop, MachineStop::none);
    EXPECT_GT(result.idle, 400000u);
    EXPECT_LT(rig.machine.Core(0).Executed() - executed, 60000u);
}

TEST(Machine, AStepLeavesTheOtherCoreAlone) {
    MachineRig rig;
    ASSERT_TRUE(rig.RunUntil("second: hello\n"));
    const uint64_t other = rig.machine.Core(0).Executed(), own = rig.machine.Core(1).Executed();
    for (int n = 0; n < 100; ++n) EXPECT_EQ(rig.machine.Step(1, Interrupts::deliver).stop, MachineStop::none);
    EXPECT_EQ(rig.machine.Core(0).Executed(), other);
    EXPECT_EQ(rig.machine.Core(1).Executed(), own + 100);
}

TEST(Machine, TimeGoesOnWhileItIsStepped) {
    MachineRig rig;
    ASSERT_TRUE(rig.RunUntil("second: hello\n"));
    const uint64_t now = rig.machine.Now();
    for (int n = 0; n < 1000; ++n) rig.machine.Step(1, Interrupts::deliver);
    EXPECT_EQ(rig.machine.Now(), now + 1000);
}

TEST(Machine, AStepOfASleepingCoreTakesTheNextInterrupt) {
    MachineRig rig;
    ASSERT_TRUE(rig.RunUntil("timer at 100 ticks a second\n"));
    Cpu &cpu = rig.machine.Core(0);
    while (!cpu.IsAsleep()) ASSERT_EQ(rig.machine.Run(1).stop, MachineStop::none);
    const uint64_t rip = cpu.registers.rip;
    rig.machine.Step(0, Interrupts::deliver);
    EXPECT_NE(cpu.registers.rip, rip);
    EXPECT_FALSE(cpu.IsHalted());
    EXPECT_FALSE(cpu.registers.flags.Has(flagIf)) << "in the interrupt's handler";
}

TEST(Machine, AStepWithoutInterruptsGoesOnBehindAHalt) {
    for (const bool hasInterrupt : {false, true}) {
        MachineRig rig({0xFB, 0x90, 0xF4, 0x40}); // sti; nop; hlt; inc ax
        if (hasInterrupt) rig.machine.Core(0).SetInterruptLine(true);
        for (int n = 0; n < 4; ++n) rig.machine.Step(0, Interrupts::holdBack);
        EXPECT_EQ(rig.machine.Core(0).registers.gpr[gprRax], 1u);
    }
    MachineRig rig({0xFA, 0xF4, 0x40}); // cli; hlt; inc ax
    for (int n = 0; n < 4; ++n) rig.machine.Step(0, Interrupts::holdBack);
    EXPECT_EQ(rig.machine.Core(0).registers.gpr[gprRax], 0u) << "that one is for good";
}

TEST(Machine, ACoreThatWasNotStartedDoesNotStep) {
    MachineRig rig;
    const uint64_t rip = rig.machine.Core(1).registers.rip;
    EXPECT_EQ(rig.machine.Step(1, Interrupts::deliver).stop, MachineStop::none);
    EXPECT_EQ(rig.machine.Core(1).registers.rip, rip);
    EXPECT_EQ(rig.machine.Core(1).Executed(), 0u);
}

TEST(Machine, CoresSendInterruptsToEachOther) {
    MachineRig rig;
    MachineBus &bus = rig.machine.Devices();
    const uint64_t apic = LocalApic::defaultBase;
    bus.WriteDevice(1, apic + 0xF0, 4, 0x1FF);
    bus.WriteDevice(0, apic + 0x310, 4, 0x01000000);
    bus.WriteDevice(0, apic + 0x300, 4, 0x4045);
    EXPECT_EQ(bus.ReadDevice(1, apic + 0x220, 4), 1u << 5);
    EXPECT_EQ(bus.ReadDevice(0, apic + 0x220, 4), 0u) << "each core has its own";
    EXPECT_EQ(bus.AcknowledgeInterrupt(1), 0x45);
    EXPECT_EQ(bus.ReadDevice(0, apic + 0x20, 1), 0u);
    EXPECT_EQ(bus.ReadDevice(1, apic + 0x23, 1), 1u);
    EXPECT_EQ(bus.ReadDevice(0, 0xFED00000, 4), 0xFFFFFFFFu) << "nothing is there";
    bus.WriteDevice(1, apic + 0x80, 4, 0x50);
    EXPECT_EQ(rig.machine.Core(1).registers.cr8, 5u);
}

TEST(Machine, PortsWithoutADeviceReadOnes) {
    MachineRig rig;
    MachineBus &bus = rig.machine.Devices();
    EXPECT_EQ(bus.ReadPort(0, 0x1234, 4), 0xFFFFFFFFu);
    EXPECT_EQ(bus.ReadPort(0, 0xCF8, 4), 0xFFFFFFFFu);
    EXPECT_EQ(bus.ReadPort(0, 0xFFFF, 2), 0xFFFFu) << "behind the last port is the first";
    EXPECT_EQ(bus.ReadPort(0, 0xE9, 1), 0xE9u);
    EXPECT_EQ(bus.ReadPort(0, 0x92, 1), 0x02u);
    EXPECT_EQ(bus.ReadPort(0, 0x3FD, 2), 0xB060u) << "two registers of a byte";
}

} // namespace sable
