#include "session/sb_break_point_manager.h"

#include "abi/records.h"
#include "session/code_break_points.h"

#include <algorithm>
#include <set>
#include <utility>

/// One breakpoint of the library and its filters.
struct ktSbBreakPointManager::Listed {
    ktSbRawBreakPoint record;
    std::vector<ktSbRawFilter> filters;
};

namespace {

constexpr uint32_t indexLimit = 65535; // of 16 bits
/// Filters that one reload takes: those of two breakpoints with as many as a record can count, and far more
/// than there are ids. It bounds the work for a library that counts wrong.
constexpr size_t filterLimit = size_t{2} * indexLimit;

/// The breakpoint of `physical`; null for none.
template <typename Listed>
const Listed *FindAt(const std::vector<Listed> &listed, uint64_t physical) {
    const auto found = std::find_if(listed.begin(), listed.end(), [physical](const Listed &one) {
        return one.record.physical == physical;
    });
    return found == listed.end() ? nullptr : &*found;
}

/// True when a number or an address is there twice: which of them is meant nobody can tell.
template <typename Listed>
bool HasRepeats(const std::vector<Listed> &listed) {
    std::set<uint16_t> numbers;
    std::set<uint64_t> addresses;
    return !std::all_of(listed.begin(), listed.end(), [&](const Listed &one) {
        return numbers.insert(one.record.number).second && addresses.insert(one.record.physical).second;
    });
}

bool IsFor(const ktSbRawFilter &filter, const ktAddress &address) {
    return filter.root == address.root && filter.address == address.value;
}

} // namespace

bool ktSbBreakPointManager::Reload() {
    if (!library) return false;
    // Everything is asked first, so that a failing call leaves all as it was.
    std::vector<Listed> listed;
    if (!FetchList(listed) || HasRepeats(listed)) return false;
    size_t filterCount = 0;
    for (const Listed &one : listed) filterCount += one.record.filterCount;
    if (filterCount > filterLimit) return false;
    std::vector<uint32_t> lost;
    if (!FindLost(listed, lost)) return false;
    for (Listed &one : listed) {
        if (!FetchFilters(one.record, one.filters)) return false;
    }
    Renumber(listed);
    for (const uint32_t id : lost) Lose(id);
    const bool adopted =
        std::all_of(listed.begin(), listed.end(), [this](const Listed &one) { return Adopt(one); });
    for (const Listed &one : listed) {
        if (ktSbPhysBreak *at = PhysBreakAt(one.record.physical)) NumberFilters(one.filters, *at);
    }
    return adopted;
}

/// All breakpoints of the library, without their filters. False when it fails or gives fewer than its total.
bool ktSbBreakPointManager::FetchList(std::vector<Listed> &listed) {
    ktSbRawBreakPoint records[ktSbInfoCount] = {};
    uint16_t asked = ktSbInfoCount; // becomes the fewest that came at once: the library may have less room
    uint16_t total = indexLimit;
    while (listed.size() < total) {
        uint16_t count = asked;
        if (library->GetInfo(records, static_cast<uint16_t>(listed.size()), count, total) < 0) return false;
        asked = std::min(asked, count);
        if (asked == 0) break; // nothing would come any more
        for (uint32_t i = 0; i < asked; ++i) listed.push_back({records[i], {}});
    }
    return listed.size() >= total;
}

/// The filters of one breakpoint. False when the library fails or has another number of them than it says.
bool ktSbBreakPointManager::FetchFilters(const ktSbRawBreakPoint &record,
                                         std::vector<ktSbRawFilter> &filters) {
    if (record.filterCount == 0) return true;
    ktSbRawFilter records[ktSbInfoCount] = {};
    while (filters.size() < indexLimit) {
        uint16_t count = ktSbInfoCount;
        const auto first = static_cast<uint16_t>(filters.size());
        if (library->GetFilterInfo(records, record.number, first, count) < 0) return false;
        count = std::min<uint16_t>(count, ktSbInfoCount);
        filters.insert(filters.end(), records, records + count);
        if (count == 0 || filters.size() > record.filterCount) break;
        // Behind a full part there may be more than the record counts.
        if (count < ktSbInfoCount && filters.size() == record.filterCount) break;
    }
    return filters.size() == record.filterCount;
}

/// Finds the breakpoints that have no counterpart any more. False when the library fails.
bool ktSbBreakPointManager::FindLost(const std::vector<Listed> &listed, std::vector<uint32_t> &lost) {
    for (const auto &[id, breakPoint] : byId) {
        const Listed *counterpart = FindAt(listed, breakPoint->physical);
        if (counterpart && breakPoint->address.kind == ktAddress::kindPhysical) continue;
        std::vector<ktSbRawFilter> filters;
        if (counterpart && !FetchFilters(counterpart->record, filters)) return false;
        const ktAddress &address = breakPoint->address;
        const bool isKept = std::any_of(filters.begin(), filters.end(),
                                        [&](const ktSbRawFilter &filter) { return IsFor(filter, address); });
        if (!isKept) lost.push_back(id);
    }
    return true;
}

/// Drops the entries whose address the library does not list, and takes its numbers over for the others.
void ktSbBreakPointManager::Renumber(const std::vector<Listed> &listed) {
    std::map<uint16_t, ktSbPhysBreak> before = std::exchange(byEngineId, {});
    byPhysical.clear();
    for (auto &[number, entry] : before) {
        const Listed *counterpart = FindAt(listed, entry.physical);
        if (!counterpart) continue;
        const uint16_t newNumber = counterpart->record.number;
        const uint64_t physical = entry.physical;
        entry.engineId = newNumber;
        byEngineId.emplace(newNumber, std::move(entry));
        byPhysical.emplace(physical, newNumber);
    }
    for (const auto &[id, breakPoint] : byId) {
        if (!breakPoint->enabled) continue;
        if (const ktSbPhysBreak *used = FindPhysBreak(breakPoint->physical)) {
            breakPoint->engineId = used->engineId;
        } else {
            breakPoint->Disable();
        }
    }
}

void ktSbBreakPointManager::Lose(uint32_t id) {
    ktSbBreakPoint &breakPoint = *Find(id);
    if (ktSbPhysBreak *used = PhysBreakAt(breakPoint.physical)) used->filters.erase(id);
    breakPoint.Disable();
}

/// Takes one breakpoint of the library over; NumberFilters completes that. False without a free id.
bool ktSbBreakPointManager::Adopt(const Listed &listed) {
    const ktSbRawBreakPoint &record = listed.record;
    ktSbPhysBreak *at = PhysBreakAt(record.physical);
    if (!at) {
        ktSbPhysBreak made;
        made.engineId = record.number;
        made.physical = record.physical;
        at = &byEngineId.emplace(record.number, std::move(made)).first->second;
        byPhysical.emplace(record.physical, record.number);
    }
    at->savedByte = record.savedByte;
    if (listed.filters.empty()) return AdoptPhysical(*at);
    return std::all_of(listed.filters.begin(), listed.filters.end(),
                       [this, at](const ktSbRawFilter &filter) { return AdoptFilter(filter, *at); });
}

/// Gives those who have a filter at `at` the library's number of it, of `filters`, and counts these. Who has
/// the number of a fitting one keeps it; of equal ones the others get one that nobody has yet, so that each
/// can be removed.
void ktSbBreakPointManager::NumberFilters(const std::vector<ktSbRawFilter> &filters, ktSbPhysBreak &at) {
    std::set<uint16_t> used;
    std::vector<ktSbBreakPoint *> others;
    std::set<std::pair<uint64_t, uint64_t>> places; // root and address of those at `at`
    for (const uint32_t id : at.filters) {
        ktSbBreakPoint &breakPoint = *Find(id);
        places.emplace(breakPoint.address.root, breakPoint.address.value);
        const bool isRight =
            breakPoint.hasFilter &&
            std::any_of(filters.begin(), filters.end(), [&](const ktSbRawFilter &filter) {
                return filter.typeOrNumber == breakPoint.filterId && IsFor(filter, breakPoint.address);
            });
        if (isRight)
            used.insert(breakPoint.filterId);
        else
            others.push_back(&breakPoint);
    }
    for (ktSbBreakPoint *breakPoint : others) {
        const ktSbRawFilter *chosen = nullptr;
        for (const ktSbRawFilter &filter : filters) {
            if (!IsFor(filter, breakPoint->address)) continue;
            const bool isFree = used.count(filter.typeOrNumber) == 0;
            if (!chosen || isFree) chosen = &filter;
            if (isFree) break;
        }
        if (!chosen) continue;
        breakPoint->hasFilter = true;
        breakPoint->filterId = chosen->typeOrNumber;
        used.insert(chosen->typeOrNumber);
    }
    // Those that fit nobody here belong to others: another client, or there was no id for them.
    const auto foreign = std::count_if(filters.begin(), filters.end(), [&](const ktSbRawFilter &filter) {
        return places.count({filter.root, filter.address}) == 0;
    });
    at.filterCount = static_cast<uint16_t>(used.size() + static_cast<size_t>(foreign));
}

/// Makes the filter a breakpoint's. NumberFilters gives that its number.
bool ktSbBreakPointManager::AdoptFilter(const ktSbRawFilter &filter, ktSbPhysBreak &at) {
    ktAddress address;
    address.kind = ktAddress::kindLinear;
    address.root = filter.root;
    address.value = filter.address;
    ktSbBreakPoint *breakPoint = FindOrMake(address);
    if (!breakPoint) return false;
    // One that is still enabled has this filter at another address, which was mapped there before: it keeps
    // that.
    if (breakPoint->enabled && breakPoint->physical != at.physical) return true;
    breakPoint->physical = at.physical;
    breakPoint->enabled = true;
    breakPoint->engineId = at.engineId;
    breakPoint->savedByte = at.savedByte;
    at.filters.insert(breakPoint->id);
    return true;
}

bool ktSbBreakPointManager::AdoptPhysical(ktSbPhysBreak &at) {
    ktAddress address;
    address.kind = ktAddress::kindPhysical;
    address.value = at.physical;
    ktSbBreakPoint *breakPoint = FindOrMake(address);
    if (!breakPoint) return false;
    for (const auto &[id, other] : byId) {
        if (other->physical == at.physical && other->address.kind != ktAddress::kindPhysical)
            other->Disable();
    }
    at.filters.clear();
    at.isPhysical = true;
    at.ownerId = breakPoint->id;
    breakPoint->physical = at.physical;
    breakPoint->enabled = true;
    breakPoint->engineId = at.engineId;
    breakPoint->savedByte = at.savedByte;
    breakPoint->hasFilter = false;
    breakPoint->filterId = 0;
    return true;
}

ktSbBreakPoint *ktSbBreakPointManager::FindOrMake(const ktAddress &address) {
    for (const auto &[id, breakPoint] : byId) {
        if (breakPoint->IsAt(address)) return breakPoint.get();
    }
    std::unique_ptr<ktSbBreakPoint> made = Make(address);
    if (!made) return nullptr;
    const uint32_t id = made->id;
    return byId.emplace(id, std::move(made)).first->second.get();
}
