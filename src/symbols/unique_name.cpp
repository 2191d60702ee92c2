#include "symbols/unique_name.h"

#include <unordered_map>

struct ktUniqueNames::Counters {
    std::unordered_map<const void *, uint64_t> takenBehind;
};

ktUniqueNames::ktUniqueNames() = default;
ktUniqueNames::~ktUniqueNames() = default;

void ktUniqueNames::Forget() { counters.reset(); }

uint64_t &ktUniqueNames::TakenBehind(const void *holder) {
    if (!counters) counters = std::make_unique<Counters>();
    return counters->takenBehind[holder];
}
