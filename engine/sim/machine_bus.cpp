#include "sim/machine_bus.h"

#include <utility>

#include "sim/cpu.h"

namespace sable {

namespace {

constexpr unsigned timerLine = 0;
constexpr uint64_t apicEnabled = 0x800;
constexpr uint16_t secondPic = 0xA0, keyboardCommand = 0x64, configurationAddress = 0xCF8;
constexpr uint8_t keyboardReset = 0xFE, controlReset = 1, controlLine20 = 2, resetNow = 4;

uint64_t Mask(unsigned size) { return ~uint64_t(0) >> (64 - 8 * size); }

} // namespace

/// Ports of one device, a byte each.
struct MachineBus::PortRange {
    uint16_t first, last;
    uint8_t (MachineBus::*read)(uint16_t);
    void (MachineBus::*write)(uint16_t, uint8_t);
};

const MachineBus::PortRange MachineBus::portRanges[] = {
    {0x20, 0x21, &MachineBus::ReadPic, &MachineBus::WritePic},
    {0x40, 0x43, &MachineBus::ReadTimer, &MachineBus::WriteTimer},
    {0x60, 0x60, &MachineBus::ReadKeyboard, &MachineBus::WriteKeyboard},
    {0x64, 0x64, &MachineBus::ReadKeyboard, &MachineBus::WriteKeyboard},
    {0x92, 0x92, &MachineBus::ReadControl, &MachineBus::WriteControl},
    {secondPic, secondPic + 1, &MachineBus::ReadPic, &MachineBus::WritePic},
    {0xE9, 0xE9, &MachineBus::ReadDebug, &MachineBus::WriteDebug},
    {0x3F8, 0x3FF, &MachineBus::ReadSerial, &MachineBus::WriteSerial},
    {0xCF9, 0xCF9, &MachineBus::ReadReset, &MachineBus::WriteReset},
};

void MachineBus::Reset() {
    serial.Reset();
    pics = PicPair();
    timer = IntervalTimer();
    for (LocalApic &apic : apics) apic.Reset();
    now = 0;
    control = controlLine20;
    resetControl = 0;
    TakeWishes();
    UpdateLines();
}

void MachineBus::ResetApic(unsigned core) {
    apics[core].Reset();
    UpdateLines();
}

void MachineBus::Elapse(uint64_t units) {
    now += units;
    if (!timer.HasRisen(now)) return;
    pics.SetLine(timerLine, false);
    pics.SetLine(timerLine, true);
    UpdateLines();
}

MachineWishes MachineBus::TakeWishes() {
    hasWishes = false;
    return std::exchange(wishes, MachineWishes());
}

void MachineBus::Wish(unsigned core) {
    hasWishes = true;
    cpus[core]->RequestExit();
}

void MachineBus::UpdateLines() {
    const bool hasLine = pics.HasInterrupt();
    for (unsigned core = 0; core < coreCount; ++core) {
        const LocalApic &apic = apics[core];
        cpus[core]->SetInterruptLine((hasLine && apic.PassesLine0()) || apic.HasInterrupt());
    }
}

uint8_t MachineBus::AcknowledgeInterrupt(unsigned core) {
    LocalApic &apic = apics[core];
    const bool isLine = pics.HasInterrupt() && apic.PassesLine0();
    const uint8_t vector = isLine ? pics.Acknowledge() : apic.Acknowledge();
    UpdateLines();
    return vector;
}

void MachineBus::TaskPriorityChanged(unsigned core, unsigned priority) {
    apics[core].SetTaskPriority(uint8_t(priority << 4));
    UpdateLines();
}

bool MachineBus::IsApic(unsigned core, uint64_t physical) const {
    const uint64_t base = cpus[core]->registers.msr.apicBase;
    return (base & apicEnabled) != 0 && physical / LocalApic::pageSize == base / LocalApic::pageSize;
}

// Registers have 4 bytes: narrower accesses see a part of one and do not write, wider ones reach the first.
uint64_t MachineBus::ReadDevice(unsigned core, uint64_t physical, unsigned size) {
    if (!IsApic(core, physical)) return Mask(size);
    const unsigned offset = unsigned(physical % LocalApic::pageSize);
    return (uint64_t(apics[core].Read(offset & ~3u)) >> 8 * (offset & 3)) & Mask(size);
}

void MachineBus::WriteDevice(unsigned core, uint64_t physical, unsigned size, uint64_t value) {
    if (!IsApic(core, physical) || size < 4 || physical % 4 != 0) return;
    LocalApic &apic = apics[core];
    const InterProcessor message = apic.Write(unsigned(physical % LocalApic::pageSize), uint32_t(value));
    if (message.kind != InterProcessor::Kind::none) Send(core, message);
    cpus[core]->registers.cr8 = apic.TaskPriority() >> 4;
    UpdateLines();
}

void MachineBus::Send(unsigned core, const InterProcessor &message) {
    using To = InterProcessor::To;
    for (unsigned each = 0; each < coreCount; ++each) {
        const bool isNamed = message.destination == 0xFF || message.destination == each;
        const bool isMeant = message.to == To::one      ? isNamed
                             : message.to == To::self   ? each == core
                             : message.to == To::others ? each != core
                                                        : true;
        if (isMeant) Receive(each, message);
    }
    const bool isWish =
        message.kind == InterProcessor::Kind::init || message.kind == InterProcessor::Kind::start;
    if (isWish) Wish(core);
}

void MachineBus::Receive(unsigned core, const InterProcessor &message) {
    switch (message.kind) {
    case InterProcessor::Kind::fixed:
        apics[core].Request(message.vector);
        break;
    case InterProcessor::Kind::nmi:
        cpus[core]->RaiseNmi();
        break;
    case InterProcessor::Kind::init:
        wishes.init[core] = true;
        break;
    case InterProcessor::Kind::start:
        wishes.start[core] = message.vector;
        break;
    case InterProcessor::Kind::none:
        break;
    }
}

const MachineBus::PortRange *MachineBus::FindPort(uint16_t port) {
    for (const PortRange &range : portRanges) {
        if (port >= range.first && port <= range.last) return &range;
    }
    return nullptr;
}

// Wider accesses are split into bytes, but for the configuration address, which shares a port with the reset.
uint32_t MachineBus::ReadPort(unsigned, uint16_t port, unsigned size) {
    if (port == configurationAddress && size == 4) return ~uint32_t(0);
    uint32_t value = 0;
    for (unsigned n = 0; n < size; ++n) {
        const uint16_t at = uint16_t(port + n);
        const PortRange *range = FindPort(at);
        value |= uint32_t(range != nullptr ? (this->*range->read)(at) : uint8_t(0xFF)) << 8 * n;
    }
    return value;
}

void MachineBus::WritePort(unsigned core, uint16_t port, unsigned size, uint32_t value) {
    if (port == configurationAddress && size == 4) return;
    for (unsigned n = 0; n < size; ++n) {
        const uint16_t at = uint16_t(port + n);
        if (const PortRange *range = FindPort(at)) (this->*range->write)(at, uint8_t(value >> 8 * n));
    }
    if (wishes.reset) Wish(core);
    UpdateLines();
}

uint8_t MachineBus::ReadPic(uint16_t port) { return pics.Read(port >= secondPic, (port & 1) != 0); }

void MachineBus::WritePic(uint16_t port, uint8_t value) {
    pics.Write(port >= secondPic, (port & 1) != 0, value);
}

void MachineBus::WriteKeyboard(uint16_t port, uint8_t value) {
    if (port == keyboardCommand && value == keyboardReset) wishes.reset = true;
}

void MachineBus::WriteControl(uint16_t, uint8_t value) {
    if ((value & ~control & controlReset) != 0) wishes.reset = true;
    control = value | controlLine20;
}

void MachineBus::WriteReset(uint16_t, uint8_t value) {
    if ((value & ~resetControl & resetNow) != 0) wishes.reset = true;
    resetControl = value;
}

} // namespace sable
