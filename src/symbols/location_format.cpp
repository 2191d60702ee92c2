#include "symbols/location_format.h"

#include <charconv>
#include <cstring>
#include <iterator>

#include "app/hex.h"
#include "symbols/comp_unit.h"
#include "symbols/function.h"
#include "symbols/module.h"
#include "symbols/type.h"

namespace {

constexpr size_t maxOffsetText = 23;

struct PartRow {
    uint64_t bit;
    char separator; ///< in front of the part; the module has none
    std::string ktLocationFormat::*text;
};

/// The parts in the order in which they stand in a location string.
constexpr PartRow partRows[] = {
    {ktLocationModule, 0, &ktLocationFormat::moduleText},
    {ktLocationUnit, '!', &ktLocationFormat::unitText},
    {ktLocationFunction, '|', &ktLocationFormat::functionText},
    {ktLocationType, '#', &ktLocationFormat::typeText},
    {ktLocationOffset, '+', &ktLocationFormat::offsetText},
};

void PrintOffset(std::string &text, uint64_t offset) {
    char digits[16];
    const auto end = std::to_chars(std::begin(digits), std::end(digits), offset, 16).ptr;
    text.assign("0x").append(digits, end);
}

} // namespace

uint64_t MaskOf(const char *text) {
    uint64_t mask = ktLocationModule;
    if (!text) return mask;
    for (const PartRow &row : partRows) {
        if (row.separator && std::strchr(text, row.separator)) mask |= row.bit;
    }
    return mask;
}

bool ktLocationFormat::Format(const ktLocation &location) {
    for (const PartRow &row : partRows) (this->*row.text).clear();
    offset = location.address;
    if (location.module && (mask & ktLocationModule) && location.module->name.Get()) {
        moduleText = location.module->name.Get();
        offset = location.address - location.module->Start();
    }
    if (location.unit && (mask & ktLocationUnit) && location.unit->name.Get()) {
        unitText = location.unit->name.Get();
        offset = location.address - location.unit->ranges.Low();
    }
    if (location.function && (mask & ktLocationFunction) && location.function->name.Get()) {
        functionText = location.function->name.Get();
        offset = location.address - location.function->entry;
    }
    if (location.type && (mask & ktLocationType)) {
        if (const char *typeName = location.type->GetName()) typeText = typeName;
        offset = 0; // a type stands for itself, not for a place near it
    }
    if (offset != 0 && (mask & ktLocationOffset)) PrintOffset(offsetText, offset);

    text.clear();
    for (const PartRow &row : partRows) {
        const std::string &part = this->*row.text;
        if (part.empty()) continue;
        if (row.separator && !text.empty()) text += row.separator;
        text += part;
    }
    return true;
}

bool ktLocationFormat::Parse(std::string_view source) {
    std::string_view parts[std::size(partRows)];
    std::string_view *open = nullptr; // the part whose end is still to be found
    size_t position = 0;              // where it starts
    for (size_t i = 0; i < std::size(partRows); ++i) {
        if (!(mask & partRows[i].bit)) continue;
        if (!partRows[i].separator) {
            if (const size_t backslash = source.find('\\'); backslash != source.npos)
                position = backslash + 1;
        } else if (const size_t at = source.find(partRows[i].separator, position); at != source.npos) {
            if (open) *open = source.substr(position, at - position);
            position = at + 1;
        } else if (open) {
            return false;
        }
        open = &parts[i];
    }
    if (open) *open = source.substr(position);
    for (size_t i = 0; i < std::size(partRows); ++i) (this->*partRows[i].text).assign(parts[i]);
    if (offsetText.size() > maxOffsetText) offsetText.resize(maxOffsetText);
    offset = ktParseHex(offsetText.c_str());
    return true;
}
