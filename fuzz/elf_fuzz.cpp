// ELF files and images: the headers, the symbol table, the way to the pages, and what a look-up by name of a
// section gives.

#include "load_fuzz.h"
#include "symbols/elf/elf_file.h"
#include "symbols/elf/elf_loader.h"

namespace {

/// Reads all that the view offers.
void WalkFile(DataReader &reader) {
    ktElfFile elf;
    elf.loadSections = elf.loadSegments = true;
    if (!elf.Parse(reader)) return;
    for (const char *name : {".debug_info", ".text", ""})
        Require(elf.FindSection(name) <= elf.sections.size());
    ktElfSymbol symbol;
    for (uint64_t i = 0; elf.ReadSymbol(elf.SectionBytes(elf.symbolSection), i, symbol); ++i) {
        elf.SymbolAddress(symbol);
        Require(ktElfFile::StringAt(elf.SectionBytes(elf.stringSection), symbol.name).size() <=
                elf.SectionBytes(elf.stringSection).size());
    }
    for (const ktElfFile::Segment &segment : elf.segments) {
        uint8_t byte;
        Require(!elf.ReadSegment(segment, segment.byteCount, &byte, 1));
        Require(segment.byteCount == 0 || elf.ReadSegment(segment, segment.byteCount - 1, &byte, 1));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return LoadInput(data, size, [](ktLoadRequest &request, DataReader &reader, uint8_t) {
        WalkFile(reader);
        return LoadElf(request, reader);
    });
}
