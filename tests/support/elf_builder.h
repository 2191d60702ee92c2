#pragma once

#include "support/byte_patch.h"
#include "symbols/elf/elf_format.h"

#include <string>
#include <vector>

/// Builds one ELF file out of its parts: header, program headers, bytes of the segments, bytes of the
/// sections, section headers. Section 0 is empty; the names are in the last section, which Build adds.
/// Everything starts at a multiple of 8. Tests bend the result field by field.
class ktElfBuilder {
public:
    explicit ktElfBuilder(bool wide = true) : is64(wide) { sections.push_back({}); }

    const bool is64;
    uint16_t type = ktElfTypeExec;
    uint64_t entry = 0x400010;

    void AddSegment(uint64_t vaddr, ktBytes bytes, uint64_t memsz, uint32_t segmentType = ktElfSegmentLoad,
                    uint32_t flags = 5) {
        ktElfSegment header = {};
        header.type = segmentType;
        header.flags = flags;
        header.vaddr = header.paddr = vaddr;
        header.filesz = bytes.size();
        header.memsz = memsz;
        header.align = 0x1000;
        segments.push_back({header, std::move(bytes)});
    }

    /// The index of the new section.
    uint32_t AddSection(const std::string &name, uint32_t sectionType, ktBytes bytes, uint32_t link = 0,
                        uint64_t entsize = 0, uint64_t addr = 0) {
        ktElfSection header = {};
        header.type = sectionType;
        header.addr = addr;
        header.size = bytes.size();
        header.link = link;
        header.entsize = entsize;
        sections.push_back({header, std::move(bytes), name});
        return static_cast<uint32_t>(sections.size() - 1);
    }

    void AddSymbol(uint32_t symbolType, const std::string &name, uint64_t value = 0, uint64_t size = 0,
                   uint16_t shndx = 1) {
        ktElfSymbol symbol = {};
        if (!name.empty()) {
            if (strings.empty()) strings.push_back(0);
            symbol.name = static_cast<uint32_t>(strings.size());
            strings.insert(strings.end(), name.c_str(), name.c_str() + name.size() + 1);
        }
        symbol.info = static_cast<uint8_t>(symbolType | 0x10);
        symbol.value = value;
        symbol.size = size;
        symbol.shndx = shndx;
        AddRawSymbol(symbol);
    }
    void AddFile(const std::string &name = "file.c") { AddSymbol(ktElfSymbolFile, name); }
    void AddFunction(const std::string &name, uint64_t value, uint64_t size = 0x10, uint16_t shndx = 1) {
        AddSymbol(ktElfSymbolFunction, name, value, size, shndx);
    }
    void AddRawSymbol(const ktElfSymbol &symbol) {
        if (is64) {
            AppendRecord(symbols, symbol);
        } else {
            AppendRecord(symbols, ktElf32Symbol{symbol.name, static_cast<uint32_t>(symbol.value),
                                                static_cast<uint32_t>(symbol.size), symbol.info, symbol.other,
                                                symbol.shndx});
        }
    }
    uint64_t SymbolSize() const { return is64 ? sizeof(ktElfSymbol) : sizeof(ktElf32Symbol); }

    /// Adds the strings and the table of the symbols added so far; gives the table's index.
    uint32_t AddSymbolTable(uint32_t tableType = ktElfSectionSymbols) {
        if (strings.empty()) strings.push_back(0);
        const uint32_t link = AddSection(".strtab", ktElfSectionStrings, strings);
        return AddSection(".symtab", tableType, symbols, link, SymbolSize());
    }

    ktBytes Build() {
        if (names.empty()) AddNames();
        ktBytes file(HeaderSize());
        phoff = file.size();
        file.resize(phoff + segments.size() * SegmentSize());
        for (Segment &segment : segments) segment.header.offset = Place(file, segment.bytes);
        for (Section &section : sections) section.header.offset = Place(file, section.bytes);
        shoff = Aligned(file);
        file.resize(shoff + sections.size() * SectionSize());
        for (size_t i = 0; i < segments.size(); ++i) PutSegment(file, i);
        for (size_t i = 0; i < sections.size(); ++i) PutSection(file, i);
        PutHeader(file);
        return file;
    }

    /// Places in the file last built.
    size_t SegmentAt(size_t index) const { return phoff + index * SegmentSize(); }
    size_t SectionAt(size_t index) const { return shoff + index * SectionSize(); }
    uint64_t SectionBytesAt(size_t index) const { return sections[index].header.offset; }
    size_t SectionCount() const { return sections.size(); }
    size_t SegmentSize() const { return is64 ? sizeof(ktElfSegment) : sizeof(ktElf32Segment); }
    size_t SectionSize() const { return is64 ? sizeof(ktElfSection) : sizeof(ktElf32Section); }

private:
    struct Segment {
        ktElfSegment header;
        ktBytes bytes;
    };
    struct Section {
        ktElfSection header;
        ktBytes bytes;
        std::string name;
    };

    size_t HeaderSize() const { return is64 ? sizeof(ktElfHeader) : sizeof(ktElf32Header); }

    static size_t Aligned(ktBytes &file) {
        file.resize((file.size() + 7) / 8 * 8);
        return file.size();
    }
    static uint64_t Place(ktBytes &file, const ktBytes &bytes) {
        const size_t offset = Aligned(file);
        file.insert(file.end(), bytes.begin(), bytes.end());
        return offset;
    }

    void AddNames() {
        AddSection(".shstrtab", ktElfSectionStrings, {});
        names.push_back(0);
        for (Section &section : sections) {
            if (section.name.empty()) continue;
            section.header.name = static_cast<uint32_t>(names.size());
            names.insert(names.end(), section.name.c_str(), section.name.c_str() + section.name.size() + 1);
        }
        sections.back().bytes = names;
        sections.back().header.size = names.size();
    }

    void PutSegment(ktBytes &file, size_t index) const {
        const ktElfSegment &from = segments[index].header;
        if (is64) return PutField(file, SegmentAt(index), from);
        PutField(file, SegmentAt(index),
                 ktElf32Segment{from.type, Low(from.offset), Low(from.vaddr), Low(from.paddr),
                                Low(from.filesz), Low(from.memsz), from.flags, Low(from.align)});
    }
    void PutSection(ktBytes &file, size_t index) const {
        const ktElfSection &from = sections[index].header;
        if (is64) return PutField(file, SectionAt(index), from);
        PutField(file, SectionAt(index),
                 ktElf32Section{from.name, from.type, Low(from.flags), Low(from.addr), Low(from.offset),
                                Low(from.size), from.link, from.info, Low(from.addralign),
                                Low(from.entsize)});
    }
    void PutHeader(ktBytes &file) const {
        const uint8_t elfClass = is64 ? ktElfClass64 : 1;
        const ktElfHeader wide = {{0x7F, 'E', 'L', 'F', elfClass, 1, 1},
                                  type,
                                  is64 ? ktElfMachineX64 : ktElfMachineI386,
                                  1,
                                  entry,
                                  segments.empty() ? 0 : phoff,
                                  shoff,
                                  0,
                                  static_cast<uint16_t>(HeaderSize()),
                                  static_cast<uint16_t>(SegmentSize()),
                                  static_cast<uint16_t>(segments.size()),
                                  static_cast<uint16_t>(SectionSize()),
                                  static_cast<uint16_t>(sections.size()),
                                  static_cast<uint16_t>(sections.size() - 1)};
        if (is64) return PutField(file, 0, wide);
        ktElf32Header narrow = {{},
                                wide.type,
                                wide.machine,
                                wide.version,
                                Low(wide.entry),
                                Low(wide.phoff),
                                Low(wide.shoff),
                                wide.flags,
                                wide.ehsize,
                                wide.phentsize,
                                wide.phnum,
                                wide.shentsize,
                                wide.shnum,
                                wide.shstrndx};
        std::memcpy(narrow.ident, wide.ident, sizeof(narrow.ident));
        PutField(file, 0, narrow);
    }
    static uint32_t Low(uint64_t value) { return static_cast<uint32_t>(value); }

    std::vector<Segment> segments;
    std::vector<Section> sections;
    ktBytes strings;
    ktBytes symbols;
    ktBytes names;
    size_t phoff = 0;
    size_t shoff = 0;
};

/// A whole program: code of 0x1234 bytes at 0x400000, 0x100 bytes of data at 0x402000 with zeros up to
/// 0x800, and symbols: first.c with alpha and beta, second.c with gamma, and a file that nothing follows.
inline ktElfBuilder GoodElf(bool wide = true) {
    ktElfBuilder elf(wide);
    ktBytes code(0x1234);
    for (size_t i = 0; i < code.size(); ++i) code[i] = static_cast<uint8_t>(i * 7);
    elf.AddSegment(0x400000, code, 0x1234);
    elf.AddSegment(0x402000, ktBytes(0x100, 0xDA), 0x800, ktElfSegmentLoad, 6);
    elf.AddSection(".text", 1, ktBytes(0x20, 0x90), 0, 0, 0x400000);
    elf.AddSymbol(0, "");
    elf.AddFile("first.c");
    elf.AddFunction("alpha", 0x400100, 0x20);
    elf.AddFunction("beta", 0x400200, 0x30);
    elf.AddFile("second.c");
    elf.AddFunction("gamma", 0x400300, 0x40);
    elf.AddFile("");
    elf.AddSymbolTable();
    return elf;
}
