#include "symbols/image_range.h"

#include "session/data_reader.h"
#include "session/page_cache.h"
#include "symbols/module.h"

bool KnownReaderSize(DataReader &reader, uint64_t &size) {
    constexpr uint64_t noSize = ~uint64_t(0); // an address space ends there, and a closed file answers so
    const uint64_t position = reader.GetPosition();
    const bool known = reader.SeekFromEnd(0);
    size = known ? reader.GetPosition() : noSize;
    return reader.Seek(position) && size != noSize;
}

void RemoveImagePages(ktPageCache &pages, uint64_t base, uint64_t size) {
    if (size == 0) return;
    const uint64_t last = ImageFits(base, size) ? base + (size - 1) : ~uint64_t(0);
    pages.RemovePages(base / ktPageSize, last / ktPageSize);
}

void RemoveModulePages(ktPageCache &pages, const ktModule &module) {
    const ktExclusiveGuard guard(pages.lock);
    RemoveImagePages(pages, module.Start(), module.size);
}
