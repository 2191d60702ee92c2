#pragma once

#include "symbols/pe/pe_format.h"

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

class DataReader;

/// View of one PE image, in a file or in target memory. One thread at a time.
class ktPeFile {
public:
    /// Sections that are copied to the image at most; those behind are left out.
    static constexpr uint32_t maxCopiedSections = 96;
    /// A copied image may always be this large,
    static constexpr uint64_t minImageLimit = uint64_t(64) << 20;
    /// or that many times the size of its file; nor may its sections name more bytes of the file.
    static constexpr uint64_t fileFactor = 10;
    /// Debug entries looked at in target memory, where each of them is a read of its own.
    static constexpr uint32_t maxTargetDebugEntries = 1024;
    /// In target memory a path must end, its zero included, within so many bytes.
    static constexpr uint32_t maxTargetPath = 260;

    ktPeFile() = default;
    ktPeFile(const ktPeFile &) = delete;
    ktPeFile &operator=(const ktPeFile &) = delete;

    /// Reads the headers from the reader's position on, the image when `copyImage` is set, and the CodeView
    /// record. Runs once on a fresh object. False, with no state to rely on, when the image cannot be used.
    bool Parse(DataReader &reader, bool copyImage);
    /// Data directory `index`; null when the headers do not have it.
    const ktPeDataDirectory *Directory(uint32_t index) const;
    /// True when `size` bytes at `offset` lie inside the image.
    bool IsInImage(uint64_t offset, uint64_t size) const;

    bool fromTarget = false; ///< set before Parse: the reader is a target's address space
    bool is64 = false;
    bool relocatable = false;
    uint64_t start = 0; ///< the reader's position of the image's first byte
    ktPeDosHeader dosHeader = {};
    ktPeNtHeaders ntHeaders = {};
    std::vector<ktPeSectionHeader> sectionHeaders;
    std::vector<std::string> sectionNames; ///< at most 8 characters each
    struct FreeImage {
        void operator()(uint8_t *bytes) const { std::free(bytes); }
    };
    std::unique_ptr<uint8_t[], FreeImage> image; ///< `imageSize` bytes, or null
    bool hasCodeView = false;
    std::string pdbPath;
    uint32_t pdbAge = 0;
    uint8_t pdbGuid[16] = {};
    uint64_t imageBase = 0; ///< as the headers tell it
    uint64_t imageSize = 0;
    uint64_t loadBias = 0; ///< added to `imageBase`
    uint32_t dataDirCount = 0;
    uint16_t sectionCount = 0;

private:
    bool ReadAt(uint64_t offset, void *buffer, uint32_t size);
    bool ReadHeaders();
    bool ReadSections();
    bool CopyImage();
    bool CheckImageLimits();
    bool ReadDebugDirectory();
    bool ReadDebugDirectoryOfImage(const ktPeDataDirectory &directory);
    bool ReadDebugDirectoryOfTarget(const ktPeDataDirectory &directory);
    bool ReadTargetPath(uint64_t offset);

    DataReader *source = nullptr; // during Parse
};
