#include "symbols/comp_unit.h"
#include "symbols/function.h"
#include "symbols/location.h"
#include "symbols/module.h"
#include "symbols/space.h"

namespace {

// Buffers of one thread's searches. They keep their memory, so that a search allocates nothing.
thread_local std::vector<ktCompUnit *> unitHits;
thread_local std::vector<ktFunction *> functionHits;

bool FindInUnit(ktLocation &location) {
    location.function = location.unit->FirstFunctionAt(location.address);
    return location.function != nullptr;
}

bool FindInModule(ktLocation &location) {
    location.function = nullptr;
    location.unit = location.module->FirstUnitAt(location.address);
    return location.unit && FindInUnit(location);
}

} // namespace

bool FindByAddress(const ktSpace &space, ktLocationList &results, uint64_t address) {
    ktLocation seen; // what this call met last; a result without a function of its own shows it
    seen.address = address;
    for (ktModule *module : space.Modules()) {
        if (!module->Holds(address)) continue;
        seen.module = module;
        unitHits.clear();
        module->UnitsAt(address, unitHits);
        for (ktCompUnit *unit : unitHits) {
            seen.unit = unit;
            functionHits.clear();
            unit->FunctionsAt(address, functionHits);
            for (ktFunction *function : functionHits) {
                seen.function = function;
                results.push_back(seen);
            }
            if (results.empty()) results.push_back(seen);
        }
        if (results.empty()) results.push_back(seen);
    }
    return !results.empty();
}

bool Update(const ktSpace &space, ktLocation *location, uint64_t address) {
    if (!location) return false;
    if (location->address == address) return true;
    location->address = address;
    if (location->function && location->function->ranges.Holds(address)) return true;
    location->function = nullptr;
    if (location->unit && location->unit->ranges.Holds(address)) return FindInUnit(*location);
    location->unit = nullptr;
    if (location->module && location->module->Holds(address)) return FindInModule(*location);
    location->module = nullptr;
    for (ktModule *module : space.Modules()) {
        if (!module->Holds(address)) continue;
        location->module = module;
        return FindInModule(*location);
    }
    return false;
}

bool UpdateAll(const ktSpace &space, ktLocationList *results, uint64_t address) {
    if (!results || results->empty()) return false;
    bool all = true;
    for (ktLocation &location : *results) all = Update(space, &location, address) && all;
    return all;
}
