#pragma once

#include <cstdint>

/// Records and numbers of the ELF format. The system works on the 64-bit records; the 32-bit ones are
/// converted field by field when they are read. Fields follow the order of the format.

struct ktElfHeader {
    uint8_t ident[16];
    uint16_t type;
    uint16_t machine;
    uint32_t version;
    uint64_t entry;
    uint64_t phoff;
    uint64_t shoff;
    uint32_t flags;
    uint16_t ehsize;
    uint16_t phentsize;
    uint16_t phnum;
    uint16_t shentsize;
    uint16_t shnum;
    uint16_t shstrndx;
};
static_assert(sizeof(ktElfHeader) == 64);

struct ktElf32Header {
    uint8_t ident[16];
    uint16_t type;
    uint16_t machine;
    uint32_t version;
    uint32_t entry;
    uint32_t phoff;
    uint32_t shoff;
    uint32_t flags;
    uint16_t ehsize;
    uint16_t phentsize;
    uint16_t phnum;
    uint16_t shentsize;
    uint16_t shnum;
    uint16_t shstrndx;
};
static_assert(sizeof(ktElf32Header) == 52);

struct ktElfSegment {
    uint32_t type;
    uint32_t flags;
    uint64_t offset;
    uint64_t vaddr;
    uint64_t paddr;
    uint64_t filesz;
    uint64_t memsz;
    uint64_t align;
};
static_assert(sizeof(ktElfSegment) == 56);

struct ktElf32Segment {
    uint32_t type;
    uint32_t offset;
    uint32_t vaddr;
    uint32_t paddr;
    uint32_t filesz;
    uint32_t memsz;
    uint32_t flags;
    uint32_t align;
};
static_assert(sizeof(ktElf32Segment) == 32);

struct ktElfSection {
    uint32_t name;
    uint32_t type;
    uint64_t flags;
    uint64_t addr;
    uint64_t offset;
    uint64_t size;
    uint32_t link;
    uint32_t info;
    uint64_t addralign;
    uint64_t entsize;
};
static_assert(sizeof(ktElfSection) == 64);

struct ktElf32Section {
    uint32_t name;
    uint32_t type;
    uint32_t flags;
    uint32_t addr;
    uint32_t offset;
    uint32_t size;
    uint32_t link;
    uint32_t info;
    uint32_t addralign;
    uint32_t entsize;
};
static_assert(sizeof(ktElf32Section) == 40);

struct ktElfSymbol {
    uint32_t name;
    uint8_t info;
    uint8_t other;
    uint16_t shndx;
    uint64_t value;
    uint64_t size;

    /// The kind of symbol: one of ktElfSymbolType, or any other value below 16.
    uint32_t Type() const { return info & 15u; }
};
static_assert(sizeof(ktElfSymbol) == 24);

struct ktElf32Symbol {
    uint32_t name;
    uint32_t value;
    uint32_t size;
    uint8_t info;
    uint8_t other;
    uint16_t shndx;
};
static_assert(sizeof(ktElf32Symbol) == 16);

constexpr uint32_t ktElfMagic = 0x464C457F;

/// Places in ktElfHeader::ident, and their values.
constexpr uint32_t ktElfIdentClass = 4;
constexpr uint32_t ktElfIdentData = 5;
constexpr uint32_t ktElfIdentVersion = 6;
constexpr uint8_t ktElfClass64 = 2;
constexpr uint8_t ktElfDataLittle = 1;
constexpr uint8_t ktElfVersionCurrent = 1;

enum ktElfMachine : uint16_t { ktElfMachineI386 = 3, ktElfMachineX64 = 62 };

enum ktElfType : uint16_t { ktElfTypeRel = 1, ktElfTypeExec = 2, ktElfTypeDyn = 3 };

constexpr uint32_t ktElfSegmentLoad = 1;

enum ktElfSectionType : uint32_t {
    ktElfSectionNull = 0,
    ktElfSectionSymbols = 2,
    ktElfSectionStrings = 3,
    ktElfSectionRela = 4,
    ktElfSectionNoBits = 8,
    ktElfSectionRel = 9,
    ktElfSectionDynamicSymbols = 11,
};

enum ktElfSymbolType : uint32_t { ktElfSymbolFunction = 2, ktElfSymbolFile = 4 };

enum ktElfSectionIndex : uint16_t {
    ktElfIndexUndefined = 0,
    ktElfIndexAbsolute = 0xFFF1,
    ktElfIndexCommon = 0xFFF2,
    ktElfIndexExtended = 0xFFFF,
};
