#pragma once

#include "session/data_reader.h"

#include <vector>

class ktPageCache;

/// Reader of an address space through a page cache, with an optional source behind it.
/// Neither cache nor source is owned. One thread at a time; clones are for other threads.
class ktSpaceReader final : public DataReader {
public:
    ktSpaceReader(ktPageCache *pages, DataReader *target) : source(target), cache(pages) {}

    void SetSource(DataReader *newSource) { source = newSource; }

    uint64_t GetPosition() override { return position; }
    bool IsAtEnd() override { return position == end; }
    bool Seek(uint64_t newPosition) override;
    bool Skip(uint64_t distance) override;
    bool SeekFromEnd(int64_t distance) override;
    bool ReadExact(void *buffer, uint32_t size) override;
    /// Fills the cache's pages of the range from the source, then copies. When that cannot be done the
    /// source is read directly, and then the position stays, so that a retry reads the same place.
    bool Read(void *buffer, uint32_t size, uint32_t *done) override;
    std::unique_ptr<DataReader> Clone() override;
    /// Always null.
    std::unique_ptr<DataReader> SubReader(uint64_t start, uint64_t end) override;

private:
    /// Makes every page of the range readable, fetching what is not; false when one cannot be.
    bool Fill(uint64_t address, uint32_t size);
    /// Reads one page from the source, with no lock held, and puts it into the cache. A page that was read
    /// while the cache was emptied or its generation raised is read again, a few times, and then not kept.
    bool Fetch(uint64_t page);

    DataReader *source;
    ktPageCache *cache;
    std::vector<uint8_t> bounce; ///< one page on its way from the source
    uint64_t position = 0;
    uint64_t end = ~uint64_t(0);
};
