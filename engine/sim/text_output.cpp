#include "sim/text_output.h"

#include "core/target.h"

namespace sable {

void TextOutput::Put(Port port, uint8_t byte) {
    const bool isEcho = port != lastPort && byte == lastByte;
    lastPort = port;
    lastByte = isEcho ? -1 : byte;
    if (isEcho) return;
    waiting.push_back(char(byte));
    if (byte == '\n' || waiting.size() >= longestPiece) Flush();
}

void TextOutput::Flush() {
    if (waiting.empty()) return;
    sink.PostRawData(waiting.data(), uint32_t(waiting.size()));
    waiting.clear();
    seen = 0;
}

void TextOutput::FlushIfQuiet() {
    if (waiting.size() == seen) Flush();
    seen = waiting.size();
}

} // namespace sable
