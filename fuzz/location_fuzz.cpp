// Location strings: parsing by every mask, the search by name, and the way back from results to text.

#include "symbols/location_format.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "support/symbol_builder.h"

namespace {

std::unique_ptr<ktSpace> MakeSpace() {
    auto space = std::make_unique<ktSpace>(0, nullptr);
    ktSymbolBuilder builder;
    for (uint64_t base : {uint64_t(0x100000), uint64_t(0x108000)}) { // the second lies inside the first
        ktModule *module = builder.AddModule("m", base, 0x10000);
        for (const char *unitName : {"u", "a\\b.c", "*"}) {
            ktCompUnit *unit = builder.AddUnit(module, unitName);
            builder.AddInlined(unit, "in", {{base + 0x10, 8}});
            builder.AddFunction(unit, "f", {{base, 0x40}, {base + 0x100, 0x10}});
            builder.AddFunction(unit, "", {{base + 0x80, 1}});
            builder.AddType(unit, "t");
        }
        builder.Publish(*space, module);
    }
    return space;
}

void Require(bool condition) {
    if (!condition) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const std::unique_ptr<ktSpace> space = MakeSpace();
    if (size < 2) return 0;
    const uint64_t mask = data[0] & 31;
    const std::string text(reinterpret_cast<const char *>(data + 1), size - 1);

    ktLocationFormat parts;
    parts.mask = mask;
    parts.Parse(text);
    Require(parts.offsetText.size() <= 23);
    Require(MaskOf(text.c_str()) >= 8 && MaskOf(text.c_str()) < 32);

    ktLocationList results;
    Require(FindByName(*space, results, text.c_str(), mask) == !results.empty());
    ktLocationFormat format;
    format.mask = 31;
    for (const ktLocation &location : results) Require(format.Format(location));

    results.clear();
    const uint64_t address = 0x100000 + parts.offset % 0x20000;
    if (!FindByAddress(*space, results, address)) return 0;
    for (ktLocation location : results) {
        format.mask = mask;
        Require(format.Format(location));
        Update(*space, &location, address + data[0]);
        Require(location.address == address + data[0]);
    }
    Require(UpdateAll(*space, &results, address)); // the address has not changed
    return 0;
}
