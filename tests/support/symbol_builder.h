#pragma once

#include "symbols/comp_unit.h"
#include "symbols/function.h"
#include "symbols/module.h"
#include "symbols/space.h"
#include "symbols/symbol_factory.h"
#include "symbols/types.h"

#include <initializer_list>

/// Builds symbol trees by hand. A module is filled first and published last.
class ktSymbolBuilder {
public:
    ktSymbolFactory factory;

    ktModule *AddModule(const char *name, uint64_t base, uint64_t size) {
        ktModule *module = factory.CreateModule();
        module->name.Assign(name);
        module->base = base;
        module->size = size;
        module->pointerSize = 8;
        return module;
    }

    ktCompUnit *AddUnit(ktModule *module, const char *name) {
        ktCompUnit *unit = factory.CreateCompUnit();
        unit->name.Assign(name);
        module->AddCompUnit(unit);
        unit->Release();
        return unit;
    }

    /// Ranges as given; the entry is the first one's start.
    ktFunction *AddFunction(ktCompUnit *unit, const char *name, std::initializer_list<ktAddrRange> ranges) {
        return Fill(unit, factory.CreateFunction(), name, ranges);
    }

    ktFunction *AddInlined(ktCompUnit *unit, const char *name, std::initializer_list<ktAddrRange> ranges) {
        return Fill(unit, factory.CreateInlinedFunction(), name, ranges);
    }

    ktType *AddType(ktCompUnit *unit, const char *name) {
        ktType *type = factory.CreateBasicType();
        type->SetName(name);
        unit->AddType(type);
        type->Release();
        return type;
    }

    /// Hands the module to `space`, which owns it from then on.
    void Publish(ktSpace &space, ktModule *module) {
        module->Freeze();
        space.AddModule(module);
        module->Release();
    }

private:
    ktFunction *Fill(ktCompUnit *unit, ktFunction *function, const char *name,
                     std::initializer_list<ktAddrRange> ranges) {
        function->name.Assign(name);
        for (const ktAddrRange &range : ranges) function->ranges.Add(range.start, range.size);
        function->entry = ranges.size() > 0 ? ranges.begin()->start : 0;
        unit->AddFunction(function);
        function->Release();
        return function;
    }
};
