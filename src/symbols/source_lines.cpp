#include "symbols/source_lines.h"

#include "app/lines.h"
#include "symbols/comp_unit.h"
#include "symbols/location.h"
#include "symbols/module.h"
#include "symbols/source_cache.h"

void ShowSourceLine(const ktLocation &location, uint64_t address, ktLines &output) {
    if (!location.module || !location.unit) return;
    const char *root = location.module->sourcePath.Get();
    if (!root) return;
    ktSourceCache *sources = location.unit->Sources();
    if (!sources || !sources->path.root.Assign(root)) return;
    const std::optional<ktLineRecord> row = location.unit->lines.FirstRowAt(address);
    if (!row) return;
    const ktSourceFile *file = sources->LoadFile(row->file);
    const char *text = file ? file->Line(row->line) : nullptr;
    if (text) output.AddLine(text);
}
