#pragma once

#include <cstdint>

namespace sable {

/// One 8259 interrupt controller: eight lines that count when they rise, line 0 first. Without rotation of
/// priorities, special masks and polling.
class Pic {
public:
    void SetLine(unsigned line, bool raised);
    /// The processor ought to be interrupted.
    bool HasInterrupt() const { return Pending() < lineCount; }
    /// The line that is served from now on; the last one when nothing is there any more.
    unsigned Acknowledge();
    uint8_t VectorOf(unsigned line) const { return uint8_t(vectorBase | line); }

    uint8_t Read(bool isData) const { return isData ? mask : readsInService ? inService : requests; }
    void Write(bool isData, uint8_t value);

private:
    static constexpr unsigned lineCount = 8;

    enum class InitWord : uint8_t { none, vector, cascade, mode };

    unsigned Pending() const;
    void WriteCommand(uint8_t value);
    void WriteData(uint8_t value);
    void EndInterrupt(uint8_t command);

    uint8_t levels = 0, requests = 0, inService = 0, mask = 0xFF;
    uint8_t vectorBase = 0;
    InitWord awaited = InitWord::none;
    bool isSingle = false, needsMode = false, endsAtOnce = false, readsInService = false;
};

/// Two of them: the second one's output is line 2 of the first.
class PicPair {
public:
    void SetLine(unsigned line, bool raised);
    bool HasInterrupt() const { return first.HasInterrupt(); }
    /// The vector of what is served from now on.
    uint8_t Acknowledge();
    uint8_t Read(bool isSecond, bool isData) const { return (isSecond ? second : first).Read(isData); }
    void Write(bool isSecond, bool isData, uint8_t value);

private:
    static constexpr unsigned cascadeLine = 2;

    void Cascade() { first.SetLine(cascadeLine, second.HasInterrupt()); }

    Pic first, second;
};

} // namespace sable
