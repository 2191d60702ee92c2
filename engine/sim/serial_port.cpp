#include "sim/serial_port.h"

#include "sim/text_output.h"

namespace sable {

namespace {

enum SerialRegister : unsigned {
    serialData,
    serialInterruptEnable,
    serialFifo,
    serialLineControl,
    serialModemControl,
    serialLineStatus,
    serialModemStatus,
    serialScratch
};

constexpr uint8_t canSend = 0x60;        // holding register and shift register are empty
constexpr uint8_t noInterrupt = 0x01;    // of the interrupt identification
constexpr uint8_t fifoIsOn = 0xC0;       // of the same
constexpr uint8_t otherSideReady = 0xB0; // carrier, data set ready, clear to send
constexpr uint8_t loopBack = 0x10;       // of the modem control

// In loop-back the four outputs of the modem control are the inputs of the modem status.
uint8_t LoopedStatus(uint8_t control) {
    return uint8_t((control & 1) << 5 | (control & 2) << 3 | (control & 4) << 4 | (control & 8) << 4);
}

} // namespace

uint8_t SerialPort::Read(unsigned index) const {
    switch (index) {
    case serialData:
        return ShowsDivisor() ? uint8_t(values.divisor) : 0;
    case serialInterruptEnable:
        return ShowsDivisor() ? uint8_t(values.divisor >> 8) : values.interruptEnable;
    case serialFifo:
        return (values.fifoControl & 1) != 0 ? noInterrupt | fifoIsOn : noInterrupt;
    case serialLineControl:
        return values.lineControl;
    case serialModemControl:
        return values.modemControl;
    case serialLineStatus:
        return canSend;
    case serialModemStatus:
        return (values.modemControl & loopBack) != 0 ? LoopedStatus(values.modemControl) : otherSideReady;
    default:
        return values.scratch;
    }
}

void SerialPort::Write(unsigned index, uint8_t value) {
    switch (index) {
    case serialData:
        if (ShowsDivisor()) {
            values.divisor = uint16_t((values.divisor & 0xFF00) | value);
        } else if ((values.modemControl & loopBack) == 0) {
            output.Put(TextOutput::Port::serial, value);
        }
        break;
    case serialInterruptEnable:
        if (ShowsDivisor()) {
            values.divisor = uint16_t((values.divisor & 0xFF) | value << 8);
        } else {
            values.interruptEnable = value & 0x0F;
        }
        break;
    case serialFifo:
        values.fifoControl = value;
        break;
    case serialLineControl:
        values.lineControl = value;
        break;
    case serialModemControl:
        values.modemControl = value & 0x1F;
        break;
    case serialScratch:
        values.scratch = value;
        break;
    default:
        break; // the states are not written
    }
}

} // namespace sable
