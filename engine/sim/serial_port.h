#pragma once

#include <cstdint>

namespace sable {

class TextOutput;

/// A 16550 serial port that sends at once, receives nothing and asks for no interrupts.
class SerialPort {
public:
    /// `text` takes what is sent and outlives this.
    explicit SerialPort(TextOutput &text) : output(text) {}
    /// As after power on.
    void Reset() { values = {}; }

    /// Registers 0 to 7.
    uint8_t Read(unsigned index) const;
    void Write(unsigned index, uint8_t value);

private:
    struct Values {
        uint8_t interruptEnable = 0, fifoControl = 0, lineControl = 0, modemControl = 0, scratch = 0;
        uint16_t divisor = 12; // 9600 bits a second
    };

    bool ShowsDivisor() const { return (values.lineControl & 0x80) != 0; }

    TextOutput &output;
    Values values;
};

} // namespace sable
