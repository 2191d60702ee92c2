#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "session/mem_reader.h"
#include "session/page_cache.h"
#include "support/counting_reader.h"
#include "symbols/comp_unit.h"
#include "symbols/load_request.h"
#include "symbols/module.h"
#include "symbols/space.h"
#include "symbols/symbol_factory.h"

inline void Require(bool condition) {
    if (!condition) std::abort();
}

/// Bits of an input's first byte: how the rest of it is loaded.
enum LoadMode : uint8_t { loadToPages = 1, loadUnsized = 2, loadMoved = 4, loadFromTarget = 8 };

/// Loads the input by `load(request, reader, mode)`, and publishes and removes what came of it. A failure
/// must leave no page; a module must be found, and be gone with its pages in the end.
template <class Load>
int LoadInput(const uint8_t *data, size_t size, const Load &load) {
    if (size == 0) return 0;
    const uint8_t mode = *data++;
    --size;
    ktSymbolFactory factory;
    factory.indexNames = (mode & 16) != 0;
    ktSpace space(0, nullptr);
    ktLoadRequest request;
    request.factory = &factory;
    request.module.Reset(factory.CreateModule());
    if (mode & loadToPages) request.pages = &space.Pages();
    if (mode & loadMoved) request.requestedBase = 0x7F0000000;

    MemReader sized(data, size);
    ktCountingReader unsized(mode & loadUnsized ? std::vector<uint8_t>(data, data + size)
                                                : std::vector<uint8_t>());
    DataReader &reader = mode & loadUnsized ? static_cast<DataReader &>(unsized) : sized;
    if (!load(request, reader, mode)) {
        Require(space.Pages().PageCount() == 0);
        return 0;
    }
    ktModule *module = request.module.Get();
    Require(module->pointerSize == 4 || module->pointerSize == 8);
    Require(module->size == 0 || module->Start() + (module->size - 1) >= module->Start());
    Require((space.Pages().PageCount() != 0) == ((mode & loadToPages) != 0 && module->size != 0));
    Require(space.AddModule(module) && space.FindModule(module->name.Get()) == module);
    for (const ktCompUnit *unit : module->CompUnits()) {
        ktFunction *function = unit->FirstFunctionAt(unit->ranges.Low());
        Require(!function || module->FirstUnitAt(unit->ranges.Low()));
    }
    space.RemoveModule(module);
    Require(space.Pages().PageCount() == 0 && space.ModuleCount() == 0);
    Require(module->RefCount() == 1);
    return 0;
}
