#include "sim/pic.h"

#include <bit>

namespace sable {

namespace {

enum CommandBits : uint8_t { isInit = 0x10, isReadCommand = 0x08 };
enum InitBits : uint8_t { initNeedsMode = 1, initIsSingle = 2 };
enum ReadBits : uint8_t { readInService = 1, readSelects = 2 };
enum EndBits : uint8_t { endIsSpecific = 0x40, endsInterrupt = 0x20 };
constexpr uint8_t modeEndsAtOnce = 2;

// The lowest line that is set; 8 when none is.
unsigned First(uint8_t lines) { return unsigned(std::countr_zero(lines | 0x100u)); }

} // namespace

void Pic::SetLine(unsigned line, bool raised) {
    const uint8_t bit = uint8_t(1u << line);
    if (raised && (levels & bit) == 0) requests |= bit;
    levels = uint8_t(raised ? levels | bit : levels & ~bit);
}

unsigned Pic::Pending() const {
    if (awaited != InitWord::none) return lineCount;
    const unsigned wanted = First(uint8_t(requests & ~mask));
    return wanted < First(inService) ? wanted : lineCount;
}

unsigned Pic::Acknowledge() {
    const unsigned line = Pending();
    if (line == lineCount) return lineCount - 1;
    const uint8_t bit = uint8_t(1u << line);
    requests = uint8_t(requests & ~bit);
    if (!endsAtOnce) inService |= bit;
    return line;
}

void Pic::Write(bool isData, uint8_t value) {
    if (isData) {
        WriteData(value);
    } else {
        WriteCommand(value);
    }
}

void Pic::WriteCommand(uint8_t value) {
    if ((value & isInit) != 0) {
        requests = inService = mask = 0;
        readsInService = endsAtOnce = false;
        isSingle = (value & initIsSingle) != 0;
        needsMode = (value & initNeedsMode) != 0;
        awaited = InitWord::vector;
    } else if ((value & isReadCommand) != 0) {
        if ((value & readSelects) != 0) readsInService = (value & readInService) != 0;
    } else if ((value & endsInterrupt) != 0) {
        EndInterrupt(value);
    }
}

void Pic::EndInterrupt(uint8_t command) {
    const unsigned line = (command & endIsSpecific) != 0 ? command & 7u : First(inService);
    inService = uint8_t(inService & ~(1u << line));
}

// What the command for initialisation is followed by, or the mask.
void Pic::WriteData(uint8_t value) {
    const InitWord last = needsMode ? InitWord::mode : InitWord::none;
    switch (awaited) {
    case InitWord::vector:
        vectorBase = value & 0xF8;
        awaited = isSingle ? last : InitWord::cascade;
        break;
    case InitWord::cascade:
        awaited = last;
        break;
    case InitWord::mode:
        endsAtOnce = (value & modeEndsAtOnce) != 0;
        awaited = InitWord::none;
        break;
    case InitWord::none:
        mask = value;
        break;
    }
}

void PicPair::SetLine(unsigned line, bool raised) {
    if (line < 8) {
        first.SetLine(line, raised);
    } else {
        second.SetLine(line - 8, raised);
        Cascade();
    }
}

uint8_t PicPair::Acknowledge() {
    const unsigned line = first.Acknowledge();
    if (line != cascadeLine) return first.VectorOf(line);
    const unsigned below = second.Acknowledge();
    Cascade();
    return second.VectorOf(below);
}

void PicPair::Write(bool isSecond, bool isData, uint8_t value) {
    (isSecond ? second : first).Write(isData, value);
    Cascade();
}

} // namespace sable
