#include "views/disasm_lines.h"

#include <algorithm>
#include <cstring>

#include "disasm/disasm.h"

namespace {

uint32_t BlockSize(const ktSnapshotState &snapshot) {
    return static_cast<uint32_t>(std::min(snapshot.codeSize, ktSnapshotCodeSize));
}

/// Where the instruction pointer stands in the block; past its end when it lies outside.
uint64_t PointerOffset(const ktSnapshotState &snapshot) {
    return snapshot.context.values[ktRegIp] - snapshot.codeAddress.value;
}

bool IsSamePlace(const ktAddress &one, const ktAddress &other) {
    if (one.kind != other.kind || one.value != other.value) return false;
    switch (one.kind) {
    case ktAddress::kindVirtual:
        return one.selector == other.selector && one.root == other.root;
    case ktAddress::kindLinear:
        return one.root == other.root;
    case ktAddress::kindPhysical:
        return true;
    default:
        return false;
    }
}

/// The instructions of a snapshot's block. Lengths are asked for once each: walks from different beginnings
/// soon run over the same bytes.
class Block {
public:
    Block(const ktSnapshotState &newSnapshot, ktDisasm &newDisasm)
        : snapshot(newSnapshot), disasm(newDisasm), size(BlockSize(newSnapshot)) {
        lengths.fill(unknownLength);
    }

    uint32_t Size() const { return size; }
    /// Length of the instruction at `at`, which is in the block; 0 when there is none.
    uint32_t LengthAt(uint32_t at) {
        if (lengths[at] == unknownLength) lengths[at] = Disassemble(at, nullptr, 0);
        return lengths[at];
    }
    template <size_t Size>
    void PrintAt(uint32_t at, std::array<char, Size> &text) {
        text.front() = 0;
        Disassemble(at, text.data(), static_cast<uint32_t>(Size));
        text.back() = 0;
    }

private:
    static constexpr uint16_t unknownLength = 0xFFFF;

    uint16_t Disassemble(uint32_t at, char *text, uint32_t textSize) {
        disasm.SetSpace(snapshot.space);
        disasm.SetMode(static_cast<int32_t>(snapshot.context.mode));
        disasm.SetAddress(snapshot.codeAddress.value + at);
        const uint64_t length = disasm.Disassemble(snapshot.code + at, size - at, text, textSize);
        return static_cast<uint16_t>(std::min<uint64_t>(length, size - at));
    }

    const ktSnapshotState &snapshot;
    ktDisasm &disasm;
    uint32_t size;
    std::array<uint16_t, ktSnapshotCodeSize> lengths;
};

/// True when a walk from `start` has an instruction at `target` among its first lines. A byte that begins no
/// instruction is stepped over and makes no line.
bool LeadsTo(Block &block, uint32_t start, uint32_t target) {
    uint32_t made = 0;
    uint32_t at = start;
    while (at < target && made < ktDisasmLines::maxLines) {
        const uint32_t length = block.LengthAt(at);
        if (length != 0) ++made;
        at += std::max(length, 1u);
    }
    return at == target && made < ktDisasmLines::maxLines;
}

/// The first place to begin from which a walk comes to `target`. False when there is none.
bool FindStart(Block &block, uint32_t target, uint32_t &start) {
    if (block.LengthAt(target) == 0) return false;
    for (start = 0; start <= target; ++start)
        if (LeadsTo(block, start, target)) return true;
    return false;
}

} // namespace

void ktDisasmLines::Forget() {
    base = ktAddress();
    line_count = 0;
    current_line = 0;
    has_failed = false;
}

bool ktDisasmLines::Shows(const ktAddress &address) const { return IsSamePlace(address, base); }

bool ktDisasmLines::FindPointer(uint64_t pointer) {
    if (line_count == 0) return false;
    const uint64_t wanted = pointer - base.value;
    const auto current = offsets.begin() + current_line;
    const auto end = offsets.begin() + line_count;
    if (*current == wanted) return true;
    // Mostly it is the next one, as in stepping.
    if (current + 1 != end && current[1] == wanted) {
        ++current_line;
        return true;
    }
    const bool isAbove = wanted > *current;
    const auto last = isAbove ? end : current;
    const auto found = std::lower_bound(isAbove ? current : offsets.begin(), last, wanted);
    if (found == last || *found != wanted) return false;
    current_line = static_cast<uint32_t>(found - offsets.begin());
    return true;
}

bool ktDisasmLines::IsHopeless(const ktSnapshotState &snapshot) const {
    if (snapshot.codeAddress.kind == ktAddress::kindNone) return true;
    const uint32_t size = BlockSize(snapshot);
    if (PointerOffset(snapshot) >= size) return true;
    return has_failed && IsSamePlace(failed.address, snapshot.codeAddress) &&
           failed.pointer == snapshot.context.values[ktRegIp] && failed.mode == snapshot.context.mode &&
           failed.size == size && std::memcmp(failed.code.data(), snapshot.code, size) == 0;
}

bool ktDisasmLines::Decode(const ktSnapshotState &snapshot, ktDisasm &disasm) {
    if (IsHopeless(snapshot)) return false;
    Block block(snapshot, disasm);
    const auto target = static_cast<uint32_t>(PointerOffset(snapshot));
    uint32_t at = 0;
    if (!FindStart(block, target, at)) {
        // In an unknown mode the disassembler keeps the last one, so the same bytes may decode another time.
        has_failed = disasm.SetMode(static_cast<int32_t>(snapshot.context.mode));
        failed.address = snapshot.codeAddress;
        failed.pointer = snapshot.context.values[ktRegIp];
        failed.size = block.Size();
        failed.mode = snapshot.context.mode;
        std::copy_n(snapshot.code, block.Size(), failed.code.begin());
        return false;
    }
    line_count = 0;
    while (at < block.Size() && line_count < maxLines) {
        const uint32_t length = block.LengthAt(at);
        if (length != 0) {
            if (at == target) current_line = line_count;
            offsets[line_count] = at;
            block.PrintAt(at, lines[line_count]);
            ++line_count;
        }
        at += std::max(length, 1u);
    }
    base = snapshot.codeAddress;
    return true;
}
