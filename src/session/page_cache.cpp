#include "session/page_cache.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace {

constexpr uint32_t pageShift = 12;
static_assert(ktPageSize == size_t(1) << pageShift);

/// The part of `size` that lies below the top of the address space.
uint64_t ClampToTop(uint64_t address, uint64_t size) {
    const uint64_t behind = ~address; // bytes behind the one at `address`
    return size == 0 || size - 1 <= behind ? size : behind + 1;
}

uint64_t LastPage(uint64_t address, uint64_t clampedSize) {
    return (address + (clampedSize - 1)) >> pageShift;
}

/// Bytes of a range from its byte `done` up to the end of that byte's page.
size_t PartInPage(uint64_t address, uint64_t size, uint64_t done) {
    const uint64_t offset = (address + done) % ktPageSize;
    return size_t(std::min<uint64_t>(ktPageSize - offset, size - done));
}

} // namespace

ktPageCache::ktPageCache(ktPageSource &pageSource) : source(pageSource) {}

ktPageCache::~ktPageCache() { Clear(); }

ktCachedPage *ktPageCache::FindPage(uint64_t pageNumber) {
    const auto it = pages.find(pageNumber);
    return it != pages.end() ? &it->second : nullptr;
}

const ktCachedPage *ktPageCache::FindPage(uint64_t pageNumber) const {
    const auto it = pages.find(pageNumber);
    return it != pages.end() ? &it->second : nullptr;
}

bool ktPageCache::IsCurrent(const ktCachedPage &page) const {
    return page.generation == ktPinnedGeneration || page.generation == generation;
}

uint32_t ktPageCache::CurrentStamp() const {
    return generation < ktPinnedGeneration ? uint32_t(generation) : 0;
}

void ktPageCache::RaiseGeneration() {
    ++epoch;
    ++generation;
    // The stamp of pinned pages is never a generation. Stamps are 32 bits wide, so from here on only
    // pinned pages count, until the cache is emptied.
    if (generation == ktPinnedGeneration) ++generation;
}

bool ktPageCache::IsReadable(const ktCachedPage &page) const {
    return page.state == ktCachedPage::statePresent && IsCurrent(page);
}

uint64_t ktPageCache::FirstUnreadable(uint64_t first, uint64_t last) const {
    uint64_t number = first;
    for (auto it = pages.lower_bound(first); number <= last; ++it, ++number) {
        if (it == pages.end() || it->first != number || !IsReadable(it->second)) break;
    }
    return number;
}

ktCachedPage *ktPageCache::AddPage(uint64_t pageNumber) {
    const Pages::iterator it = Insert(pages.lower_bound(pageNumber), pageNumber);
    return it != pages.end() ? &it->second : nullptr;
}

ktPageCache::Pages::iterator ktPageCache::Insert(Pages::iterator next, uint64_t pageNumber) {
    try {
        return pages.try_emplace(next, pageNumber);
    } catch (const std::bad_alloc &) {
        return pages.end();
    }
}

bool ktPageCache::GiveMemory(ktCachedPage &page) {
    if (page.state == ktCachedPage::statePresent) return true;
    page.data = static_cast<uint8_t *>(source.Allocate());
    if (page.data == nullptr) return false;
    page.state = ktCachedPage::statePresent;
    page.generation = CurrentStamp();
    return true;
}

void ktPageCache::TakeMemory(ktCachedPage &page) {
    source.Free(page.data);
    page.data = nullptr;
    page.state = ktCachedPage::stateNoMemory;
}

bool ktPageCache::ReservePages(uint64_t address, uint64_t size) {
    size = ClampToTop(address, size);
    if (size == 0) return true;
    const uint64_t first = address >> pageShift;
    const uint64_t last = LastPage(address, size);

    auto next = pages.lower_bound(first);
    for (uint64_t number = first; number <= last; ++number) {
        const bool isNew = next == pages.end() || next->first != number;
        const auto it = isNew ? Insert(next, number) : next;
        if (it != pages.end() && GiveMemory(it->second)) {
            next = std::next(it);
            continue;
        }
        if (isNew && it != pages.end()) pages.erase(it);
        for (auto handled = pages.find(first); number > first; --number, ++handled)
            TakeMemory(handled->second);
        return false;
    }
    return true;
}

bool ktPageCache::WritePages(uint64_t address, const void *bytes, uint64_t size, uint64_t *written,
                             uint32_t stamp) {
    const uint8_t *from = static_cast<const uint8_t *>(bytes);
    size = from != nullptr ? ClampToTop(address, size) : 0;
    uint64_t done = 0;
    for (auto it = pages.lower_bound(address >> pageShift); done < size; ++it) {
        const uint64_t number = (address + done) >> pageShift;
        if (it == pages.end() || it->first != number || it->second.state != ktCachedPage::statePresent) {
            if (!growOnMiss || !ReservePages(address + done, 1)) break;
            it = pages.find(number);
        }
        const size_t part = PartInPage(address, size, done);
        std::memcpy(it->second.data + (address + done) % ktPageSize, from + done, part);
        it->second.generation = stamp;
        done += part;
    }
    if (written != nullptr) *written = done;
    return done != 0;
}

bool ktPageCache::ReadPages(uint64_t address, void *bytes, uint64_t size, uint64_t *copied) const {
    uint8_t *to = static_cast<uint8_t *>(bytes);
    size = to != nullptr ? ClampToTop(address, size) : 0;
    uint64_t done = 0;
    for (auto it = pages.lower_bound(address >> pageShift); done < size; ++it) {
        const uint64_t number = (address + done) >> pageShift;
        if (it == pages.end() || it->first != number || !IsReadable(it->second)) break;
        const size_t part = PartInPage(address, size, done);
        std::memcpy(to + done, it->second.data + (address + done) % ktPageSize, part);
        done += part;
    }
    if (copied != nullptr) *copied = done;
    return done != 0;
}

void ktPageCache::StampPages(uint64_t first, uint64_t last, uint32_t stamp) {
    for (auto it = pages.lower_bound(first); it != pages.end() && it->first <= last; ++it) {
        it->second.generation = stamp;
    }
}

void ktPageCache::RemovePages(uint64_t first, uint64_t last) {
    auto it = pages.lower_bound(first);
    while (it != pages.end() && it->first <= last) {
        source.Free(it->second.data);
        it = pages.erase(it);
    }
}

void ktPageCache::Clear() {
    for (auto &entry : pages) source.Free(entry.second.data);
    pages.clear();
    ++epoch;
    generation = 0;
    growOnMiss = false;
}

uint64_t ktPageCache::PageCount() const { return pages.size(); }
