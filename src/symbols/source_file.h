#pragma once

#include <cstdint>
#include <memory>
#include <vector>

class ktFileSystem;

/// A source file in memory, cut into lines.
class ktSourceFile {
public:
    /// Reads the file; false, with what was loaded before kept, for null, a file that cannot be read whole,
    /// one of 4 GiB or more, and without memory. An empty file has no lines.
    bool Load(const char *path, ktFileSystem &fileSystem);
    /// Lines that end with a line feed: text behind the last one is no line.
    uint64_t LineCount() const { return lineOffsets.size(); }
    /// The text of zero-based line `line`, up to its first zero byte and without the line feed; a carriage
    /// return stays. Null at LineCount and above. Valid until the next Load.
    const char *Line(uint64_t line) const;

private:
    std::unique_ptr<char[]> text;      ///< line feeds overwritten by zeros
    std::vector<uint32_t> lineOffsets; ///< in `text`
};
