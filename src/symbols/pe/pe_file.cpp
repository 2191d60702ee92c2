#include "symbols/pe/pe_file.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "app/log.h"
#include "platform/pages.h"
#include "session/data_reader.h"
#include "symbols/image_range.h"

namespace {

/// Offsets in the NT headers: of the optional header, and behind its magic.
constexpr uint32_t optionalOffset = offsetof(ktPeNtHeaders, optional);
constexpr uint32_t magicEnd = optionalOffset + sizeof(uint16_t);

/// A CodeView record shorter than this holds no path.
constexpr uint32_t minCodeViewSize = 28;

void Widen(const ktPeNtHeaders32 &narrow, ktPeNtHeaders &wide) {
    const ktPeOptionalHeader32 &from = narrow.optional;
    ktPeOptionalHeader64 &to = wide.optional;
    wide.signature = narrow.signature;
    wide.file = narrow.file;
    to.magic = from.magic;
    to.majorLinkerVersion = from.majorLinkerVersion;
    to.minorLinkerVersion = from.minorLinkerVersion;
    to.sizeOfCode = from.sizeOfCode;
    to.sizeOfInitializedData = from.sizeOfInitializedData;
    to.sizeOfUninitializedData = from.sizeOfUninitializedData;
    to.addressOfEntryPoint = from.addressOfEntryPoint;
    to.baseOfCode = from.baseOfCode;
    to.imageBase = from.imageBase;
    to.sectionAlignment = from.sectionAlignment;
    to.fileAlignment = from.fileAlignment;
    to.majorOperatingSystemVersion = from.majorOperatingSystemVersion;
    to.minorOperatingSystemVersion = from.minorOperatingSystemVersion;
    to.majorImageVersion = from.majorImageVersion;
    to.minorImageVersion = from.minorImageVersion;
    to.majorSubsystemVersion = from.majorSubsystemVersion;
    to.minorSubsystemVersion = from.minorSubsystemVersion;
    to.win32VersionValue = from.win32VersionValue;
    to.sizeOfImage = from.sizeOfImage;
    to.sizeOfHeaders = from.sizeOfHeaders;
    to.checkSum = from.checkSum;
    to.subsystem = from.subsystem;
    to.dllCharacteristics = from.dllCharacteristics;
    to.sizeOfStackReserve = from.sizeOfStackReserve;
    to.sizeOfStackCommit = from.sizeOfStackCommit;
    to.sizeOfHeapReserve = from.sizeOfHeapReserve;
    to.sizeOfHeapCommit = from.sizeOfHeapCommit;
    to.loaderFlags = from.loaderFlags;
    to.numberOfRvaAndSizes = from.numberOfRvaAndSizes;
    std::memcpy(to.dataDirectory, from.dataDirectory, sizeof(to.dataDirectory));
}

/// Data directories that the optional header has room for behind its `fixedSize` bytes.
uint32_t UsableDirectories(const ktPeNtHeaders &headers, uint32_t fixedSize) {
    const uint32_t size = headers.file.sizeOfOptionalHeader;
    const uint32_t room = size < fixedSize ? 0 : (size - fixedSize) / uint32_t(sizeof(ktPeDataDirectory));
    return std::min(headers.optional.numberOfRvaAndSizes, room);
}

} // namespace

bool ktPeFile::Parse(DataReader &reader, bool copyImage) {
    source = &reader;
    start = reader.GetPosition();
    const bool good = ReadHeaders() && ReadSections() && (!copyImage || CopyImage()) && ReadDebugDirectory();
    source = nullptr;
    return good;
}

const ktPeDataDirectory *ktPeFile::Directory(uint32_t index) const {
    if (index >= dataDirCount || index >= ktPeDirectoryCount) return nullptr;
    return &ntHeaders.optional.dataDirectory[index];
}

bool ktPeFile::IsInImage(uint64_t offset, uint64_t size) const { return IsInside(offset, size, imageSize); }

/// `offset` counts from the image's first byte.
bool ktPeFile::ReadAt(uint64_t offset, void *buffer, uint32_t size) {
    if (size == 0) return true;
    return ImageFits(start, offset) && source->Seek(start + offset) && source->ReadExact(buffer, size);
}

bool ktPeFile::ReadHeaders() {
    if (!ReadAt(0, &dosHeader, sizeof(dosHeader)) || dosHeader.magic != ktPeDosMagic) return false;
    const uint64_t ntOffset = dosHeader.newHeader;
    ktPeNtHeaders32 narrow = {};
    if (!ReadAt(ntOffset, &narrow, magicEnd)) return false;
    if ((narrow.signature & 0xFFFF) != ktPeSignature) return false;
    is64 = narrow.optional.magic == ktPeMagic64;
    if (is64) {
        if (!ReadAt(ntOffset, &ntHeaders, sizeof(ntHeaders))) return false;
        dataDirCount = UsableDirectories(ntHeaders, offsetof(ktPeOptionalHeader64, dataDirectory));
    } else if (narrow.optional.magic == ktPeMagic32) {
        const uint32_t optionalSize = std::max<uint32_t>(narrow.file.sizeOfOptionalHeader, sizeof(uint16_t));
        const uint32_t rest =
            std::min<uint32_t>(optionalSize, sizeof(narrow.optional)) - uint32_t(sizeof(uint16_t));
        if (!ReadAt(ntOffset + magicEnd, reinterpret_cast<uint8_t *>(&narrow) + magicEnd, rest)) return false;
        Widen(narrow, ntHeaders);
        dataDirCount = UsableDirectories(ntHeaders, offsetof(ktPeOptionalHeader32, dataDirectory));
    } else {
        return false;
    }
    imageBase = ntHeaders.optional.imageBase;
    imageSize = ntHeaders.optional.sizeOfImage;
    relocatable = (ntHeaders.optional.dllCharacteristics & ktPeDynamicBase) != 0;
    if (fromTarget) loadBias = start - imageBase;
    return true;
}

bool ktPeFile::ReadSections() {
    sectionCount = ntHeaders.file.numberOfSections;
    sectionHeaders.resize(sectionCount);
    const uint64_t table =
        uint64_t(dosHeader.newHeader) + optionalOffset + ntHeaders.file.sizeOfOptionalHeader;
    if (!ReadAt(table, sectionHeaders.data(), uint32_t(sectionCount * sizeof(ktPeSectionHeader))))
        return false;
    sectionNames.reserve(sectionCount);
    for (const ktPeSectionHeader &section : sectionHeaders) {
        const char *end = std::find(section.name, section.name + sizeof(section.name), '\0');
        sectionNames.emplace_back(section.name, end);
    }
    return true;
}

bool ktPeFile::CheckImageLimits() {
    uint64_t fileSize = 0;
    if (!KnownReaderSize(*source, fileSize)) return imageSize <= minImageLimit;
    const uint64_t limit = SaturatingMultiply(fileSize, fileFactor);
    uint64_t rawBytes = 0;
    for (uint32_t i = 0; i < sectionCount && i < maxCopiedSections; ++i)
        rawBytes += sectionHeaders[i].sizeOfRawData;
    if (imageSize <= std::max(minImageLimit, limit) && rawBytes <= limit) return true;
    ktLog("PE image of %llX bytes with %llX bytes of sections is too large",
          static_cast<unsigned long long>(imageSize), static_cast<unsigned long long>(rawBytes));
    return false;
}

bool ktPeFile::CopyImage() {
    const uint32_t headersSize = ntHeaders.optional.sizeOfHeaders;
    if (!CheckImageLimits() || !IsInImage(0, headersSize)) return false;
    // Zeroed by the system as it is touched, which memory for a large and mostly empty image relies on.
    image.reset(static_cast<uint8_t *>(std::calloc(std::max<uint64_t>(imageSize, 1), 1)));
    if (!image || !ReadAt(0, image.get(), headersSize)) return false;
    for (uint32_t i = 0; i < sectionCount && i < maxCopiedSections; ++i) {
        const ktPeSectionHeader &section = sectionHeaders[i];
        const uint64_t rawEnd = uint64_t(section.sizeOfRawData) + section.pointerToRawData;
        if (rawEnd > imageSize || !IsInImage(section.virtualAddress, section.sizeOfRawData)) continue;
        uint8_t *target = image.get() + section.virtualAddress;
        if (!ReadAt(section.pointerToRawData, target, section.sizeOfRawData)) return false;
    }
    loadBias = 0;
    return true;
}

bool ktPeFile::ReadDebugDirectory() {
    if (!image && !fromTarget) return false; // the addresses in a file's directory count in the image
    const ktPeDataDirectory *directory = Directory(ktPeDirectoryDebug);
    if (!directory || directory->virtualAddress >= imageSize || directory->size < sizeof(ktPeDebugEntry))
        return true;
    return image ? ReadDebugDirectoryOfImage(*directory) : ReadDebugDirectoryOfTarget(*directory);
}

bool ktPeFile::ReadDebugDirectoryOfImage(const ktPeDataDirectory &directory) {
    const uint32_t count = directory.size / uint32_t(sizeof(ktPeDebugEntry));
    for (uint64_t i = 0; i < count; ++i) {
        const uint64_t offset = directory.virtualAddress + i * sizeof(ktPeDebugEntry);
        if (!IsInImage(offset, sizeof(ktPeDebugEntry))) break;
        ktPeDebugEntry entry;
        std::memcpy(&entry, image.get() + offset, sizeof(entry));
        if (entry.type != ktPeDebugCodeView || !IsInImage(entry.addressOfRawData, minCodeViewSize)) continue;
        const uint8_t *bytes = image.get() + entry.addressOfRawData;
        ktPeCodeView record;
        std::memcpy(&record, bytes, sizeof(record));
        if (record.signature != ktPeCodeViewSignature) continue;
        const char *path = reinterpret_cast<const char *>(bytes) + sizeof(record);
        const uint64_t room = imageSize - entry.addressOfRawData - sizeof(record);
        const void *end = std::memchr(path, 0, room);
        if (!end) continue;
        pdbPath.assign(path, static_cast<const char *>(end));
        pdbAge = record.age;
        std::memcpy(pdbGuid, record.guid, sizeof(pdbGuid));
        hasCodeView = true;
        break;
    }
    return true;
}

bool ktPeFile::ReadDebugDirectoryOfTarget(const ktPeDataDirectory &directory) {
    const uint32_t count = std::min(directory.size / uint32_t(sizeof(ktPeDebugEntry)), maxTargetDebugEntries);
    for (uint64_t i = 0; i < count; ++i) {
        const uint64_t offset = directory.virtualAddress + i * sizeof(ktPeDebugEntry);
        if (!IsInImage(offset, sizeof(ktPeDebugEntry))) break;
        ktPeDebugEntry entry;
        if (!ReadAt(offset, &entry, sizeof(entry))) return false;
        if (entry.type != ktPeDebugCodeView || !IsInImage(entry.addressOfRawData, minCodeViewSize)) continue;
        ktPeCodeView record;
        if (!ReadAt(entry.addressOfRawData, &record, sizeof(record))) return false;
        if (record.signature != ktPeCodeViewSignature) continue;
        if (!ReadTargetPath(uint64_t(entry.addressOfRawData) + sizeof(record))) return false;
        pdbAge = record.age;
        std::memcpy(pdbGuid, record.guid, sizeof(pdbGuid));
        hasCodeView = true;
        break;
    }
    return true;
}

/// Reads no further than the page in which the path ends: the next one may not be there.
bool ktPeFile::ReadTargetPath(uint64_t offset) {
    char path[maxTargetPath];
    for (uint32_t length = 0; length < maxTargetPath;) {
        const uint64_t place = offset + length;
        const uint64_t pageRest = ktPageSize - (start + place) % ktPageSize;
        const uint32_t size = std::min(maxTargetPath - length, uint32_t(pageRest));
        if (!ReadAt(place, path + length, size)) return false;
        if (std::memchr(path + length, 0, size)) {
            pdbPath = path;
            return true;
        }
        length += size;
    }
    return false;
}
