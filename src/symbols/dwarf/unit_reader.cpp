#include "symbols/dwarf/unit_reader.h"

#include <new>

#include "app/log.h"
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
    UnitWalk(ktDwarfContext &dwarfContext, const ktDwarfUnit &dwarfUnit, ktUnitScratch &scratch)
        : context(dwarfContext), unit(dwarfUnit), read(context, unit, scratch, log),
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
        if (compUnit->ranges.IsEmpty()) return good; // a unit without code vanishes, with all its types
        compUnit->Freeze();                          // what only adding needs would wait for the last unit
        const ktLockGuard guard(context.resultsLock);
        context.results.push_back(compUnit.Get());
        compUnit.Detach();
        return good;
    }

private:
    bool ReadAbbreviations() {
        if (!context.abbreviationWork.Take(0)) return false;
        ktByteCursor declarations(context.Bytes(ktDwarfSection::abbrev));
        declarations.Seek(unit.abbrevOffset);
        read.abbreviations.Read(declarations, read.entries.sizes, messages, log);
        return context.abbreviationWork.Take(declarations.Position() - unit.abbrevOffset);
    }

    bool ReadEntries() {
        if (unit.length < unit.headerSize) return true; // no room for an entry
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
        if (shape.tag == 0) {
            read.tree.Pop(shape.hasChildren);
            return PassOver(shape) && !shape.isCut;
        }
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
        if (!read.MayWalk(shape)) return false;
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
        read.ReserveIds();
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

/// Scratch memory of the context for as long as one unit is read.
class ScratchLoan {
public:
    explicit ScratchLoan(ktDwarfContext &dwarfContext) : context(dwarfContext) {
        const ktLockGuard guard(context.resultsLock);
        if (context.scratch.empty()) {
            context.scratch.reserve(++context.scratchCount); // so that giving it back needs no memory
            memory = std::make_unique<ktUnitScratch>();
        } else {
            memory = std::move(context.scratch.back());
            context.scratch.pop_back();
        }
    }
    ~ScratchLoan() {
        const ktLockGuard guard(context.resultsLock);
        context.scratch.push_back(std::move(memory));
    }
    ScratchLoan(const ScratchLoan &) = delete;
    ScratchLoan &operator=(const ScratchLoan &) = delete;

    ktUnitScratch &operator*() const { return *memory; }

private:
    ktDwarfContext &context;
    std::unique_ptr<ktUnitScratch> memory;
};

} // namespace

bool ReadDwarfUnit(ktDwarfContext &context, const ktDwarfUnit &unit) {
    try {
        const ScratchLoan scratch(context);
        return UnitWalk(context, unit, *scratch).Run();
    } catch (const std::bad_alloc &) {
        ktLog("A compilation unit takes too much memory");
        return false;
    }
}
