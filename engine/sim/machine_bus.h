#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "sim/bus.h"
#include "sim/interval_timer.h"
#include "sim/local_apic.h"
#include "sim/pic.h"
#include "sim/serial_port.h"
#include "sim/text_output.h"

namespace sable {

class Cpu;

/// What devices want of the machine as a whole, once the instruction that is being executed has ended.
struct MachineWishes {
    static constexpr unsigned coreCount = 2;

    bool reset = false;
    std::array<bool, coreCount> init = {};
    std::array<std::optional<uint8_t>, coreCount> start; ///< page number of the first instruction
};

/// The devices of the machine and the addresses at which its processors reach them.
class MachineBus final : public Bus {
public:
    static constexpr unsigned coreCount = MachineWishes::coreCount;

    explicit MachineBus(RawDataSink &sink) : text(sink), serial(text) {}
    MachineBus(const MachineBus &) = delete;
    MachineBus &operator=(const MachineBus &) = delete;

    /// Before anything else, for each core; the processor outlives this.
    void Attach(unsigned core, Cpu &cpu) { cpus[core] = &cpu; }
    /// All devices as after power on, and time 0.
    void Reset();
    void ResetApic(unsigned core);

    uint64_t Now() const { return now; }
    /// When something happens by itself; IntervalTimer::never when nothing will.
    uint64_t NextEvent() const { return timer.NextRise(); }
    /// Time goes on, and what is due happens.
    void Elapse(uint64_t units);

    bool HasWishes() const { return hasWishes; }
    MachineWishes TakeWishes();
    TextOutput &Text() { return text; }

    uint64_t ReadDevice(unsigned core, uint64_t physical, unsigned size) override;
    void WriteDevice(unsigned core, uint64_t physical, unsigned size, uint64_t value) override;
    uint32_t ReadPort(unsigned core, uint16_t port, unsigned size) override;
    void WritePort(unsigned core, uint16_t port, unsigned size, uint32_t value) override;
    uint8_t AcknowledgeInterrupt(unsigned core) override;
    void TaskPriorityChanged(unsigned core, unsigned priority) override;

private:
    struct PortRange;
    static const PortRange portRanges[];
    static const PortRange *FindPort(uint16_t port);

    bool IsApic(unsigned core, uint64_t physical) const;
    void Send(unsigned core, const InterProcessor &message);
    void Receive(unsigned core, const InterProcessor &message);
    void Wish(unsigned core);
    void UpdateLines();

    uint8_t ReadPic(uint16_t port);
    void WritePic(uint16_t port, uint8_t value);
    uint8_t ReadTimer(uint16_t port) { return timer.Read(port & 3u, now); }
    void WriteTimer(uint16_t port, uint8_t value) { timer.Write(port & 3u, value, now); }
    uint8_t ReadSerial(uint16_t port) { return serial.Read(port & 7u); }
    void WriteSerial(uint16_t port, uint8_t value) { serial.Write(port & 7u, value); }
    uint8_t ReadDebug(uint16_t) { return 0xE9; } // by which programs know that it is there
    void WriteDebug(uint16_t, uint8_t value) { text.Put(TextOutput::Port::debug, value); }
    uint8_t ReadKeyboard(uint16_t) { return 0; } // nothing to read, ready for a command
    void WriteKeyboard(uint16_t port, uint8_t value);
    uint8_t ReadControl(uint16_t) { return control; }
    void WriteControl(uint16_t, uint8_t value);
    uint8_t ReadReset(uint16_t) { return resetControl; }
    void WriteReset(uint16_t, uint8_t value);

    std::array<Cpu *, coreCount> cpus = {};
    TextOutput text;
    SerialPort serial;
    PicPair pics;
    IntervalTimer timer;
    std::array<LocalApic, coreCount> apics = {LocalApic(0), LocalApic(1)};
    uint64_t now = 0;
    uint8_t control = 2; // port 0x92: address line 20 is on, always
    uint8_t resetControl = 0;
    MachineWishes wishes;
    bool hasWishes = false;
};

} // namespace sable
