#include "symbols/location_cmds.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "app/hex_digits.h"
#include "app/lines.h"
#include "commands/cmd_line.h"
#include "session/session.h"
#include "symbols/comp_unit.h"
#include "symbols/function.h"
#include "symbols/location_format.h"
#include "symbols/module.h"
#include "symbols/space.h"
#include "symbols/space_list.h"

namespace {

constexpr char addressHead[] = "Address: ";

/// `line` becomes "Address: " and 16 digits.
void PutAddress(std::string &line, uint64_t address) {
    char digits[16];
    line.assign(addressHead).append(digits, ktPutHex(digits, address, 16));
}

void AddAddressLine(ktLines &output, std::string &line, uint64_t address, const std::string &location) {
    PutAddress(line, address);
    line.append(" (").append(location).append(")");
    output.AddLine(line.c_str());
}

/// Lower case of the letters A to Z; everything else as it is.
char Fold(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

void FoldInto(std::string &folded, std::string_view text) {
    folded.resize(text.size());
    std::transform(text.begin(), text.end(), folded.begin(), Fold);
}

void AddTextLines(ktLines &output, const char *head, const char *text) {
    if (!text) return;
    output.AddLine(head);
    output.AddLine(text);
}

/// Prints file, directory and line of the first row that stands for exactly `address`.
void AddSourceLines(ktLines &output, const ktLineInfo &info, uint64_t address) {
    const std::optional<ktLineRecord> row = info.FirstRowAt(address);
    const ktLineTable &table = info.Table();
    if (!row || row->file >= table.files.size()) return;
    AddTextLines(output, "Source file path:", table.files[row->file].Get());
    AddTextLines(output, "Source directory path:", table.DirectoryOf(row->file, info.compDir.Get()));
    char text[32];
    std::snprintf(text, sizeof text, "Line: %" PRId64, static_cast<int64_t>(row->line));
    output.AddLine(text);
}

} // namespace

uint32_t ktXlCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!session || !session->spaces) return ktCmdNoSpaces;
    const ktSpace *space = session->spaces->Current();
    const char *pattern = argCount > 0 ? args[0].text : nullptr;
    const uint64_t mask = MaskOf(pattern);
    ktLocationList results;
    if (!space || !FindByName(*space, results, pattern, mask)) return ktCmdNotFound;
    std::string line;
    if (results.size() == 1) {
        PutAddress(line, results.front().address);
        output->AddLine(line.c_str());
        return ktCmdOk;
    }
    output->AddLine("Multiple results:");
    ktLocationFormat format;
    format.mask = mask;
    for (const ktLocation &location : results) {
        format.Format(location);
        AddAddressLine(*output, line, location.address, format.text);
    }
    return ktCmdOk;
}

uint32_t ktXaCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!session || !session->spaces) return ktCmdNoSpaces;
    const ktSpace *space = session->spaces->Current();
    ktLocationList results;
    if (!space || argCount == 0 || !FindByAddress(*space, results, args[0].value)) return ktCmdNotFound;
    ktLocationFormat format;
    for (const ktLocation &location : results) {
        output->AddLine("Address location:");
        format.Format(location);
        output->AddLine(format.text.c_str());
        if (location.unit) AddSourceLines(*output, location.unit->lines, location.address);
    }
    return ktCmdOk;
}

uint32_t ktSlCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!session || !session->spaces) return ktCmdNoSpaces;
    const ktSpace *space = session->spaces->Current();
    if (!space) return ktCmdNotFound;
    std::vector<std::string> patterns;
    for (uint32_t i = 0; i < argCount; ++i) {
        if (!args[i].text) return ktCmdNotFound;
        FoldInto(patterns.emplace_back(), args[i].text);
    }
    uint32_t status = ktCmdNotFound;
    ktLocationFormat format;
    std::string folded;
    std::string line;
    ktLocation location;
    const auto isInside = [&folded](const std::string &pattern) {
        return folded.find(pattern) != folded.npos;
    };
    for (ktModule *module : space->Modules()) {
        location.module = module;
        for (ktCompUnit *unit : module->CompUnits()) {
            location.unit = unit;
            for (ktFunction *function : unit->Functions()) {
                location.function = function;
                location.address = function->entry;
                format.Format(location);
                FoldInto(folded, format.text);
                if (!std::all_of(patterns.begin(), patterns.end(), isInside)) continue;
                AddAddressLine(*output, line, location.address, format.text);
                status = ktCmdOk;
            }
        }
    }
    return status;
}
