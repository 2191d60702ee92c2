#include "symbols/elf/elf_file.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "app/log.h"
#include "platform/pages.h"
#include "session/data_reader.h"
#include "symbols/image_range.h"

namespace {

ktElfHeader Widen(const ktElf32Header &narrow) {
    ktElfHeader wide = {};
    std::memcpy(wide.ident, narrow.ident, sizeof(wide.ident));
    wide.type = narrow.type;
    wide.machine = narrow.machine;
    wide.version = narrow.version;
    wide.entry = narrow.entry;
    wide.phoff = narrow.phoff;
    wide.shoff = narrow.shoff;
    wide.flags = narrow.flags;
    wide.ehsize = narrow.ehsize;
    wide.phentsize = narrow.phentsize;
    wide.phnum = narrow.phnum;
    wide.shentsize = narrow.shentsize;
    wide.shnum = narrow.shnum;
    wide.shstrndx = narrow.shstrndx;
    return wide;
}

ktElfSegment Widen(const ktElf32Segment &narrow) {
    return {narrow.type,  narrow.flags,  narrow.offset, narrow.vaddr,
            narrow.paddr, narrow.filesz, narrow.memsz,  narrow.align};
}

ktElfSection Widen(const ktElf32Section &narrow) {
    return {narrow.name, narrow.type, narrow.flags, narrow.addr,      narrow.offset,
            narrow.size, narrow.link, narrow.info,  narrow.addralign, narrow.entsize};
}

ktElfSymbol Widen(const ktElf32Symbol &narrow) {
    return {narrow.name, narrow.info, narrow.other, narrow.shndx, narrow.value, narrow.size};
}

template <class T>
T Load(const uint8_t *bytes) {
    T record;
    std::memcpy(&record, bytes, sizeof(record));
    return record;
}

/// Record `index` of a table of Wide records, or of Narrow ones that are converted.
template <class Wide, class Narrow>
Wide LoadRecord(const uint8_t *table, uint64_t index, bool is64) {
    if (is64) return Load<Wide>(table + index * sizeof(Wide));
    return Widen(Load<Narrow>(table + index * sizeof(Narrow)));
}

bool HasSize(uint16_t entrySize, size_t expected) { return entrySize == 0 || entrySize == expected; }

bool IsSupported(const ktElfHeader &header, bool is64) {
    if (Load<uint32_t>(header.ident) != ktElfMagic) return false;
    if (header.ident[ktElfIdentVersion] != ktElfVersionCurrent) return false;
    if (is64) {
        return header.machine == ktElfMachineX64 && header.ehsize == sizeof(ktElfHeader) &&
               HasSize(header.phentsize, sizeof(ktElfSegment)) &&
               HasSize(header.shentsize, sizeof(ktElfSection));
    }
    return header.machine == ktElfMachineI386 && header.ehsize == sizeof(ktElf32Header) &&
           HasSize(header.phentsize, sizeof(ktElf32Segment)) &&
           HasSize(header.shentsize, sizeof(ktElf32Section));
}

} // namespace

bool ktElfFile::Parse(DataReader &elfReader) {
    Clear();
    reader = &elfReader;
    sizeKnown = KnownReaderSize(elfReader, fileSize);
    if (!ReadHeader() || !ReadSegments() || !ReadSections()) return false;
    FindSymbolTable();
    return true;
}

void ktElfFile::Clear() {
    is64 = littleEndian = hasRelocations = false;
    header = {};
    segments.clear();
    sections.clear();
    symbolSection = stringSection = 0;
    symbolCount = lowAddress = imageSize = bias = 0;
    reader = nullptr;
    sizeKnown = false;
    fileSize = fetchedBytes = 0;
}

bool ktElfFile::ReadHeader() {
    ktElf32Header narrow;
    if (!reader->Seek(0) || !reader->ReadExact(&narrow, sizeof(narrow))) return false;
    is64 = narrow.ident[ktElfIdentClass] == ktElfClass64;
    if (!is64) {
        header = Widen(narrow);
    } else if (!reader->Seek(0) || !reader->ReadExact(&header, sizeof(header))) {
        return false;
    }
    littleEndian = header.ident[ktElfIdentData] == ktElfDataLittle;
    return IsSupported(header, is64);
}

/// Reads a table of headers whole: at most 65535 entries of 64 bytes.
bool ktElfFile::ReadTable(uint64_t offset, uint64_t entrySize, uint64_t count, std::vector<uint8_t> &table) {
    const uint64_t size = entrySize * count;
    if (sizeKnown && !IsInside(offset, size, fileSize)) return false;
    table.resize(size);
    return reader->Seek(offset) && reader->ReadExact(table.data(), static_cast<uint32_t>(size));
}

bool ktElfFile::Fetch(uint64_t offset, uint32_t size, FetchedBytes &bytes) {
    std::unique_ptr<uint8_t[]> fetched(new (std::nothrow) uint8_t[size]);
    if (!fetched || !reader->Seek(offset) || !reader->ReadExact(fetched.get(), size)) return false;
    bytes = std::move(fetched);
    return true;
}

/// Makes sure that a range of the file can be had. Only the low 32 bits of its place and size count.
bool ktElfFile::PrepareBytes(uint64_t offset, uint64_t size, uint32_t &byteCount, FetchedBytes &bytes) {
    const uint32_t low = static_cast<uint32_t>(offset);
    byteCount = static_cast<uint32_t>(size);
    if (byteCount == 0) return true;
    if (sizeKnown) return IsInside(low, byteCount, fileSize);
    fetchedBytes += byteCount;
    if (fetchedBytes > maxUnsizedBytes) return false;
    return Fetch(low, byteCount, bytes);
}

bool ktElfFile::ReadSegments() {
    if (header.phnum == 0) return true;
    std::vector<uint8_t> table;
    const uint64_t entrySize = is64 ? sizeof(ktElfSegment) : sizeof(ktElf32Segment);
    if (!ReadTable(header.phoff, entrySize, header.phnum, table)) return false;
    segments.resize(header.phnum);
    uint64_t imageBytes = 0;
    for (size_t i = 0; i < segments.size(); ++i) {
        Segment &segment = segments[i];
        segment.header = LoadRecord<ktElfSegment, ktElf32Segment>(table.data(), i, is64);
        if (!loadSegments || segment.header.filesz == 0 || segment.header.flags == 0) continue;
        if (!PrepareBytes(segment.header.offset, segment.header.filesz, segment.byteCount, segment.bytes))
            return false;
        if (IsImageSegment(segment.header)) imageBytes += segment.byteCount;
    }
    if (sizeKnown && imageBytes > SaturatingMultiply(fileSize, fileFactor)) {
        ktLog("ELF segments take %llX bytes from a file of %llX", static_cast<unsigned long long>(imageBytes),
              static_cast<unsigned long long>(fileSize));
        return false;
    }
    return MeasureImage();
}

bool ktElfFile::IsImageSegment(const ktElfSegment &segment) const {
    if (segment.type != ktElfSegmentLoad) return false;
    return header.type != ktElfTypeExec || segment.vaddr != bias; // address 0, wherever that was moved
}

bool ktElfFile::MeasureImage() {
    uint64_t low = 0;
    uint64_t highest = 0;
    uint64_t highestSize = 0;
    bool found = false;
    for (const Segment &segment : segments) {
        if (!IsImageSegment(segment.header)) continue;
        low = found ? std::min(low, segment.header.vaddr) : segment.header.vaddr;
        found = true;
        if (segment.header.vaddr <= highest) continue;
        highest = segment.header.vaddr;
        highestSize = segment.header.memsz;
    }
    if (!found) return false;
    lowAddress = low;
    const uint64_t distance = highest - low;
    const uint64_t roundUp = ktPageSize - 1;
    if (!IsInside(distance, highestSize, ~uint64_t(0) - roundUp)) return false;
    imageSize = (distance + highestSize + roundUp) & ~roundUp;
    return ImageFits(lowAddress, imageSize) && CheckImageSize();
}

bool ktElfFile::CheckImageSize() const {
    // An image that is not copied costs nothing, however large it is.
    if (!loadSegments) return true;
    const uint64_t limit =
        sizeKnown ? std::max(minImageLimit, SaturatingMultiply(fileSize, imageFactor)) : minImageLimit;
    if (imageSize <= limit) return true;
    ktLog("ELF image of %llX bytes is too large", static_cast<unsigned long long>(imageSize));
    return false;
}

bool ktElfFile::ReadSections() {
    if (header.shnum == 0) return true;
    std::vector<uint8_t> table;
    const uint64_t entrySize = is64 ? sizeof(ktElfSection) : sizeof(ktElf32Section);
    if (!ReadTable(header.shoff, entrySize, header.shnum, table)) return false;
    sections.resize(header.shnum);
    for (size_t i = 0; i < sections.size(); ++i) {
        Section &section = sections[i];
        section.header = LoadRecord<ktElfSection, ktElf32Section>(table.data(), i, is64);
        const uint32_t type = section.header.type;
        if (type == ktElfSectionRela || type == ktElfSectionRel) hasRelocations = true;
        if (!loadSections || type == ktElfSectionNoBits || section.header.size == 0) continue;
        if (!PrepareBytes(section.header.offset, section.header.size, section.byteCount, section.bytes))
            return false;
    }
    return true;
}

void ktElfFile::FindSymbolTable() {
    if (!FindSymbolTable(ktElfSectionSymbols)) FindSymbolTable(ktElfSectionDynamicSymbols);
    if (symbolSection == 0 || stringSection == 0) return;
    symbolCount = sections[symbolSection].header.size / (is64 ? sizeof(ktElfSymbol) : sizeof(ktElf32Symbol));
}

bool ktElfFile::FindSymbolTable(uint32_t sectionType) {
    const uint64_t entrySize = is64 ? sizeof(ktElfSymbol) : sizeof(ktElf32Symbol);
    for (size_t i = 0; i < sections.size(); ++i) {
        const ktElfSection &section = sections[i].header;
        if (section.type != sectionType || section.entsize != entrySize) continue;
        if (section.link < sections.size() && sections[section.link].header.type == ktElfSectionStrings) {
            symbolSection = static_cast<uint16_t>(i);
            stringSection = static_cast<uint16_t>(section.link);
            return symbolSection != 0 && stringSection != 0;
        }
        symbolSection = stringSection = 0;
    }
    return false;
}

bool ktElfFile::Rebase(uint64_t newBase) {
    if (!hasRelocations || !ImageFits(newBase, imageSize)) return false;
    bias = newBase - lowAddress;
    lowAddress = newBase;
    header.entry += bias;
    for (Segment &segment : segments) {
        segment.header.vaddr += bias;
        segment.header.paddr += bias;
    }
    for (Section &section : sections) {
        if (section.header.type != ktElfSectionNull) section.header.addr += bias;
    }
    return true;
}

uint64_t ktElfFile::SymbolAddress(const ktElfSymbol &symbol) const {
    uint64_t addition = 0;
    if (header.type == ktElfTypeRel) {
        switch (symbol.shndx) {
        case ktElfIndexUndefined:
        case ktElfIndexAbsolute:
            break;
        case ktElfIndexCommon:
            ktLog("Can't process ELF_SYM_SHN_COMMON");
            break;
        case ktElfIndexExtended:
            ktLog("Can't process ELF_SYM_SHN_XINDEX");
            break;
        default:
            // The message comes for the valid indices and never for the others. Users know it so.
            if (symbol.shndx < sections.size()) {
                ktLog("Invalid section index %lld", static_cast<long long>(symbol.shndx));
                addition = sections[symbol.shndx].header.addr;
            }
        }
    } else if (header.type != ktElfTypeExec && header.type != ktElfTypeDyn) {
        ktLog("Unknown ELF header type %d", header.type);
    }
    return bias + symbol.value + addition;
}

bool ktElfFile::ReadSegment(const Segment &segment, uint32_t offset, void *buffer, uint32_t size) {
    if (!IsInside(offset, size, segment.byteCount)) return false;
    if (size == 0) return true;
    if (segment.bytes) {
        std::memcpy(buffer, segment.bytes.get() + offset, size);
        return true;
    }
    const uint64_t start = static_cast<uint32_t>(segment.header.offset);
    return reader && reader->Seek(start + offset) && reader->ReadExact(buffer, size);
}

std::span<const uint8_t> ktElfFile::SectionBytes(uint64_t index) {
    if (index >= sections.size()) return {};
    Section &section = sections[index];
    if (section.byteCount == 0 || !reader) return {};
    if (!section.bytes) {
        fetchedBytes += section.byteCount;
        if (fetchedBytes > SaturatingMultiply(fileSize, fileFactor)) return {};
        if (!Fetch(static_cast<uint32_t>(section.header.offset), section.byteCount, section.bytes)) return {};
    }
    return {section.bytes.get(), section.byteCount};
}

ktElfFile::FetchedBytes ktElfFile::SharedBytes(uint64_t index) {
    return SectionBytes(index).empty() ? nullptr : sections[index].bytes;
}

uint32_t ktElfFile::FindSection(std::string_view name) {
    const std::span<const uint8_t> names = SectionBytes(header.shstrndx);
    for (uint32_t i = 1; i < sections.size(); ++i) {
        const uint32_t offset = sections[i].header.name;
        if (offset >= names.size() || names.size() - offset <= name.size()) continue;
        const uint8_t *candidate = names.data() + offset;
        if (std::memcmp(candidate, name.data(), name.size()) == 0 && candidate[name.size()] == 0) return i;
    }
    return 0;
}

bool ktElfFile::ReadSymbol(std::span<const uint8_t> table, uint64_t index, ktElfSymbol &symbol) const {
    const uint64_t entrySize = is64 ? sizeof(ktElfSymbol) : sizeof(ktElf32Symbol);
    if (index >= table.size() / entrySize) return false;
    symbol = LoadRecord<ktElfSymbol, ktElf32Symbol>(table.data(), index, is64);
    return true;
}

std::string_view ktElfFile::StringAt(std::span<const uint8_t> strings, uint64_t offset) {
    if (offset >= strings.size()) return {};
    const char *text = reinterpret_cast<const char *>(strings.data()) + offset;
    const size_t room = strings.size() - offset;
    const void *end = std::memchr(text, 0, room);
    return {text, end ? static_cast<size_t>(static_cast<const char *>(end) - text) : room};
}
