#include "sim/local_apic.h"

namespace sable {

namespace {

enum ApicRegister : unsigned {
    apicId = 0x20,
    apicVersion = 0x30,
    apicTaskPriority = 0x80,
    apicPriority = 0xA0,
    apicEnd = 0xB0,
    apicLogicalId = 0xD0,
    apicLogicalForm = 0xE0,
    apicSpurious = 0xF0,
    apicInService = 0x100,
    apicRequested = 0x200,
    apicCommandLow = 0x300,
    apicCommandHigh = 0x310,
    apicFirstLocal = 0x320 // timer, thermal, performance, line 0, line 1, error
};

constexpr uint32_t version = 0x00050014;
constexpr unsigned line0 = 3;
constexpr uint32_t localMask = 0x10000, localKind = 0x700, kindExternal = 0x700;
constexpr uint32_t localBits = 0x1A7FF, commandBits = 0xCCFFF;
constexpr uint32_t levelAssert = 0x4000, triggerLevel = 0x8000;

/// Eight registers of 32 vectors each.
uint32_t Word(const std::bitset<256> &vectors, unsigned index) {
    uint32_t word = 0;
    for (unsigned bit = 0; bit < 32; ++bit) word |= vectors[index * 32 + bit] ? uint32_t(1) << bit : 0;
    return word;
}

unsigned Highest(const std::bitset<256> &vectors) {
    for (unsigned vector = 256; vector-- > 0;) {
        if (vectors[vector]) return vector;
    }
    return 256;
}

InterProcessor Decode(uint32_t low, uint32_t high) {
    using Kind = InterProcessor::Kind;
    constexpr Kind kinds[8] = {Kind::fixed, Kind::fixed, Kind::none,  Kind::none,
                               Kind::nmi,   Kind::init,  Kind::start, Kind::none};
    InterProcessor result = {kinds[low >> 8 & 7], InterProcessor::To(low >> 18 & 3), uint8_t(low),
                             uint8_t(high >> 24)};
    // The end of an INIT by level has no effect.
    if (result.kind == Kind::init && (low & levelAssert) == 0 && (low & triggerLevel) != 0)
        result.kind = Kind::none;
    return result;
}

} // namespace

void LocalApic::Reset() {
    taskPriority = 0;
    spurious = 0xFF;
    logicalId = commandLow = commandHigh = 0;
    logicalForm = ~uint32_t(0);
    local.fill(localMask);
    requested.reset();
    inService.reset();
}

uint8_t LocalApic::Priority() const {
    const unsigned served = inService.any() ? Highest(inService) & 0xF0 : 0;
    return uint8_t(served > taskPriority ? served : taskPriority);
}

unsigned LocalApic::Pending() const {
    if (!requested.any()) return none;
    const unsigned vector = Highest(requested);
    return (vector & 0xF0) > (Priority() & 0xF0u) ? vector : none;
}

void LocalApic::Request(uint8_t vector) {
    if (IsOn() && vector >= 16) requested.set(vector);
}

bool LocalApic::PassesLine0() const { return (local[line0] & (localMask | localKind)) == kindExternal; }

uint8_t LocalApic::Acknowledge() {
    const unsigned vector = Pending();
    if (vector == none) return uint8_t(spurious);
    requested.reset(vector);
    inService.set(vector);
    return uint8_t(vector);
}

uint32_t LocalApic::Read(unsigned offset) const {
    if (offset % 16 != 0) return 0;
    if (offset >= apicInService && offset < apicInService + 0x80) return Word(inService, offset / 16 & 7);
    if (offset >= apicRequested && offset < apicRequested + 0x80) return Word(requested, offset / 16 & 7);
    if (offset >= apicFirstLocal && offset < apicFirstLocal + 16 * localCount)
        return local[(offset - apicFirstLocal) / 16];
    switch (offset) {
    case apicId:
        return uint32_t(id) << 24;
    case apicVersion:
        return version;
    case apicTaskPriority:
        return taskPriority;
    case apicPriority:
        return Priority();
    case apicLogicalId:
        return logicalId;
    case apicLogicalForm:
        return logicalForm;
    case apicSpurious:
        return spurious;
    case apicCommandLow:
        return commandLow;
    case apicCommandHigh:
        return commandHigh;
    default:
        return 0;
    }
}

InterProcessor LocalApic::Write(unsigned offset, uint32_t value) {
    if (offset >= apicFirstLocal && offset < apicFirstLocal + 16 * localCount && offset % 16 == 0) {
        local[(offset - apicFirstLocal) / 16] = (value & localBits) | (IsOn() ? 0 : localMask);
        return {};
    }
    switch (offset) {
    case apicTaskPriority:
        taskPriority = uint8_t(value);
        break;
    case apicEnd:
        if (inService.any()) inService.reset(Highest(inService));
        break;
    case apicLogicalId:
        logicalId = value & 0xFF000000;
        break;
    case apicLogicalForm:
        logicalForm = value | 0x0FFFFFFF;
        break;
    case apicSpurious:
        spurious = value & 0x1FF;
        if (!IsOn()) {
            for (uint32_t &each : local) each |= localMask;
        }
        break;
    case apicCommandLow:
        commandLow = value & commandBits;
        return Decode(commandLow, commandHigh);
    case apicCommandHigh:
        commandHigh = value & 0xFF000000;
        break;
    default:
        break;
    }
    return {};
}

} // namespace sable
