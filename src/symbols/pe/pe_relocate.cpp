#include "symbols/pe/pe_relocate.h"

#include <cstring>

#include "symbols/pe/pe_file.h"

namespace {

/// Adds to the word at `target`, which may lie anywhere; one that is not whole inside the image stays.
template <class Word>
void AddToWord(ktPeFile &pe, uint64_t target, uint64_t addition) {
    if (!pe.IsInImage(target, sizeof(Word))) return;
    Word word;
    std::memcpy(&word, pe.image.get() + target, sizeof(word));
    word = static_cast<Word>(word + addition);
    std::memcpy(pe.image.get() + target, &word, sizeof(word));
}

void ApplyEntry(ktPeFile &pe, uint32_t type, uint64_t target, uint64_t delta) {
    switch (type) {
    case ktPeRelocationHigh:
        AddToWord<uint16_t>(pe, target, delta >> 16);
        break;
    case ktPeRelocationLow:
        AddToWord<uint16_t>(pe, target, delta);
        break;
    case ktPeRelocation32:
        AddToWord<uint32_t>(pe, target, delta);
        break;
    case ktPeRelocation64:
        AddToWord<uint64_t>(pe, target, delta);
        break;
    default: // padding, and types that these machines do not have
        break;
    }
}

void ApplyBlock(ktPeFile &pe, uint64_t offset, const ktPeRelocationBlock &block, uint64_t delta) {
    const uint32_t count = (block.size - uint32_t(sizeof(block))) / uint32_t(sizeof(uint16_t));
    for (uint64_t i = 0; i < count; ++i) {
        // The entries lie in the image that is being changed, so each is read when its turn comes.
        uint16_t entry;
        std::memcpy(&entry, pe.image.get() + offset + sizeof(block) + i * sizeof(entry), sizeof(entry));
        ApplyEntry(pe, entry >> 12, uint64_t(block.pageAddress) + (entry & 0xFFFu), delta);
    }
}

} // namespace

bool Relocate(ktPeFile &pe, uint64_t requestedBase) {
    if (requestedBase == 0) return true;
    if (!pe.image || !pe.relocatable) return false;
    const ktPeDataDirectory *directory = pe.Directory(ktPeDirectoryRelocations);
    if (!directory || directory->size == 0 || !pe.IsInImage(directory->virtualAddress, directory->size))
        return false;
    if (requestedBase == pe.imageBase) return true;

    const uint64_t delta = requestedBase - pe.imageBase;
    const uint64_t end = uint64_t(directory->virtualAddress) + directory->size;
    ktPeRelocationBlock block;
    for (uint64_t offset = directory->virtualAddress; offset + sizeof(block) <= end; offset += block.size) {
        std::memcpy(&block, pe.image.get() + offset, sizeof(block));
        if (block.pageAddress == 0 && block.size == 0) break; // some linkers fill the directory with zeros
        if (block.size < sizeof(block) || !pe.IsInImage(offset, block.size)) return false;
        ApplyBlock(pe, offset, block, delta);
    }
    pe.loadBias = delta;
    return true;
}
