// Range lists of both versions.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "symbols/dwarf/range_lists.h"
#include "symbols/dwarf/work_budget.h"

namespace {

void Require(bool condition) {
    if (!condition) std::abort();
}

} // namespace

/// The first byte is the size of an address, the second the offset of the list, the third the length of the
/// addresses at the start of what follows; the list's section is the rest.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 3) return 0;
    const uint64_t addressSize = data[0] % 10;
    const uint64_t offset = data[1];
    const std::span<const uint8_t> rest(data + 3, size - 3);
    const size_t split = std::min<size_t>(data[2], rest.size());
    const auto addresses = rest.first(split);
    const auto section = rest.subspan(split);
    ktAddressPairs pairs, again;
    for (const bool isVersion5 : {false, true}) {
        const auto read = [&](ktWorkBudget &budget, ktAddressPairs &out) {
            return isVersion5 ? ReadRngList(section, addresses, offset, addressSize, budget, out)
                              : ReadRangeList(section, offset, addressSize, budget, out);
        };
        ktWorkBudget enough(section.size() + 1), half(section.size() / 2);
        const bool good = read(enough, pairs);
        Require(good || pairs.empty());
        Require(pairs.size() <= section.size());
        const bool isCheap = read(half, again);
        Require(isCheap ? good && again == pairs : again.empty());
    }
    return 0;
}
