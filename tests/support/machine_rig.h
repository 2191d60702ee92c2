#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "core/target.h"
#include "guest/guest_image.h"
#include "sim/machine.h"

/// Keeps what a machine sends.
class TextKeeper final : public sable::RawDataSink {
public:
    void PostRawData(const void *bytes, uint32_t size) override {
        pieces.emplace_back(static_cast<const char *>(bytes), size);
        text += pieces.back();
    }
    bool Has(std::string_view part) const { return text.find(part) != std::string::npos; }

    std::string text;
    std::vector<std::string> pieces;
};

/// The demo guest, or a program of a few bytes, on the simulated PC.
struct MachineRig {
    static constexpr uint64_t ramBytes = 64 << 20;

    explicit MachineRig(std::string_view guest = "demo", uint64_t ram = ramBytes)
        : machine(ram, sable::FindGuestImage(guest), keeper) {}
    /// Real-mode code that starts at GuestStart::loadAddress.
    explicit MachineRig(std::vector<uint8_t> bytes)
        : code(std::move(bytes)), machine(ramBytes, code, keeper) {}

    /// Runs until the guest has printed `part`; false when it stops before, or takes too long.
    bool RunUntil(std::string_view part, uint64_t limit = 400000000) {
        while (!keeper.Has(part)) {
            if (machine.Now() > limit || machine.Run(50000).stop != sable::MachineStop::none) return false;
        }
        return true;
    }

    std::vector<uint8_t> code;
    TextKeeper keeper;
    sable::Machine machine;
};

/// Lines by speaker: "boot: ", "kernel: ", "kernel: first: " and so on. Those of one speaker always come in
/// the same order; whose turn it is follows from the timer.
inline std::map<std::string, std::vector<std::string>> LinesBySpeaker(std::string_view text) {
    std::map<std::string, std::vector<std::string>> groups;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        if (end == std::string_view::npos) break; // a line that has just begun
        const std::string line(text.substr(0, end));
        text.remove_prefix(end + 1);
        std::string speaker = line.substr(0, std::min(line.find(": "), line.size()));
        for (const char *process : {"kernel: first: ", "kernel: second: "}) {
            if (line.starts_with(process)) speaker = process;
        }
        groups[speaker].push_back(line);
    }
    return groups;
}
