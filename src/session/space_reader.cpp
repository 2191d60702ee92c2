#include "session/space_reader.h"

#include <algorithm>
#include <new>

#include "session/page_cache.h"

namespace {

constexpr uint32_t fetchAttempts = 16; // two command threads may change the cache again and again

uint64_t EpochOf(const ktPageCache &cache) {
    const ktSharedGuard guard(cache.lock);
    return cache.Epoch();
}

} // namespace

bool ktSpaceReader::Seek(uint64_t newPosition) {
    if (newPosition > end) return false;
    position = newPosition;
    return true;
}

bool ktSpaceReader::Skip(uint64_t distance) {
    if (distance > end - position) return false;
    position += distance;
    return true;
}

bool ktSpaceReader::SeekFromEnd(int64_t distance) {
    uint64_t newPosition = 0;
    return MovePosition(end, distance, newPosition) && Seek(newPosition);
}

bool ktSpaceReader::ReadExact(void *buffer, uint32_t size) {
    uint32_t done = 0;
    return Read(buffer, size, &done) && done == size;
}

bool ktSpaceReader::Read(void *buffer, uint32_t size, uint32_t *done) {
    if (done != nullptr) *done = 0;
    if (buffer == nullptr) return false;
    if (cache != nullptr && (source == nullptr || Fill(position, size))) {
        const ktSharedGuard guard(cache->lock);
        uint64_t copied = 0;
        if (cache->ReadPages(position, buffer, size, &copied)) {
            // Behind the last byte of the address space there is no position: the end stands for it.
            position += std::min(copied, end - position);
            if (done != nullptr) *done = uint32_t(copied);
            return true;
        }
    }
    if (source == nullptr || !source->Seek(position)) return false;
    return source->Read(buffer, size, done);
}

std::unique_ptr<DataReader> ktSpaceReader::Clone() {
    std::unique_ptr<ktSpaceReader> clone(new (std::nothrow) ktSpaceReader(cache, source));
    if (clone != nullptr) {
        clone->position = position;
        clone->end = end;
    }
    return clone;
}

std::unique_ptr<DataReader> ktSpaceReader::SubReader(uint64_t, uint64_t) { return nullptr; }

bool ktSpaceReader::Fill(uint64_t address, uint32_t size) {
    if (size == 0) return true;
    const uint64_t length = std::min<uint64_t>(size - 1, ~address);
    const uint64_t last = (address + length) / ktPageSize;
    for (uint64_t page = address / ktPageSize; page <= last; ++page) {
        {
            const ktSharedGuard guard(cache->lock);
            page = cache->FirstUnreadable(page, last);
            if (page > last) return true;
            const ktCachedPage *found = cache->FindPage(page);
            if (found != nullptr && found->state == ktCachedPage::stateNoMemory && cache->IsCurrent(*found)) {
                return false;
            }
        }
        if (!Fetch(page)) return false;
    }
    return true;
}

bool ktSpaceReader::Fetch(uint64_t page) {
    try {
        bounce.resize(ktPageSize);
    } catch (const std::bad_alloc &) {
        return false;
    }
    const uint64_t start = page * ktPageSize;
    for (uint32_t attempt = 0; attempt < fetchAttempts; ++attempt) {
        const uint64_t epoch = EpochOf(*cache);
        if (!source->Seek(start) || !source->ReadExact(bounce.data(), ktPageSize)) return false;

        const ktExclusiveGuard guard(cache->lock);
        if (cache->Epoch() != epoch) continue; // what came may be from before an edit, or of an earlier stop
        uint64_t written = 0;
        return cache->ReservePages(start, ktPageSize) &&
               cache->WritePages(start, bounce.data(), ktPageSize, &written, cache->CurrentStamp()) &&
               written == ktPageSize;
    }
    return false;
}
