#pragma once

#include "support/byte_patch.h"
#include "symbols/pe/pe_format.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <utility>
#include <vector>

/// Builds one PE file out of its parts: DOS header, NT headers at 0x80, section headers, bytes of the
/// sections. Tests bend the result field by field.
class ktPeBuilder {
public:
    explicit ktPeBuilder(bool wide = true) : is64(wide) {}

    static constexpr uint32_t ntOffset = 0x80;
    static constexpr uint32_t alignment = 0x10;

    const bool is64;
    uint64_t imageBase = 0x10000000;
    uint32_t entry = 0x1010;
    uint32_t sizeOfImage = 0; ///< 0: up to the page behind the last section
    uint16_t dllCharacteristics = ktPeDynamicBase;
    uint16_t optionalSize = 0; ///< 0: the whole optional header
    uint32_t directoryCount = ktPeDirectoryCount;
    ktPeDataDirectory directories[ktPeDirectoryCount] = {};

    void AddSection(const std::string &name, uint32_t address, ktBytes bytes) {
        ktPeSectionHeader header = {};
        std::copy_n(name.data(), std::min(name.size(), sizeof(header.name)), header.name);
        header.virtualAddress = address;
        header.virtualSize = header.sizeOfRawData = static_cast<uint32_t>(bytes.size());
        sections.push_back({header, std::move(bytes)});
    }

    /// A debug directory of two entries at `address`, the second of them the CodeView record.
    void AddCodeView(uint32_t address, const std::string &path, uint32_t age = 3) {
        ktBytes bytes;
        ktPeDebugEntry entryRecord = {};
        entryRecord.type = 12;
        AppendRecord(bytes, entryRecord);
        entryRecord.type = ktPeDebugCodeView;
        entryRecord.addressOfRawData = address + 2 * uint32_t(sizeof(ktPeDebugEntry));
        entryRecord.sizeOfData = static_cast<uint32_t>(sizeof(ktPeCodeView) + path.size() + 1);
        AppendRecord(bytes, entryRecord);
        ktPeCodeView record = {ktPeCodeViewSignature, {}, age};
        for (uint8_t i = 0; i < 16; ++i) record.guid[i] = static_cast<uint8_t>(0xA0 + i);
        AppendRecord(bytes, record);
        bytes.insert(bytes.end(), path.c_str(), path.c_str() + path.size() + 1);
        directories[ktPeDirectoryDebug] = {address, 2 * uint32_t(sizeof(ktPeDebugEntry))};
        AddSection(".rdata", address, std::move(bytes));
    }

    /// Blocks of relocation entries: the page's address, and type << 12 | offset for each entry.
    void AddRelocations(uint32_t address,
                        const std::vector<std::pair<uint32_t, std::vector<uint16_t>>> &blocks) {
        ktBytes bytes;
        for (const auto &[page, entries] : blocks) {
            const auto size = static_cast<uint32_t>(sizeof(ktPeRelocationBlock) + 2 * entries.size());
            AppendRecord(bytes, ktPeRelocationBlock{page, size});
            for (const uint16_t relocation : entries) AppendRecord(bytes, relocation);
        }
        directories[ktPeDirectoryRelocations] = {address, static_cast<uint32_t>(bytes.size())};
        AddSection(".reloc", address, std::move(bytes));
    }

    ktBytes Build() {
        ktBytes file(SectionTableAt() + sections.size() * sizeof(ktPeSectionHeader));
        const uint32_t headersSize = Align(file);
        uint32_t imageEnd = headersSize;
        for (Section &section : sections) {
            section.header.pointerToRawData = Align(file);
            file.insert(file.end(), section.bytes.begin(), section.bytes.end());
            imageEnd = std::max(imageEnd, section.header.virtualAddress + section.header.virtualSize);
        }
        const uint32_t imageSize = sizeOfImage ? sizeOfImage : (imageEnd + 0xFFF) & ~0xFFFu;
        PutField(file, 0, ktPeDosHeader{ktPeDosMagic, {}, ntOffset});
        if (is64) {
            ktPeNtHeaders headers = {};
            Fill(headers, ktPeMagic64, 0x8664, headersSize, imageSize);
            headers.optional.imageBase = imageBase;
            headers.optional.sizeOfHeapCommit = 0x123456789A;
            PutField(file, ntOffset, headers);
        } else {
            ktPeNtHeaders32 headers = {};
            Fill(headers, ktPeMagic32, 0x14C, headersSize, imageSize);
            headers.optional.imageBase = static_cast<uint32_t>(imageBase);
            headers.optional.sizeOfHeapCommit = 0x12345678;
            PutField(file, ntOffset, headers);
        }
        for (size_t i = 0; i < sections.size(); ++i) PutField(file, SectionAt(i), sections[i].header);
        return file;
    }

    /// The image as a loader of the target would have laid it out.
    ktBytes BuildLoaded() {
        const ktBytes file = Build();
        ktBytes image(GetField<uint32_t>(file, OptionalAt(offsetof(ktPeOptionalHeader64, sizeOfImage))));
        std::copy_n(file.begin(), SectionTableAt() + sections.size() * sizeof(ktPeSectionHeader),
                    image.begin());
        for (const Section &section : sections)
            std::copy(section.bytes.begin(), section.bytes.end(),
                      image.begin() + section.header.virtualAddress);
        return image;
    }

    /// Places in the file. The fields of the optional header up to its stack sizes, but for the image base,
    /// lie at the same places in both forms.
    static size_t FileHeaderAt(size_t field) { return ntOffset + offsetof(ktPeNtHeaders, file) + field; }
    static size_t OptionalAt(size_t field) { return ntOffset + offsetof(ktPeNtHeaders, optional) + field; }
    size_t DirectoryAt(size_t index) const {
        const size_t table = is64 ? offsetof(ktPeOptionalHeader64, dataDirectory)
                                  : offsetof(ktPeOptionalHeader32, dataDirectory);
        return OptionalAt(table + index * sizeof(ktPeDataDirectory));
    }
    size_t SectionTableAt() const { return OptionalAt(OptionalSize()); }
    size_t SectionAt(size_t index) const { return SectionTableAt() + index * sizeof(ktPeSectionHeader); }
    uint32_t SectionBytesAt(size_t index) const { return sections[index].header.pointerToRawData; }
    size_t SectionCount() const { return sections.size(); }

private:
    struct Section {
        ktPeSectionHeader header;
        ktBytes bytes;
    };

    uint16_t OptionalSize() const {
        if (optionalSize) return optionalSize;
        return is64 ? sizeof(ktPeOptionalHeader64) : sizeof(ktPeOptionalHeader32);
    }
    static uint32_t Align(ktBytes &file) {
        file.resize((file.size() + alignment - 1) / alignment * alignment);
        return static_cast<uint32_t>(file.size());
    }
    template <class Headers>
    void Fill(Headers &headers, uint16_t magic, uint16_t machine, uint32_t headersSize, uint32_t imageSize) {
        headers.signature = ktPeSignature;
        headers.file.machine = machine;
        headers.file.numberOfSections = static_cast<uint16_t>(sections.size());
        headers.file.sizeOfOptionalHeader = OptionalSize();
        headers.optional.magic = magic;
        headers.optional.addressOfEntryPoint = entry;
        headers.optional.sectionAlignment = 0x1000;
        headers.optional.fileAlignment = alignment;
        headers.optional.sizeOfImage = imageSize;
        headers.optional.sizeOfHeaders = headersSize;
        headers.optional.dllCharacteristics = dllCharacteristics;
        headers.optional.numberOfRvaAndSizes = directoryCount;
        std::copy_n(directories, ktPeDirectoryCount, headers.optional.dataDirectory);
    }

    std::vector<Section> sections;
};

/// A whole image: code at 0x1000, a debug directory at 0x2000, relocations at 0x3000 for the four kinds of
/// words at 0x1100, 0x1110, 0x1120 and 0x1130, each of which holds a small number.
inline ktPeBuilder GoodPe(bool wide = true) {
    ktPeBuilder pe(wide);
    ktBytes code(0x200, 0x90);
    PutField<uint16_t>(code, 0x100, 0x1111);
    PutField<uint16_t>(code, 0x110, 0x2222);
    PutField<uint32_t>(code, 0x120, 0x33333333);
    PutField<uint64_t>(code, 0x130, 0x4444444444444444);
    pe.AddSection(".text", 0x1000, code);
    pe.AddCodeView(0x2000, "C:\\build\\kernel.pdb");
    pe.AddRelocations(0x3000, {{0x1000, {0x1100, 0x2110, 0x3120, 0xA130, 0x0140}}});
    return pe;
}
