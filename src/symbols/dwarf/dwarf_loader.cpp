#include "symbols/dwarf/dwarf_loader.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>

#include "app/log.h"
#include "app/task_pool.h"
#include "symbols/comp_unit.h"
#include "symbols/dwarf/byte_cursor.h"
#include "symbols/dwarf/dwarf_context.h"
#include "symbols/dwarf/dwarf_format.h"
#include "symbols/dwarf/unit_entries.h"
#include "symbols/dwarf/unit_reader.h"
#include "symbols/elf/elf_file.h"
#include "symbols/load_progress.h"
#include "symbols/module.h"

namespace {

constexpr const char *sectionNames[ktDwarfSectionCount] = {
    ".debug_abbrev",     ".debug_addr",         ".debug_aranges",  ".debug_frame",
    ".debug_info",       ".debug_line",         ".debug_line_str", ".debug_loc",
    ".debug_loclists",   ".debug_macinfo",      ".debug_macro",    ".debug_names",
    ".debug_pubnames",   ".debug_pubtypes",     ".debug_ranges",   ".debug_rnglists",
    ".debug_str",        ".debug_str_offsets",  ".debug_sup",      ".debug_types",
    ".debug_abbrev.dwo", ".debug_info.dwo",     ".debug_line.dwo", ".debug_loclists.dwo",
    ".debug_macro.dwo",  ".debug_rnglists.dwo", ".debug_str.dwo",  ".debug_str_offsets.dwo",
    ".debug_cu_index",   ".debug_tu_index"};

/// Sections whose bytes this reader looks at; the others may be large.
constexpr ktDwarfSection readSections[] = {
    ktDwarfSection::abbrev,   ktDwarfSection::addr,    ktDwarfSection::info,
    ktDwarfSection::line,     ktDwarfSection::lineStr, ktDwarfSection::ranges,
    ktDwarfSection::rnglists, ktDwarfSection::str,     ktDwarfSection::strDwo};

/// Names and line tables refer to these after the load.
constexpr ktDwarfSection keptSections[] = {ktDwarfSection::line, ktDwarfSection::lineStr, ktDwarfSection::str,
                                           ktDwarfSection::strDwo};

/// How often the bytes of a table may be worked through again for units that name it again. Units of honest
/// files share tables, but each byte of them stands for work of its own.
constexpr uint64_t sharedTableFactor = 64;
/// The same for range lists, which are stored for each function that names one, and for line programs, which
/// are run again for look-ups; honest files hardly share either.
constexpr uint64_t sharedListFactor = 4;
/// The same for attributes that take no bytes of their entry, and for texts that are copied, of which entries
/// that share one may have a copy each.
constexpr uint64_t attributeFactor = 16;
constexpr uint64_t sharedTextFactor = 16;
constexpr uint64_t leastWork = 1 << 20;

bool Contains(std::span<const ktDwarfSection> sections, ktDwarfSection section) {
    return std::find(sections.begin(), sections.end(), section) != sections.end();
}

void FindSections(ktElfFile &elf, ktDwarfContext &context) {
    auto kept = std::make_shared<std::vector<std::shared_ptr<const uint8_t[]>>>();
    for (size_t i = 0; i < ktDwarfSectionCount; ++i) {
        const auto section = static_cast<ktDwarfSection>(i);
        const uint32_t index = elf.FindSection(sectionNames[i]);
        if (index == 0) continue;
        context.sections[i].isPresent = true;
        if (Contains(readSections, section)) context.sections[i].bytes = elf.SectionBytes(index);
        if (Contains(keptSections, section)) kept->push_back(elf.SharedBytes(index));
    }
    context.keptBytes = std::move(kept);
    context.texts = ktTextSection(context.Bytes(ktDwarfSection::str));
    context.lineTexts = ktTextSection(context.Bytes(ktDwarfSection::lineStr));
}

/// Reads the header of the unit at the cursor, which then stands at its first entry.
bool ReadUnitHeader(ktByteCursor &cursor, ktDwarfUnit &unit) {
    unit.start = cursor.Position();
    unit.length = cursor.U32();
    if (unit.length == std::numeric_limits<uint32_t>::max()) {
        unit.is32 = false;
        unit.length = cursor.U64();
    }
    if (unit.length == 0) return false;
    const uint64_t lengthEnd = cursor.Position();
    unit.version = cursor.U16();
    if (unit.version >= 5) {
        unit.unitType = cursor.U8();
        unit.addressSize = cursor.U8();
        unit.abbrevOffset = cursor.Offset(unit.is32);
        const bool isExpected = unit.unitType != ktDwUnitSkeleton && unit.unitType != ktDwUnitSplitCompile;
        if (!cursor.Failed() && !isExpected) ktLog("Unexpected compilation unit type");
    } else {
        unit.abbrevOffset = cursor.Offset(unit.is32);
        unit.addressSize = cursor.U8();
    }
    unit.firstEntry = cursor.Position();
    unit.headerSize = unit.firstEntry - lengthEnd;
    unit.remaining = unit.length - unit.headerSize;
    return !cursor.Failed();
}

bool RunUnit(ktDwarfContext &context, const ktDwarfUnit &unit) {
    const bool isRead = unit.version == 4 || unit.version == 5; // others are passed over
    const bool good = !isRead || ReadDwarfUnit(context, unit);
    if (context.progress) context.progress->unitsDone.fetch_add(1, std::memory_order_relaxed);
    return good;
}

uint64_t RunUnitTask(ktTask *task) {
    const std::unique_ptr<const ktDwarfUnit> unit(reinterpret_cast<const ktDwarfUnit *>(task->args[1]));
    return RunUnit(*reinterpret_cast<ktDwarfContext *>(task->args[0]), *unit);
}

/// Hands a unit to the pool; how its reading ends is not looked at.
bool QueueUnit(ktDwarfContext &context, const ktDwarfUnit &unit) {
    std::unique_ptr<ktDwarfUnit> copy(new (std::nothrow) ktDwarfUnit(unit));
    auto *memory = static_cast<ktTask *>(std::malloc(sizeof(ktTask)));
    if (!copy || !memory) {
        std::free(memory);
        return false;
    }
    auto *task = new (memory) ktTask;
    task->entry = RunUnitTask;
    task->argCount = 2;
    task->args[0] = reinterpret_cast<uint64_t>(&context);
    task->args[1] = reinterpret_cast<uint64_t>(copy.release());
    task->autoFree = true;
    if (context.pool->Submit(task, nullptr)) return true; // the task frees both
    delete reinterpret_cast<const ktDwarfUnit *>(task->args[1]);
    std::free(memory);
    return false;
}

bool ReadHeaderAndRun(ktDwarfContext &context, ktByteCursor &cursor) {
    ktDwarfUnit unit;
    if (!ReadUnitHeader(cursor, unit)) return false;
    if (unit.abbrevOffset > context.Bytes(ktDwarfSection::abbrev).size()) return false;
    if (context.progress) context.progress->unitsFound.fetch_add(1, std::memory_order_relaxed);
    const bool good = context.pool ? QueueUnit(context, unit) : RunUnit(context, unit);
    return good && cursor.Skip(unit.remaining);
}

bool ReadUnits(ktDwarfContext &context) {
    if (!context[ktDwarfSection::info].isPresent || !context[ktDwarfSection::abbrev].isPresent) return false;
    ktByteCursor cursor(context.Bytes(ktDwarfSection::info));
    for (;;) {
        const bool good = ReadHeaderAndRun(context, cursor);
        if (cursor.IsAtEnd() || !good) return good;
    }
}

} // namespace

bool LoadDwarf(ktLoadRequest &request, ktElfFile &elf) {
    ktDwarfContext context;
    context.bias = elf.bias;
    context.factory = request.factory;
    context.pool = request.parallel ? request.pool : nullptr;
    context.progress = request.progress;
    FindSections(elf, context);
    const auto sizeOf = [&context](ktDwarfSection section) { return context.Bytes(section).size(); };
    const uint64_t entryBytes = sizeOf(ktDwarfSection::info);
    context.abbreviationWork.Reset(leastWork +
                                   sharedTableFactor * (sizeOf(ktDwarfSection::abbrev) + entryBytes));
    context.attributeWork.Reset(leastWork + attributeFactor * (sizeOf(ktDwarfSection::abbrev) + entryBytes));
    context.textWork.Reset(leastWork + sharedTextFactor * (sizeOf(ktDwarfSection::str) +
                                                           sizeOf(ktDwarfSection::lineStr) + entryBytes));
    context.lineWork.Reset(leastWork + sharedListFactor * sizeOf(ktDwarfSection::line));
    context.rangeWork.Reset(
        leastWork + sharedListFactor * (sizeOf(ktDwarfSection::ranges) + sizeOf(ktDwarfSection::rnglists)));
    if (context[ktDwarfSection::types].isPresent) ktLog("Type section is not supported");

    const bool good = ReadUnits(context);
    if (context.pool) context.pool->HelpUntilIdle();
    for (ktCompUnit *unit : context.results) {
        request.module->AddCompUnit(unit);
        unit->Release();
    }
    return good;
}
