#pragma once

#include "symbols/source_file.h"
#include "symbols/source_path.h"

#include <cstdint>
#include <string>
#include <unordered_map>

class ktLineInfo;

/// The source files of a unit, each found and read when it is first wanted. One thread at a time.
class ktSourceCache {
public:
    /// `lineInfo` is the unit's and outlives the cache.
    explicit ktSourceCache(const ktLineInfo &lineInfo, ktFileSystem &fileSystem = SystemFiles());

    /// Loads file number `number` of the line table, unless it is loaded. A file that is not found is
    /// searched anew the next time. Null without a name, a directory, a file, or memory.
    const ktSourceFile *LoadFile(uint64_t number);
    /// The path under which a file was found; null while it is not loaded.
    const char *PathOf(uint64_t number) const;
    /// Numbers from here on name no file.
    uint64_t Count() const;

    /// `path.root` is for files not loaded yet.
    ktSourcePath path;

private:
    struct LoadedFile {
        ktSourceFile file;
        std::string path;
    };

    bool FindPath(uint64_t number, std::string &found) const;

    const ktLineInfo &lines;
    ktFileSystem &files;
    std::unordered_map<uint64_t, LoadedFile> loaded;
};
