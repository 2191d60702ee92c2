#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

/// A string section, with what a look at an offset needs to know.
class ktTextSection {
public:
    ktTextSection() = default;
    explicit ktTextSection(std::span<const uint8_t> sectionBytes) : bytes(sectionBytes) {
        terminatedEnd = bytes.size();
        while (terminatedEnd != 0 && bytes[terminatedEnd - 1] != 0) --terminatedEnd;
    }
    /// A terminated text starts there.
    bool Holds(uint64_t offset) const { return offset < terminatedEnd; }
    /// The text there, or as much of it as `most` bytes hold. Only where Holds. Sections may hold texts of
    /// any length that many entries name, so no more than that is looked at.
    std::string_view At(uint64_t offset, uint64_t most) const {
        const auto *text = reinterpret_cast<const char *>(bytes.data() + offset);
        const auto window = static_cast<size_t>(std::min(terminatedEnd - offset, most));
        const void *zero = std::memchr(text, 0, window);
        return {text, zero ? static_cast<size_t>(static_cast<const char *>(zero) - text) : window};
    }
    /// A zero stands behind `text`, which At gave.
    bool EndsBehind(std::string_view text) const { return text.data()[text.size()] == 0; }

private:
    std::span<const uint8_t> bytes;
    uint64_t terminatedEnd = 0; // behind the last zero
};
