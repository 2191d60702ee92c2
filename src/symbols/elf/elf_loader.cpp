#include "symbols/elf/elf_loader.h"

#include <algorithm>
#include <span>
#include <vector>

#include "app/log.h"
#include "session/page_cache.h"
#include "symbols/comp_unit.h"
#include "symbols/dwarf/dwarf_loader.h"
#include "symbols/elf/elf_file.h"
#include "symbols/function.h"
#include "symbols/image_range.h"
#include "symbols/load_request.h"
#include "symbols/module.h"
#include "symbols/symbol_factory.h"

namespace {

/// Small enough to stay in the processor's cache between the read and the write to the pages.
constexpr uint32_t copyChunk = 256 * 1024;

/// Names may take so many times the bytes of their tables: symbols may share one string, but in a file that
/// means well not so often and not at such lengths.
constexpr uint64_t nameFactor = 10;

/// One walk over the symbol table, with the unit that is open at the moment.
class SymbolWalk {
public:
    SymbolWalk(ktLoadRequest &request, ktElfFile &elfFile)
        : module(*request.module), factory(*request.factory), elf(elfFile) {}

    bool Run() {
        if (elf.symbolSection == 0 || elf.stringSection == 0) return false;
        if (elf.symbolCount == 0) return true;
        const std::span<const uint8_t> table = elf.SectionBytes(elf.symbolSection);
        strings = elf.SectionBytes(elf.stringSection);
        if (table.empty()) return false;
        nameBudget = SaturatingMultiply(table.size() + strings.size(), nameFactor);
        ktElfSymbol symbol;
        for (uint64_t i = 0; i < elf.symbolCount && elf.ReadSymbol(table, i, symbol); ++i) {
            if (symbol.Type() == ktElfSymbolFile) {
                if (!OpenUnit()) return false;
            } else if (symbol.Type() == ktElfSymbolFunction && unit) {
                if (!AddFunction(symbol)) return false;
            }
        }
        // The unit that is still open has no file symbol behind it to close it, and is left out.
        return true;
    }

private:
    /// Closes the open unit into the module and begins the next, which keeps its default name.
    bool OpenUnit() {
        if (unit) module.AddCompUnit(unit.Get());
        unit.Reset(factory.CreateCompUnit());
        return static_cast<bool>(unit);
    }

    bool AddFunction(const ktElfSymbol &symbol) {
        const ktRef<ktFunction> function(factory.CreateFunction());
        if (!function) return true;
        if (symbol.name != 0 && symbol.name < strings.size()) {
            const std::string_view name = ktElfFile::StringAt(strings, symbol.name);
            if (name.size() >= nameBudget) {
                ktLog("ELF symbol names are too long");
                return false;
            }
            nameBudget -= name.size();
            function->name.Assign(name);
        }
        function->entry = elf.SymbolAddress(symbol);
        function->ranges.Add(function->entry, symbol.size);
        unit->AddFunction(function.Get());
        return true;
    }

    ktModule &module;
    ktSymbolFactory &factory;
    ktElfFile &elf;
    std::span<const uint8_t> strings;
    uint64_t nameBudget = 0;
    ktRef<ktCompUnit> unit;
};

bool LoadElfSymbols(ktLoadRequest &request, ktElfFile &elf) { return SymbolWalk(request, elf).Run(); }

/// The symbol table is for files without debugging information, or with some that cannot be read to its end.
bool LoadSymbols(ktLoadRequest &request, ktElfFile &elf) {
    const bool hasDwarf = LoadDwarf(request, elf);
    return hasDwarf || LoadElfSymbols(request, elf);
}

bool CopySegment(ktElfFile &elf, const ktElfFile::Segment &segment, ktPageCache &pages,
                 std::vector<uint8_t> &chunk) {
    if (!ImageFits(segment.header.vaddr, segment.byteCount)) return false;
    for (uint32_t done = 0; done < segment.byteCount;) {
        const uint32_t size = std::min(copyChunk, segment.byteCount - done);
        uint64_t written = 0;
        if (!elf.ReadSegment(segment, done, chunk.data(), size)) return false;
        pages.WritePages(segment.header.vaddr + done, chunk.data(), size, &written, pages.CurrentStamp());
        if (written != size) return false;
        done += size;
    }
    return true;
}

bool CopySegments(ktElfFile &elf, ktPageCache &pages) {
    std::vector<uint8_t> chunk(copyChunk);
    for (const ktElfFile::Segment &segment : elf.segments) {
        if (elf.IsImageSegment(segment.header) && !CopySegment(elf, segment, pages, chunk)) return false;
    }
    return true;
}

bool CopyImage(ktElfFile &elf, ktPageCache &pages) {
    const ktExclusiveGuard guard(pages.lock);
    if (pages.ReservePages(elf.lowAddress, elf.imageSize) && CopySegments(elf, pages)) return true;
    RemoveImagePages(pages, elf.lowAddress, elf.imageSize);
    return false;
}

} // namespace

bool LoadElf(ktLoadRequest &request, DataReader &reader) {
    ktElfFile elf;
    elf.loadSections = true;
    elf.loadSegments = request.pages != nullptr;
    if (!elf.Parse(reader)) return false;
    if (request.requestedBase != 0 && request.requestedBase != elf.lowAddress &&
        !elf.Rebase(request.requestedBase))
        return false;

    ktModule &module = *request.module;
    module.entry = elf.header.entry;
    module.base = elf.lowAddress;
    module.size = elf.imageSize;
    module.pointerSize = elf.is64 ? 8 : 4;
    if (!LoadSymbols(request, elf)) return false;
    return !request.pages || CopyImage(elf, *request.pages);
}
