#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace sable {

class RawDataSink;

/// Collects what the machine's ports send, so that it arrives by lines and not by characters. Bytes keep
/// their order, whatever port they come from.
class TextOutput {
public:
    static constexpr size_t longestPiece = 256;

    enum class Port : uint8_t { serial, debug };

    /// `target` outlives this.
    explicit TextOutput(RawDataSink &target) : sink(target) {}
    /// Sends what is there at the end of a line, or when it is longestPiece bytes. A byte that the other port
    /// has just sent as well counts once: guests send their text to both.
    void Put(Port port, uint8_t byte);
    void Flush();
    /// Sends the beginning of a line to which nothing has been added since the call before.
    void FlushIfQuiet();

private:
    RawDataSink &sink;
    std::string waiting;
    size_t seen = 0; // bytes of `waiting` at the last FlushIfQuiet
    Port lastPort = Port::serial;
    int lastByte = -1; // -1: nothing that could be sent a second time
};

} // namespace sable
