#include "symbols/source_file.h"

#include <cstring>
#include <new>
#include <utility>

#include "session/file_reader.h"

bool ktSourceFile::Load(const char *path, ktFileSystem &fileSystem) {
    FileReader reader(path, fileSystem);
    if (!reader.IsOpen() || reader.GetSize() > UINT32_MAX) return false;
    const auto size = static_cast<uint32_t>(reader.GetSize());
    std::unique_ptr<char[]> bytes(new (std::nothrow) char[size]);
    if (!bytes || (size != 0 && !reader.ReadExact(bytes.get(), size))) return false;
    std::vector<uint32_t> offsets;
    try {
        for (uint32_t start = 0; start < size;) {
            auto *feed = static_cast<char *>(std::memchr(bytes.get() + start, '\n', size - start));
            if (!feed) break;
            *feed = 0;
            offsets.push_back(start);
            start = static_cast<uint32_t>(feed - bytes.get()) + 1;
        }
    } catch (const std::bad_alloc &) {
        return false;
    }
    text = std::move(bytes);
    lineOffsets = std::move(offsets);
    return true;
}

const char *ktSourceFile::Line(uint64_t line) const {
    return line < lineOffsets.size() ? text.get() + lineOffsets[line] : nullptr;
}
