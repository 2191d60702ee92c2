#include "symbols/source_cache.h"

#include <new>
#include <utility>

#include "symbols/line_info.h"

ktSourceCache::ktSourceCache(const ktLineInfo &lineInfo, ktFileSystem &fileSystem)
    : lines(lineInfo), files(fileSystem) {}

uint64_t ktSourceCache::Count() const { return lines.Table().files.size(); }

const ktSourceFile *ktSourceCache::LoadFile(uint64_t number) {
    const auto present = loaded.find(number);
    if (present != loaded.end()) return &present->second.file;
    try {
        LoadedFile fresh;
        if (!FindPath(number, fresh.path) || !fresh.file.Load(fresh.path.c_str(), files)) return nullptr;
        return &loaded.emplace(number, std::move(fresh)).first->second.file;
    } catch (const std::bad_alloc &) {
        return nullptr;
    }
}

const char *ktSourceCache::PathOf(uint64_t number) const {
    const auto present = loaded.find(number);
    return present != loaded.end() ? present->second.path.c_str() : nullptr;
}

bool ktSourceCache::FindPath(uint64_t number, std::string &found) const {
    const ktLineTable &table = lines.Table();
    if (number >= table.files.size()) return false;
    const char *name = table.files[number].Get();
    const char *directory = table.DirectoryOf(number, lines.compDir.Get());
    if (!name || !directory) return false;
    const std::string built = std::string(directory).append(path.joiner).append(name);
    return FindSourceFile(path, files, NormalizePath(path, built), found);
}
