#pragma once

#include <cstdint>

/// Records and numbers of the PE format. The system works on the 64-bit form of the NT headers; the 32-bit
/// form is converted field by field. Fields follow the order of the format.

#pragma pack(push, 1)

struct ktPeDosHeader {
    uint16_t magic;
    uint8_t unused[58];
    uint32_t newHeader; ///< offset of the NT headers from the image's first byte
};
static_assert(sizeof(ktPeDosHeader) == 64);

struct ktPeFileHeader {
    uint16_t machine;
    uint16_t numberOfSections;
    uint32_t timeDateStamp;
    uint32_t pointerToSymbolTable;
    uint32_t numberOfSymbols;
    uint16_t sizeOfOptionalHeader;
    uint16_t characteristics;
};
static_assert(sizeof(ktPeFileHeader) == 20);

struct ktPeDataDirectory {
    uint32_t virtualAddress;
    uint32_t size;
};

constexpr uint32_t ktPeDirectoryCount = 16;

struct ktPeOptionalHeader32 {
    uint16_t magic;
    uint8_t majorLinkerVersion;
    uint8_t minorLinkerVersion;
    uint32_t sizeOfCode;
    uint32_t sizeOfInitializedData;
    uint32_t sizeOfUninitializedData;
    uint32_t addressOfEntryPoint;
    uint32_t baseOfCode;
    uint32_t baseOfData;
    uint32_t imageBase;
    uint32_t sectionAlignment;
    uint32_t fileAlignment;
    uint16_t majorOperatingSystemVersion;
    uint16_t minorOperatingSystemVersion;
    uint16_t majorImageVersion;
    uint16_t minorImageVersion;
    uint16_t majorSubsystemVersion;
    uint16_t minorSubsystemVersion;
    uint32_t win32VersionValue;
    uint32_t sizeOfImage;
    uint32_t sizeOfHeaders;
    uint32_t checkSum;
    uint16_t subsystem;
    uint16_t dllCharacteristics;
    uint32_t sizeOfStackReserve;
    uint32_t sizeOfStackCommit;
    uint32_t sizeOfHeapReserve;
    uint32_t sizeOfHeapCommit;
    uint32_t loaderFlags;
    uint32_t numberOfRvaAndSizes;
    ktPeDataDirectory dataDirectory[ktPeDirectoryCount];
};
static_assert(sizeof(ktPeOptionalHeader32) == 224);

struct ktPeOptionalHeader64 {
    uint16_t magic;
    uint8_t majorLinkerVersion;
    uint8_t minorLinkerVersion;
    uint32_t sizeOfCode;
    uint32_t sizeOfInitializedData;
    uint32_t sizeOfUninitializedData;
    uint32_t addressOfEntryPoint;
    uint32_t baseOfCode;
    uint64_t imageBase;
    uint32_t sectionAlignment;
    uint32_t fileAlignment;
    uint16_t majorOperatingSystemVersion;
    uint16_t minorOperatingSystemVersion;
    uint16_t majorImageVersion;
    uint16_t minorImageVersion;
    uint16_t majorSubsystemVersion;
    uint16_t minorSubsystemVersion;
    uint32_t win32VersionValue;
    uint32_t sizeOfImage;
    uint32_t sizeOfHeaders;
    uint32_t checkSum;
    uint16_t subsystem;
    uint16_t dllCharacteristics;
    uint64_t sizeOfStackReserve;
    uint64_t sizeOfStackCommit;
    uint64_t sizeOfHeapReserve;
    uint64_t sizeOfHeapCommit;
    uint32_t loaderFlags;
    uint32_t numberOfRvaAndSizes;
    ktPeDataDirectory dataDirectory[ktPeDirectoryCount];
};
static_assert(sizeof(ktPeOptionalHeader64) == 240);

struct ktPeNtHeaders32 {
    uint32_t signature;
    ktPeFileHeader file;
    ktPeOptionalHeader32 optional;
};
static_assert(sizeof(ktPeNtHeaders32) == 248);

struct ktPeNtHeaders {
    uint32_t signature;
    ktPeFileHeader file;
    ktPeOptionalHeader64 optional;
};
static_assert(sizeof(ktPeNtHeaders) == 264);

struct ktPeSectionHeader {
    char name[8]; ///< not terminated when all eight are in use
    uint32_t virtualSize;
    uint32_t virtualAddress;
    uint32_t sizeOfRawData;
    uint32_t pointerToRawData;
    uint32_t pointerToRelocations;
    uint32_t pointerToLinenumbers;
    uint16_t numberOfRelocations;
    uint16_t numberOfLinenumbers;
    uint32_t characteristics;
};
static_assert(sizeof(ktPeSectionHeader) == 40);

struct ktPeDebugEntry {
    uint32_t characteristics;
    uint32_t timeDateStamp;
    uint16_t majorVersion;
    uint16_t minorVersion;
    uint32_t type;
    uint32_t sizeOfData;
    uint32_t addressOfRawData; ///< in the loaded image
    uint32_t pointerToRawData; ///< in the file
};
static_assert(sizeof(ktPeDebugEntry) == 28);

/// The head of a CodeView record; the zero-terminated path follows.
struct ktPeCodeView {
    uint32_t signature;
    uint8_t guid[16];
    uint32_t age;
};
static_assert(sizeof(ktPeCodeView) == 24);

struct ktPeRelocationBlock {
    uint32_t pageAddress;
    uint32_t size; ///< of the block with this header
};
static_assert(sizeof(ktPeRelocationBlock) == 8);

#pragma pack(pop)

constexpr uint16_t ktPeDosMagic = 0x5A4D;
constexpr uint16_t ktPeSignature = 0x4550; ///< the low half of the four signature bytes
constexpr uint16_t ktPeMagic32 = 0x10B;
constexpr uint16_t ktPeMagic64 = 0x20B;
constexpr uint16_t ktPeDynamicBase = 0x40; ///< of DllCharacteristics: the image may be moved
constexpr uint32_t ktPeCodeViewSignature = 0x53445352;
constexpr uint32_t ktPeDebugCodeView = 2;

enum ktPeDirectory : uint32_t { ktPeDirectoryRelocations = 5, ktPeDirectoryDebug = 6 };

enum ktPeRelocationType : uint32_t {
    ktPeRelocationNone = 0,
    ktPeRelocationHigh = 1,
    ktPeRelocationLow = 2,
    ktPeRelocation32 = 3,
    ktPeRelocation64 = 10,
};
