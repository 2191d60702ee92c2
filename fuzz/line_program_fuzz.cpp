// Line programs: headers, tables and rows, read twice, and the way from an address to its row.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "app/log_batch.h"
#include "symbols/dwarf/line_program.h"
#include "symbols/dwarf/work_budget.h"
#include "symbols/line_info.h"

namespace {

void Require(bool condition) {
    if (!condition) std::abort();
}

/// Reads all texts.
void WalkTexts(const std::vector<ktOwnedText> &places) {
    for (const ktOwnedText &place : places)
        Require(!place.Get() || std::char_traits<char>::length(place.Get()) < 4096);
}

void CheckTable(const ktLineInfo &lines, size_t size) {
    const ktLineTable &table = lines.Table();
    Require(table.directories.size() <= 1040 && table.directories.size() % 16 == 0);
    Require(table.files.size() <= 1040 && table.files.size() % 16 == 0);
    Require(table.fileDirs.size() == table.files.size());
    WalkTexts(table.directories);
    WalkTexts(table.files);
    for (uint64_t file = 0; file <= table.files.size(); ++file) table.DirectoryOf(file, "build");
    const std::vector<ktLineRecord> rows = lines.Rows();
    Require(rows.size() <= size);
    for (size_t i = 0; i < std::min<size_t>(rows.size(), 16); ++i) {
        const uint64_t address = rows[i * 7 % rows.size()].address;
        const auto isThere = [address](const ktLineRecord &row) { return row.address == address; };
        Require(lines.FirstRowAt(address) == *std::find_if(rows.begin(), rows.end(), isThere));
    }
}

} // namespace

/// The first byte tells the form of the unit, whether the texts have sections, and the offset of the program.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const uint8_t mode = data[0];
    const std::span<const uint8_t> bytes(data + 1, size - 1);
    ktLineSections sections;
    sections.line = bytes;
    if (mode & 2) sections.str = sections.lineStr = bytes;
    ktWorkBudget budget(8 * size + 4096);
    ktLogBatch log;
    ktLineInfo lines, again;
    const uint64_t offset = mode >> 2;
    const bool good = ParseLineProgram(sections, offset, mode & 1, 0x1000, budget, log, lines);
    CheckTable(lines, size);
    ktWorkBudget plenty(~uint64_t(0));
    ParseLineProgram(sections, offset, mode & 1, 0x1000, plenty, log, again);
    if (good) Require(again.Rows() == lines.Rows());
    // Once more into the same table: its rows stand behind, its names over the others.
    ParseLineProgram(sections, offset, mode & 1, 0x1000, plenty, log, again);
    CheckTable(again, 2 * size);
    return 0;
}
