#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <set>
#include <vector>

namespace sable {

/// The machine's RAM from physical address 0 on, shared by its processors, with what they have to know about
/// it: where decoded code came from and where code breakpoints stand. One thread.
class PhysicalMemory {
public:
    static constexpr uint64_t pageSize = 4096;
    static constexpr uint64_t maxSize = uint64_t(1) << 32;

    /// Zeroed RAM of `bytes`, rounded up to whole pages, at least one and at most maxSize.
    explicit PhysicalMemory(uint64_t bytes);

    uint64_t Size() const { return size; }
    bool Holds(uint64_t physical) const { return physical < size; }
    /// The byte at an address that Holds() confirms, followed by the rest of its page.
    uint8_t *At(uint64_t physical) { return ram.get() + physical; }

    /// False, with nothing done, when the range is not all RAM.
    bool Read(uint64_t physical, void *bytes, uint64_t count) const;
    bool Write(uint64_t physical, const void *bytes, uint64_t count);
    /// Every byte 0, no code remembered; breakpoints stay. Processors have to be reset or refreshed then.
    void Clear();

    /// One bit for each 64 bytes of the page: decoded code came from there.
    uint64_t *CodeMarks(uint64_t physical) { return &codeMarks[physical / pageSize]; }
    /// Bits of CodeMarks for `count` bytes, 1 to 64, that stay within the page.
    static uint64_t MarkMask(uint64_t physical, unsigned count) {
        return uint64_t(1) << (physical >> 6 & 63) | uint64_t(1) << ((physical + count - 1) >> 6 & 63);
    }
    void MarkCode(uint64_t physical, uint64_t count);
    /// Changes whenever code decoded from the page has become stale.
    uint64_t CodeVersion(uint64_t physical) const { return codeVersions[physical / pageSize]; }
    /// Makes what was decoded from the page of this address stale.
    void DropCode(uint64_t physical);

    /// Addresses at which BreakCheck is asked. Those outside RAM are kept too.
    void AddBreak(uint64_t physical);
    void RemoveBreak(uint64_t physical);
    bool HasBreak(uint64_t physical) const { return breaks.count(physical) != 0; }
    bool PageHasBreaks(uint64_t physical) const;

private:
    struct FreeRam {
        void operator()(uint8_t *bytes) const;
    };

    uint64_t size;
    std::unique_ptr<uint8_t, FreeRam> ram;
    std::vector<uint64_t> codeMarks;
    std::vector<uint64_t> codeVersions;
    std::set<uint64_t> breaks;
};

} // namespace sable
