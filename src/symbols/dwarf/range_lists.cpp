#include "symbols/dwarf/range_lists.h"

#include <algorithm>

#include "symbols/dwarf/byte_cursor.h"
#include "symbols/dwarf/dwarf_format.h"
#include "symbols/dwarf/work_budget.h"

namespace {

/// Reads a version 5 list twice: to count its entries, and to fill as many pairs.
class RngListReader {
public:
    RngListReader(std::span<const uint8_t> section, std::span<const uint8_t> addressSection, uint64_t size)
        : list(section), addresses(addressSection), addressSize(size) {}

    bool Read(uint64_t offset, ktAddressPairs &pairs) {
        uint64_t count = 0;
        if (!list.Seek(offset)) return false;
        const bool isCounted = Count(count);
        bytesRead = list.Position() - offset;
        if (!isCounted) return false;
        pairs.assign(count, {0, 0});
        list.Seek(offset);
        const bool isFilled = Fill(pairs);
        bytesRead = std::max(bytesRead, list.Position() - offset);
        return isFilled;
    }
    /// By the longer of the two passes.
    uint64_t BytesRead() const { return bytesRead; }

private:
    bool Count(uint64_t &count) {
        for (;; ++count) {
            const uint8_t kind = list.U8();
            if (list.Failed()) return false;
            if (kind == ktDwRleEndOfList) return true;
            CountEntry(kind);
            if (list.Failed()) return false;
        }
    }

    /// Past the counted entries nothing is stored; entries that are missing leave pairs of zeros.
    bool Fill(ktAddressPairs &pairs) {
        for (auto &pair : pairs) {
            const uint8_t kind = list.U8();
            if (list.Failed()) return false;
            if (kind == ktDwRleEndOfList) return true;
            ReadEntry(kind, pair);
            if (list.Failed() || addresses.Failed()) return false;
        }
        return true;
    }

    /// Passes less than an entry of startx_length has: its length is only read when the pairs are filled.
    void CountEntry(uint8_t kind) {
        switch (kind) {
        case ktDwRleBaseAddressx:
        case ktDwRleStartxEndx:
        case ktDwRleStartxLength:
            list.SkipLeb();
            break;
        case ktDwRleOffsetPair:
            list.SkipLeb();
            list.SkipLeb();
            break;
        case ktDwRleBaseAddress:
            list.Number(addressSize);
            break;
        case ktDwRleStartEnd:
            list.Number(addressSize);
            list.Number(addressSize);
            break;
        case ktDwRleStartLength:
            list.Number(addressSize);
            list.SkipLeb();
            break;
        default: // takes a place and has no bytes
            break;
        }
    }

    void ReadEntry(uint8_t kind, std::pair<uint64_t, uint64_t> &pair) {
        switch (kind) {
        case ktDwRleBaseAddressx:
            SeekAddress();
            base = addresses.Number(addressSize);
            break;
        case ktDwRleStartxEndx:
            SeekAddress();
            pair.first = addresses.Number(addressSize);
            pair.second = addresses.Number(addressSize);
            break;
        case ktDwRleStartxLength:
            SeekAddress();
            pair.first = addresses.Number(addressSize);
            pair.second = pair.first + list.Uleb();
            break;
        case ktDwRleOffsetPair:
            pair.first = base + list.Uleb();
            pair.second = base + list.Uleb();
            break;
        case ktDwRleBaseAddress:
            base = list.Number(addressSize);
            break;
        case ktDwRleStartEnd:
            pair.first = list.Number(addressSize);
            pair.second = list.Number(addressSize);
            break;
        case ktDwRleStartLength:
            pair.first = list.Number(addressSize);
            pair.second = pair.first + list.Uleb();
            break;
        default:
            break;
        }
    }

    /// The index is taken for a byte offset: it is not multiplied by the size of an address.
    void SeekAddress() { addresses.Seek(list.Uleb()); }

    ktByteCursor list;
    ktByteCursor addresses;
    uint64_t addressSize;
    uint64_t base = 0;
    uint64_t bytesRead = 0;
};

/// Also a list that cannot be read to its end has taken its time.
bool Pay(ktWorkBudget &budget, uint64_t bytes, bool good, ktAddressPairs &pairs) {
    if (budget.Take(bytes) && good) return true;
    pairs.clear();
    return false;
}

} // namespace

bool ReadRangeList(std::span<const uint8_t> section, uint64_t offset, uint64_t addressSize,
                   ktWorkBudget &budget, ktAddressPairs &pairs) {
    pairs.clear();
    ktByteCursor cursor(section);
    if (!budget.Take(0) || !cursor.Seek(offset)) return false;
    // 0 for addresses of eight bytes, by which a pair of 0 and something selects a base. The ones of a
    // shorter address are told by it alone, since numbers are compared at their full width.
    const uint64_t marker = (uint64_t(1) << (8 * addressSize % 64)) - 1;
    uint64_t base = 0;
    for (;;) {
        const uint64_t begin = cursor.Number(addressSize);
        const uint64_t end = cursor.Number(addressSize);
        if (cursor.Failed() || (begin == 0 && end == 0)) break;
        if (begin == ~uint64_t(0) || (begin == marker && end != 0)) {
            base = end;
        } else if (begin != end) {
            pairs.emplace_back(begin + base, end + base);
        }
    }
    return Pay(budget, cursor.Position() - offset, !cursor.Failed(), pairs);
}

bool ReadRngList(std::span<const uint8_t> section, std::span<const uint8_t> addresses, uint64_t offset,
                 uint64_t addressSize, ktWorkBudget &budget, ktAddressPairs &pairs) {
    pairs.clear();
    if (!budget.Take(0)) return false;
    RngListReader reader(section, addresses, addressSize);
    const bool good = reader.Read(offset, pairs);
    return Pay(budget, reader.BytesRead(), good, pairs);
}
