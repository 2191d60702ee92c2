#include "symbols/dwarf/unit_reader.h"

#include <new>

#include "app/log_batch.h"
#include "symbols/comp_unit.h"
#include "symbols/dwarf/dwarf_context.h"
#include "symbols/dwarf/line_program.h"
#include "symbols/dwarf/unit_entries.h"
#include "symbols/dwarf/unit_linker.h"
#include "symbols/symbol_factory.h"

namespace {

/// The part of a path behind its last slash or backslash.
std::string_view LastComponent(std::string_view path) {
    const size_t cut = path.find_last_of("/\\");
    return cut == std::string_view::npos ? path : path.substr(cut + 1);
}

/// One walk over the entries of a unit. It passes over all but the unit's own entry and notes where each
/// stands; the linker looks again at those that last.
class UnitWalk {
public:
    UnitWalk(ktDwarfContext &dwarfContext, const ktDwarfUnit &dwarfUnit)
        : context(dwarfContext), unit(dwarfUnit), read(context, unit, log),
          cursor(context.Bytes(ktDwarfSection::info)) {}

    bool Run() {
        if (!ReadAbbreviations()) return false;
        const bool good = ReadEntries();
        read.ReserveIds();
        if (!compUnit) {
            log.Add(read.tree.FirstChild(ktDieTree::root) == 0 ? "Failed to properly read debug info"
                                                               : "Detached compilation unit data");
            return good;
        }
        if (read.tree.FirstChild(ktDieTree::root) == unitNode) {
            ktUnitLinker(read, *compUnit, unitNode).Link();
        } else {
            log.Add("Detached compilation unit data");
        }
        const ktLockGuard guard(context.resultsLock);
        context.results.push_back(compUnit.Get());
        compUnit.Detach();
        return good;
    }

private:
    bool ReadAbbreviations() {
        ktByteCursor declarations(context.Bytes(ktDwarfSection::abbrev));
        declarations.Seek(unit.abbrevOffset);
        read.abbreviations.Read(declarations, read.entries.sizes, messages, log);
        return context.abbreviationWork.Take(declarations.Position() - unit.abbrevOffset);
    }

    bool ReadEntries() {
        cursor.Seek(unit.firstEntry);
        while (cursor.Position() - unit.firstEntry < unit.remaining) {
            const uint64_t offset = cursor.Position();
            const uint64_t code = cursor.Uleb();
            if (cursor.Failed()) return false;
            if (code == 0) {
                read.tree.Pop();
                continue;
            }
            const ktDieShape *shape = read.abbreviations.Find(code);
            if (!shape) return true;
            if (!ReadEntry(static_cast<uint32_t>(offset), *shape)) return false;
        }
        return true;
    }

    bool ReadEntry(uint32_t offset, const ktDieShape &shape) {
        const uint32_t node = read.tree.Add(offset, shape.hasChildren);
        read.tree[node].shape = read.abbreviations.IndexOf(shape);
        read.tree[node].ordinal = read.objectCount;
        bool good;
        if (shape.object == ktDieObject::unit) {
            good = ReadUnitEntry(node, shape);
        } else {
            if (shape.object != ktDieObject::none) ++read.objectCount;
            if (shape.needsEarlierLowPc && lastLowPc != 0) read.NoteEarlierLowPc(node, lastLowPc);
            good = PassOver(shape);
        }
        if (shape.hasLowPc) lastLowPc = node;
        return good && !shape.isCut;
    }

    bool PassOver(const ktDieShape &shape) {
        const ktByteCursor before = cursor;
        if (PassEntry(cursor, read.abbreviations.Skips(shape), read.entries)) {
            for (const char *message : read.abbreviations.Messages(shape)) log.Add(message);
            return true;
        }
        // Once more, for the messages up to where it failed.
        cursor = before;
        return read.WalkAttributes(cursor, shape, true, [](const ktAttributeSpec &, const ktDieValue &) {});
    }

    bool ReadUnitEntry(uint32_t node, const ktDieShape &shape) {
        ktRef<ktCompUnit> made(context.factory->CreateCompUnit());
        if (!made) return false;
        ktCompUnit *target = made.Get();
        target->Keep(context.keptBytes);
        if (compUnit) {
            log.Add("Detached compilation unit");
        } else {
            compUnit = std::move(made);
            unitNode = node;
            read.tree[node].object = target;
            read.compUnit = target;
        }
        uint64_t lowPc = lastLowPc != 0 ? read.LowPcOf(lastLowPc) : 0;
        ktAddressPairs pairs;
        return read.WalkAttributes(
            cursor, shape, true, [&](const ktAttributeSpec &spec, const ktDieValue &value) {
                switch (spec.field) {
                case ktDieField::name:
                    read.StoreText(*target, target->name, LastComponent(value.text), value.textLasts);
                    break;
                case ktDieField::compDir:
                    read.StoreText(*target, target->lines.compDir, value.text, value.textLasts);
                    break;
                case ktDieField::lowPc:
                    lowPc = value.number;
                    break;
                case ktDieField::highPc: // a size, whatever its form
                    target->ranges.Add(lowPc, value.number);
                    break;
                case ktDieField::ranges:
                    if (!read.ReadRanges(value.number, pairs)) break;
                    for (const auto &[start, end] : pairs) target->ranges.Add(start, end - start);
                    break;
                case ktDieField::lineProgram:
                    ReadLineProgram(value.number);
                    break;
                default:
                    break;
                }
            });
    }

    void ReadLineProgram(uint64_t offset) {
        if (!context[ktDwarfSection::line].isPresent) return;
        const ktLineSections sections{context.Bytes(ktDwarfSection::line), context.Bytes(ktDwarfSection::str),
                                      context.Bytes(ktDwarfSection::lineStr),
                                      context.Bytes(ktDwarfSection::strDwo)};
        ParseLineProgram(sections, offset, unit.is32, context.bias, context.lineWork, log, compUnit->lines);
    }

    ktDwarfContext &context;
    const ktDwarfUnit &unit;
    ktArena messages; // outlives `log`
    ktLogBatch log;
    ktUnitEntries read;
    ktByteCursor cursor;
    ktRef<ktCompUnit> compUnit;
    uint32_t unitNode = 0;
    uint32_t lastLowPc = 0; // the last entry of the unit or a function that has one
};

} // namespace

bool ReadDwarfUnit(ktDwarfContext &context, const ktDwarfUnit &unit) {
    try {
        return UnitWalk(context, unit).Run();
    } catch (const std::bad_alloc &) {
        return false;
    }
}
