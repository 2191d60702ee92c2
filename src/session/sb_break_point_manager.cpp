#include "session/sb_break_point_manager.h"

#include "abi/records.h"
#include "session/code_break_points.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

bool ktSbBreakPointManager::Initialize(ktDbgEng *newEngine) {
    if (!newEngine || newEngine->GetEngineType() != ktEngineSable) return false;
    byId.clear(); // their ids are free from here on
    byEngineId.clear();
    byPhysical.clear();
    ids.Reset();
    engine = newEngine;
    library = newEngine->CodeBreakPoints();
    return true;
}

bool ktSbBreakPointManager::Add(ktAddress &address, uint32_t *id) {
    const ktAddress wanted = std::exchange(address, ktAddress());
    if (!engine || !library) return false;
    for (const auto &[known, breakPoint] : byId) {
        if (breakPoint->IsAt(wanted)) return false;
    }
    std::unique_ptr<ktSbBreakPoint> made = Make(wanted);
    if (!made) return false;
    if (engine->ToPhysical(wanted, &made->physical) < 0 || !Activate(*made)) {
        GiveIdBack(*made);
        return false;
    }
    if (id) *id = made->id;
    byId.emplace(made->id, std::move(made));
    return true;
}

bool ktSbBreakPointManager::Get(uint32_t id, ktBreakPoint **out) {
    ktSbBreakPoint *found = Find(id);
    if (found && out) *out = found;
    return found != nullptr;
}

bool ktSbBreakPointManager::Remove(uint32_t id) {
    const auto found = byId.find(id);
    if (found == byId.end() || !TakeOut(*found->second)) return false;
    GiveIdBack(*found->second);
    byId.erase(found);
    return true;
}

void ktSbBreakPointManager::List(std::vector<ktBreakPoint *> &list) {
    for (const auto &[id, breakPoint] : byId) list.push_back(breakPoint.get());
}

bool ktSbBreakPointManager::ClearAll() {
    if (!library || library->Clear() < 0) return false;
    for (const auto &[id, breakPoint] : byId) GiveIdBack(*breakPoint);
    byId.clear();
    byEngineId.clear();
    byPhysical.clear();
    return true;
}

ktSbBreakPoint *ktSbBreakPointManager::Find(uint32_t id) {
    const auto found = byId.find(id);
    return found == byId.end() ? nullptr : found->second.get();
}

const ktSbPhysBreak *ktSbBreakPointManager::FindPhysBreak(uint64_t physical) const {
    const auto number = byPhysical.find(physical);
    if (number == byPhysical.end()) return nullptr;
    const auto found = byEngineId.find(number->second);
    return found == byEngineId.end() ? nullptr : &found->second;
}

ktSbPhysBreak *ktSbBreakPointManager::PhysBreakAt(uint64_t physical) {
    return const_cast<ktSbPhysBreak *>(FindPhysBreak(physical));
}

/// A disabled breakpoint with an id; null without a free one.
std::unique_ptr<ktSbBreakPoint> ktSbBreakPointManager::Make(const ktAddress &address) {
    uint32_t id = 0;
    if (!ids.Take(id)) return nullptr;
    std::unique_ptr<ktSbBreakPoint> made(new (std::nothrow) ktSbBreakPoint);
    if (!made) {
        ids.Give(id);
        return nullptr;
    }
    made->ownsId = true;
    made->id = id;
    made->address = address;
    return made;
}

void ktSbBreakPointManager::GiveIdBack(const ktSbBreakPoint &breakPoint) {
    if (breakPoint.ownsId) ids.Give(breakPoint.id);
}

bool ktSbBreakPointManager::Activate(ktSbBreakPoint &breakPoint) {
    if (breakPoint.enabled) return true;
    ktSbPhysBreak *existing = PhysBreakAt(breakPoint.physical);
    breakPoint.enabled = existing ? Attach(breakPoint, *existing) : Create(breakPoint);
    return breakPoint.enabled;
}

/// The first user of a physical address.
bool ktSbBreakPointManager::Create(ktSbBreakPoint &breakPoint) {
    ktSbPhysBreak made;
    ktAddress place;
    place.kind = ktAddress::kindPhysical;
    place.value = breakPoint.physical;
    if (engine->ReadTarget(place, &made.savedByte, 1, nullptr) < 0) return false;
    if (library->Set(breakPoint.physical, made.engineId) < 0) return false;
    // A number that was handed out just now was free: the library has dropped what stood under it, as on a
    // reset of the target or when another client cleared it.
    if (const auto dropped = byEngineId.find(made.engineId); dropped != byEngineId.end())
        Forget(dropped->second.physical);
    if (!SetUp(breakPoint, made)) {
        library->Remove(made.engineId);
        return false;
    }
    made.physical = breakPoint.physical;
    breakPoint.savedByte = made.savedByte;
    breakPoint.engineId = made.engineId;
    const uint16_t number = made.engineId;
    byEngineId.emplace(number, std::move(made));
    byPhysical.emplace(breakPoint.physical, number);
    return true;
}

/// Makes `made`, which the library has just set, stop for `breakPoint` alone.
bool ktSbBreakPointManager::SetUp(ktSbBreakPoint &breakPoint, ktSbPhysBreak &made) {
    switch (breakPoint.address.kind) {
    case ktAddress::kindVirtual:
    case ktAddress::kindLinear:
        return AddFilter(breakPoint, made);
    case ktAddress::kindPhysical:
        made.isPhysical = true;
        made.ownerId = breakPoint.id;
        return true;
    default:
        return false;
    }
}

/// A further user of a physical address.
bool ktSbBreakPointManager::Attach(ktSbBreakPoint &breakPoint, ktSbPhysBreak &existing) {
    if (breakPoint.address.kind == ktAddress::kindPhysical) {
        if (!AttachPhysical(breakPoint, existing)) return false;
    } else {
        if (!AddFilter(breakPoint, existing)) return false;
        // The filter guards the address now, so the owner no longer stops everywhere. The address stays
        // one that was given as physical: only that breakpoint can take it out of the library.
        if (ktSbBreakPoint *owner = OwnerOf(existing)) owner->enabled = false;
    }
    breakPoint.engineId = existing.engineId;
    breakPoint.savedByte = existing.savedByte;
    return true;
}

/// The breakpoint that `entry` was given as a physical address for; null when there is none or it is gone.
ktSbBreakPoint *ktSbBreakPointManager::OwnerOf(const ktSbPhysBreak &entry) {
    ktSbBreakPoint *owner = entry.isPhysical ? Find(entry.ownerId) : nullptr;
    // Its id may have a new bearer, at another address or with a filter at this one.
    if (!owner || owner->physical != entry.physical) return nullptr;
    return owner->address.kind == ktAddress::kindPhysical ? owner : nullptr;
}

/// A physical breakpoint overrides those with filters at its address.
bool ktSbBreakPointManager::AttachPhysical(ktSbBreakPoint &breakPoint, ktSbPhysBreak &existing) {
    // One without filters has a physical breakpoint already, and a second one was refused as a duplicate;
    // what is left over when those are gone does not come back to life.
    if (existing.filterCount == 0) return false;
    if (library->ClearFilters(existing.engineId) < 0) return false;
    existing.isPhysical = true;
    existing.ownerId = breakPoint.id;
    existing.filterCount = 0;
    for (const uint32_t id : std::exchange(existing.filters, {})) {
        if (ktSbBreakPoint *overridden = Find(id)) overridden->Disable();
    }
    breakPoint.hasFilter = false;
    breakPoint.filterId = 0;
    return true;
}

bool ktSbBreakPointManager::AddFilter(ktSbBreakPoint &breakPoint, ktSbPhysBreak &at) {
    ktSbRawFilter filter = {};
    filter.typeOrNumber = ktSbFilterRootAndAddress;
    filter.root = breakPoint.address.root;
    filter.address = breakPoint.address.value;
    uint16_t number = 0;
    if (at.filterCount == std::numeric_limits<uint16_t>::max()) return false; // the library counts no further
    if (library->AddFilter(at.engineId, filter, number) < 0) return false;
    breakPoint.hasFilter = true;
    breakPoint.filterId = number;
    if (!SharesFilter(breakPoint, at)) ++at.filterCount;
    at.filters.insert(breakPoint.id);
    return true;
}

/// Ends `breakPoint` in the library. False, with nothing changed, when the library refuses.
bool ktSbBreakPointManager::TakeOut(ktSbBreakPoint &breakPoint) {
    if (!breakPoint.enabled) return true;
    ktSbPhysBreak *used = PhysBreakAt(breakPoint.physical);
    if (!used) return false;
    if (breakPoint.address.kind == ktAddress::kindPhysical) {
        if (!used->isPhysical || !TakeOutWhole(*used)) return false;
    } else if (SharesFilter(breakPoint, *used)) {
        used->filters.erase(breakPoint.id); // the other needs the filter
    } else if (!used->isPhysical && used->filterCount == 1) {
        // The filter goes with it; without its last one the library's breakpoint would stop everybody.
        if (!TakeOutWhole(*used)) return false;
    } else {
        if (library->RemoveFilter(used->engineId, breakPoint.filterId) < 0) return false;
        --used->filterCount;
        used->filters.erase(breakPoint.id);
    }
    breakPoint.Disable();
    return true;
}

/// True when another breakpoint goes by the same filter, as the linear one does that a reload adopts from the
/// filter of a virtual one.
bool ktSbBreakPointManager::SharesFilter(const ktSbBreakPoint &breakPoint, const ktSbPhysBreak &at) {
    return std::any_of(at.filters.begin(), at.filters.end(), [&](uint32_t id) {
        const ktSbBreakPoint *other = Find(id);
        return other && other != &breakPoint && other->enabled && other->filterId == breakPoint.filterId;
    });
}

bool ktSbBreakPointManager::TakeOutWhole(ktSbPhysBreak &whole) {
    if (library->Remove(whole.engineId) < 0) return false;
    Forget(whole.physical);
    return true;
}

/// Drops the entry of `physical`. Whoever else used it has no counterpart any more and is disabled, as what
/// is listed as enabled has to be in the library: filters that a reload adopted beside a physical breakpoint
/// go with that.
void ktSbBreakPointManager::Forget(uint64_t physical) {
    const auto number = byPhysical.find(physical);
    if (number == byPhysical.end()) return;
    byEngineId.erase(number->second);
    byPhysical.erase(number);
    for (const auto &[id, breakPoint] : byId) {
        if (breakPoint->physical == physical) breakPoint->Disable();
    }
}
