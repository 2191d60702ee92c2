#pragma once

#include "symbols/elf/elf_format.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

class DataReader;

/// View of one ELF file or image. Judges the whole file in Parse, but fetches bytes only when they are asked
/// for, as far as the reader's size is known: ranges are then compared with that size. Otherwise, as with
/// target memory, Parse fetches at once all that is wanted, up to `maxUnsizedBytes`. One thread at a time.
class ktElfFile {
public:
    /// What is fetched at most from a reader whose size cannot be known.
    static constexpr uint64_t maxUnsizedBytes = uint64_t(256) << 20;
    /// An image that is to be copied may always be this large in memory,
    static constexpr uint64_t minImageLimit = uint64_t(256) << 20;
    /// or that many times the size of its file. All beyond is refused.
    static constexpr uint64_t imageFactor = 512;
    /// The load segments together may name the bytes of the file this often, and so may the sections fetched.
    static constexpr uint64_t fileFactor = 10;

    using FetchedBytes = std::shared_ptr<const uint8_t[]>;

    struct Segment {
        ktElfSegment header;
        uint32_t byteCount = 0; ///< file bytes that ReadSegment gives
        FetchedBytes bytes;     ///< they, when they had to be fetched at once
    };

    struct Section {
        ktElfSection header;
        uint32_t byteCount = 0; ///< file bytes that SectionBytes gives
        FetchedBytes bytes;     ///< they, once fetched
    };

    ktElfFile() = default;
    ktElfFile(const ktElfFile &) = delete;
    ktElfFile &operator=(const ktElfFile &) = delete;

    /// Reads the header, segments and sections and finds the symbol table. `elfReader` must outlive all use
    /// of this object up to Clear. False, with no state to rely on, when the file cannot be used.
    bool Parse(DataReader &elfReader);
    /// Frees everything; `loadSegments` and `loadSections` stay.
    void Clear();
    /// Moves every address of the file so that `lowAddress` becomes `newBase`. No relocation record is
    /// applied: their presence is only the permission to move. False without it, or past the address space.
    bool Rebase(uint64_t newBase);

    /// Address of a symbol, `bias` included. Logs what it cannot resolve.
    uint64_t SymbolAddress(const ktElfSymbol &symbol) const;
    /// True for the segments that make up the image in memory.
    bool IsImageSegment(const ktElfSegment &segment) const;
    /// Copies `size` file bytes of a segment from `offset` on; false outside of its `byteCount` bytes.
    bool ReadSegment(const Segment &segment, uint32_t offset, void *buffer, uint32_t size);
    /// The bytes of a section, valid until Clear. Empty for an unknown index, for a section without bytes,
    /// and when they cannot be had.
    std::span<const uint8_t> SectionBytes(uint64_t index);
    /// The memory of SectionBytes, for who needs it beyond Clear; null where that is empty.
    FetchedBytes SharedBytes(uint64_t index);
    /// Index of the first section of exactly that name, or 0. Section 0 has none.
    uint32_t FindSection(std::string_view name);
    /// Record `index` of a symbol table's bytes; false past their end.
    bool ReadSymbol(std::span<const uint8_t> table, uint64_t index, ktElfSymbol &symbol) const;
    /// The string at `offset` of a string section's bytes, ended by a zero or the end of the section.
    static std::string_view StringAt(std::span<const uint8_t> strings, uint64_t offset);

    bool loadSegments = false;   ///< the file bytes of segments are wanted
    bool loadSections = false;   ///< the file bytes of sections are wanted
    bool is64 = false;           ///< any class but 2 is read as 32-bit
    bool littleEndian = false;   ///< recorded only: nothing is ever byte-swapped
    bool hasRelocations = false; ///< a section with relocation records was seen
    ktElfHeader header = {};
    std::vector<Segment> segments;
    std::vector<Section> sections;
    uint16_t symbolSection = 0; ///< index, 0 for none
    uint16_t stringSection = 0; ///< index, 0 for none
    uint64_t symbolCount = 0;
    uint64_t lowAddress = 0; ///< lowest address of the image's segments
    uint64_t imageSize = 0;  ///< multiple of 4096
    uint64_t bias = 0;       ///< added to symbol values

private:
    bool ReadHeader();
    bool ReadSegments();
    bool MeasureImage();
    bool CheckImageSize() const;
    bool ReadSections();
    void FindSymbolTable();
    bool FindSymbolTable(uint32_t sectionType);
    bool ReadTable(uint64_t offset, uint64_t entrySize, uint64_t count, std::vector<uint8_t> &table);
    bool Fetch(uint64_t offset, uint32_t size, FetchedBytes &bytes);
    bool PrepareBytes(uint64_t offset, uint64_t size, uint32_t &byteCount, FetchedBytes &bytes);

    DataReader *reader = nullptr;
    bool sizeKnown = false;
    uint64_t fileSize = 0;
    uint64_t fetchedBytes = 0; // of sections, and of segments when the size is unknown
};
