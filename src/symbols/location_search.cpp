#include <cstring>

#include "symbols/comp_unit.h"
#include "symbols/function.h"
#include "symbols/location.h"
#include "symbols/location_format.h"
#include "symbols/module.h"
#include "symbols/space.h"
#include "symbols/type.h"

namespace {

/// One part of the pattern: "*" alone matches every name, anything else exactly itself.
class NamePattern {
public:
    explicit NamePattern(const std::string &pattern) : text(pattern.c_str()), wild(pattern == "*") {}
    bool Matches(const char *name) const { return wild || (name && std::strcmp(text, name) == 0); }

private:
    const char *text;
    bool wild;
};

/// One walk over the modules. `hit` is never emptied: a result shows, in the fields that its own kind does
/// not set, what an earlier result of the same walk had there.
class NameSearch {
public:
    NameSearch(const ktLocationFormat &parts, ktLocationList &found)
        : mask(parts.mask), modulePattern(parts.moduleText), unitPattern(parts.unitText),
          functionPattern(parts.functionText), typePattern(parts.typeText), results(found) {}

    void Walk(const ktSpace &space) {
        for (ktModule *module : space.Modules()) {
            if (modulePattern.Matches(module->name.Get())) WalkModule(*module);
        }
    }

private:
    void WalkModule(ktModule &module) {
        if (!(mask & ktLocationUnit)) {
            hit.address = module.Start();
            hit.module = &module;
            results.push_back(hit);
            return;
        }
        for (ktCompUnit *unit : module.CompUnits()) {
            if (unitPattern.Matches(unit->name.Get())) WalkUnit(module, *unit);
        }
    }

    void WalkUnit(ktModule &module, ktCompUnit &unit) {
        if (!(mask & (ktLocationFunction | ktLocationType))) {
            hit.address = unit.ranges.Low();
            AddIn(module, unit);
        }
        if (mask & ktLocationFunction) {
            for (ktFunction *function : unit.Functions()) {
                if (!functionPattern.Matches(function->name.Get())) continue;
                hit.address = function->entry;
                hit.function = function;
                AddIn(module, unit);
            }
        }
        if (mask & ktLocationType) {
            for (ktType *type : unit.Types()) {
                if (!typePattern.Matches(type->GetName())) continue;
                hit.type = type; // types have no address: the last hit's stays
                AddIn(module, unit);
            }
        }
    }

    void AddIn(ktModule &module, ktCompUnit &unit) {
        hit.module = &module;
        hit.unit = &unit;
        results.push_back(hit);
    }

    uint64_t mask;
    NamePattern modulePattern;
    NamePattern unitPattern;
    NamePattern functionPattern;
    NamePattern typePattern;
    ktLocationList &results;
    ktLocation hit;
};

} // namespace

bool FindByName(const ktSpace &space, ktLocationList &results, const char *text, uint64_t mask) {
    results.clear();
    if (!text) return false;
    ktLocationFormat parts;
    parts.mask = mask ? mask : MaskOf(text);
    if (!parts.Parse(text)) return false;
    NameSearch(parts, results).Walk(space);
    return !results.empty();
}
