#pragma once

#include "platform/pages.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>

/// Pages from the heap, so that an address sanitizer sees every misuse; counted, and refused on demand.
/// One thread. The destructor gives back what the test left behind: look at `live` before.
class ktFakePages final : public ktPageSource {
public:
    ktFakePages() = default;
    ~ktFakePages() override {
        for (void *page : live) std::free(page);
    }
    ktFakePages(const ktFakePages &) = delete;
    ktFakePages &operator=(const ktFakePages &) = delete;

    void *Allocate() override {
        if (allowed == 0) return nullptr;
        void *page = std::aligned_alloc(ktPageSize, ktPageSize);
        if (!page) return nullptr;
        std::memset(page, 0, ktPageSize);
        --allowed;
        live.insert(page);
        return page;
    }

    void Free(void *page) override {
        if (!page) return;
        if (live.erase(page) == 0) std::abort(); // not from here, or freed twice
        std::free(page);
    }

    uint64_t allowed = ~uint64_t(0); ///< pages that may still be handed out
    std::set<void *> live;           ///< pages handed out and not freed
};
