#pragma once

#include "platform/pages.h"
#include "platform/sync.h"

#include <cstdint>
#include <map>

/// One cached page of a ktPageCache.
struct ktCachedPage {
    enum State : uint32_t { stateEmpty = 0, stateNoMemory = 1, statePresent = 2 };

    uint8_t *data = nullptr; ///< ktPageSize bytes when present
    uint32_t state = stateEmpty;
    uint32_t generation = 0; ///< ktPinnedGeneration, or the cache's generation when it was filled
};

/// The stamp of pages that stay valid whatever the cache's generation is.
constexpr uint32_t ktPinnedGeneration = 0xFFFFFFFF;

/// Cache of 4096-byte pages keyed by address >> 12. Operations take no lock: the caller
/// holds `lock`, shared for look-ups and copies, exclusive for everything that changes it.
class ktPageCache {
public:
    explicit ktPageCache(ktPageSource &pageSource = SystemPages());
    ~ktPageCache();
    ktPageCache(const ktPageCache &) = delete;
    ktPageCache &operator=(const ktPageCache &) = delete;

    mutable ktRwLock lock;
    uint64_t generation = 0; ///< raised at each target stop, 0 when emptied
    bool growOnMiss = false; ///< lets WritePages make the pages that are missing

    /// The page of that number, or null.
    ktCachedPage *FindPage(uint64_t pageNumber);
    const ktCachedPage *FindPage(uint64_t pageNumber) const;
    /// True for a page whose stamp is pinned or equals the cache's generation.
    bool IsCurrent(const ktCachedPage &page) const;
    /// The stamp of a page filled now. A generation past 32 bits has none: then it is a stamp that never
    /// matches, so that such a page counts only when it is pinned.
    uint32_t CurrentStamp() const;
    /// Makes every page stale that is not pinned.
    void RaiseGeneration();
    /// Changes with each RaiseGeneration and Clear. Bytes that were read from the target in an earlier epoch
    /// may be older than what the cache has to show now: no page is to be filled with them.
    uint64_t Epoch() const { return epoch; }
    /// The first page of `first` to `last`, both included, that ReadPages would stop at; `last` + 1 when
    /// it could copy them all.
    uint64_t FirstUnreadable(uint64_t first, uint64_t last) const;
    /// The page of that number, made in state 0 when missing; null without memory.
    ktCachedPage *AddPage(uint64_t pageNumber);
    /// Gives every page of the range that has none memory and the cache's generation; a range past the top
    /// of the address space stops there. When memory fails, the pages handled so far lose theirs (state 1),
    /// whatever they held, and the result is false. Size 0 succeeds.
    bool ReservePages(uint64_t address, uint64_t size);
    /// Copies page by page into pages that have memory, stamping `stamp`, and stops at the first other one,
    /// unless `growOnMiss` is set. True if at least one byte went. `written`, which may be null, receives
    /// the number of bytes.
    bool WritePages(uint64_t address, const void *bytes, uint64_t size, uint64_t *written, uint32_t stamp);
    /// Copies page by page up to the first page missing, stale or without memory. True if at least one byte
    /// came. `copied`, which may be null, receives the number of bytes.
    bool ReadPages(uint64_t address, void *bytes, uint64_t size, uint64_t *copied) const;
    /// Gives the pages numbered `first` to `last`, both included, this stamp, as far as they exist.
    void StampPages(uint64_t first, uint64_t last, uint32_t stamp);
    /// Removes the pages numbered `first` to `last`, both included.
    void RemovePages(uint64_t first, uint64_t last);
    /// Removes every page; generation and growOnMiss become 0.
    void Clear();
    uint64_t PageCount() const;

private:
    using Pages = std::map<uint64_t, ktCachedPage>;

    bool IsReadable(const ktCachedPage &page) const;
    /// Inserts the page in front of `next`; the end without memory.
    Pages::iterator Insert(Pages::iterator next, uint64_t pageNumber);
    bool GiveMemory(ktCachedPage &page);
    void TakeMemory(ktCachedPage &page);

    ktPageSource &source;
    Pages pages;
    uint64_t epoch = 0;
};
