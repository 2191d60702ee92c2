#pragma once

#include "session/snapshot.h"

#include <array>
#include <cstdint>

class ktDisasm;

/// The instructions of one block of target memory as text, and which of them the instruction pointer is at. A
/// block may begin in the middle of an instruction, so decoding looks for a place to begin from which an
/// instruction starts at the pointer. Render thread. Nothing allocates.
class ktDisasmLines {
public:
    static constexpr uint32_t maxLines = 512;
    static constexpr uint32_t lineSize = 128; ///< bytes of a text, its terminator included

    /// Drops the lines; what was decoded says nothing about another connection's target.
    void Forget();
    /// True when the lines are those of the block at `address`.
    bool Shows(const ktAddress &address) const;
    /// Makes the line at `pointer` the current one. False, with nothing changed, when none starts there.
    bool FindPointer(uint64_t pointer);
    /// True when Decode need not be asked: there is no block, the pointer lies outside it, or the same bytes
    /// were tried for the same pointer before. No disassembler is needed to tell.
    bool IsHopeless(const ktSnapshotState &snapshot) const;
    /// Takes the lines of the snapshot's block from the first place to begin that leads to the instruction
    /// pointer, whose line becomes the current one. False, with the lines unchanged, when there is no such
    /// place.
    bool Decode(const ktSnapshotState &snapshot, ktDisasm &disasm);

    uint64_t AddressOf(uint32_t line) const { return base.value + offsets[line]; }
    const char *TextOf(uint32_t line) const { return lines[line].data(); }

    ktAddress base; ///< of the decoded block; of no kind at first
    uint32_t line_count = 0;
    uint32_t current_line = 0;
    std::array<uint32_t, maxLines> offsets{}; ///< of each line from `base`, ascending
    std::array<std::array<char, lineSize>, maxLines> lines{};

private:
    /// All that the outcome of a search depends on.
    struct Attempt {
        ktAddress address;
        uint64_t pointer = 0;
        uint64_t size = 0;
        uint32_t mode = 0;
        std::array<uint8_t, ktSnapshotCodeSize> code{};
    };

    bool has_failed = false;
    Attempt failed; ///< the last search that was in vain; valid with `has_failed`
};
