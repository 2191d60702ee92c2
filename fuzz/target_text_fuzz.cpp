#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "session/dump_format.h"
#include "session/page_walk_result.h"
#include "session/page_walk_text.h"
#include "support/recording_lines.h"

namespace {

void Check(bool holds) {
    if (!holds) std::abort();
}

/// Takes numbers from the front of the input; 0 behind its end.
class Input {
public:
    Input(const uint8_t *data, size_t size) : rest(data), left(size) {}
    template <typename Number>
    Number Take() {
        Number number = 0;
        const size_t size = std::min(left, sizeof(number));
        if (size > 0) std::memcpy(&number, rest, size);
        rest += size;
        left -= size;
        return number;
    }
    std::vector<uint8_t> Rest() const { return {rest, rest + left}; }

private:
    const uint8_t *rest;
    size_t left;
};

void CheckLines(const ktRecordingLines &lines) {
    for (const std::string &line : lines.lines) Check(line.size() < ktDumpFormat::rowTextSize);
}

void DumpBytes(Input input) {
    ktRecordingLines lines;
    ktDumpFormat format;
    format.sink = &lines;
    format.rowBytes = input.Take<uint8_t>() % 4 == 0 ? ktDumpFitRow : input.Take<uint32_t>();
    format.elementWidth = input.Take<uint8_t>() % 10;
    format.flags = input.Take<uint8_t>();
    format.maxColumns = input.Take<uint16_t>();
    const auto address = input.Take<uint64_t>();
    const auto offset = input.Take<int64_t>();
    const std::vector<uint8_t> bytes = input.Rest();
    format.Dump(address, bytes, offset);

    CheckLines(lines);
    const uint64_t perRow = format.RowBytes();
    const uint64_t width = format.elementWidth;
    if (perRow == 0) {
        Check(lines.lines.empty());
        return;
    }
    const uint64_t shown = bytes.size() % width == 0 ? bytes.size() : bytes.size() / width;
    Check(lines.lines.size() == (shown + perRow - 1) / perRow);
}

void ShowWalk(Input input) {
    ktRecordingLines lines;
    ktPageWalkResult walk;
    walk.levelCount = input.Take<uint16_t>();
    walk.mode = input.Take<uint8_t>() % 6;
    walk.valid = input.Take<uint8_t>() % 2;
    const auto bits = input.Take<uint8_t>();
    const auto root = input.Take<uint64_t>();
    for (uint64_t &entry : walk.entries) entry = input.Take<uint64_t>();
    ktPutPageWalk(lines, walk, root, bits);
    CheckLines(lines);
    Check(lines.lines.size() <= 3 + 3 * ktPageWalkLevels);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    DumpBytes(Input(data, size));
    ShowWalk(Input(data, size));
    return 0;
}
