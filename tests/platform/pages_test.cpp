#include "platform/pages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

bool IsZero(const void *page) {
    const auto *bytes = static_cast<const uint8_t *>(page);
    return std::all_of(bytes, bytes + ktPageSize, [](uint8_t byte) { return byte == 0; });
}

/// Pages of address space that the process has mapped.
uint64_t MappedPages() {
    std::ifstream facts("/proc/self/statm");
    uint64_t pages = 0;
    facts >> pages;
    return pages;
}

} // namespace

TEST(Pages, AreAlignedZeroedAndWritable) {
    std::vector<void *> pages;
    for (int i = 0; i < 1500; ++i) { // more than two slabs
        void *page = SystemPages().Allocate();
        ASSERT_NE(page, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(page) % ktPageSize, 0u);
        EXPECT_TRUE(IsZero(page));
        std::memset(page, 0xA5, ktPageSize);
        pages.push_back(page);
    }
    EXPECT_EQ(std::set<void *>(pages.begin(), pages.end()).size(), pages.size());
    for (void *page : pages) SystemPages().Free(page);
}

TEST(Pages, AFreedPageComesBackZeroed) {
    void *keeper = SystemPages().Allocate(); // keeps the slab, so that the page is used again
    void *page = SystemPages().Allocate();
    std::memset(page, 0xFF, ktPageSize);
    SystemPages().Free(page);
    void *again = SystemPages().Allocate();
    EXPECT_EQ(again, page); // the point of the test: the very page that was written
    EXPECT_TRUE(IsZero(again));
    SystemPages().Free(again);
    SystemPages().Free(keeper);
}

TEST(Pages, FreeingNullDoesNothing) {
    SystemPages().Free(nullptr);
    void *page = SystemPages().Allocate();
    EXPECT_NE(page, nullptr);
    SystemPages().Free(page);
}

TEST(Pages, EmptySlabsGoBackToTheSystem) {
    const uint64_t before = MappedPages();
    std::vector<void *> pages;
    for (int i = 0; i < 25000; ++i) pages.push_back(SystemPages().Allocate());
    EXPECT_GE(MappedPages(), before + 25000 - 1024);
    for (void *page : pages) SystemPages().Free(page);
    EXPECT_LE(MappedPages(), before + 1024); // the spare slab, and what the list of pages took
}

TEST(Pages, RandomUseNeverMixesPagesUp) {
    std::mt19937 random(1);
    std::vector<std::pair<uint8_t *, uint32_t>> live; // each with the number written at both its ends
    for (uint32_t step = 1; step < 20000; ++step) {
        if (live.empty() || random() % 100 < 55) {
            auto *page = static_cast<uint8_t *>(SystemPages().Allocate());
            ASSERT_NE(page, nullptr);
            ASSERT_TRUE(IsZero(page));
            std::memcpy(page, &step, sizeof step);
            std::memcpy(page + ktPageSize - sizeof step, &step, sizeof step);
            live.emplace_back(page, step);
        } else {
            std::swap(live[random() % live.size()], live.back());
            const auto [page, number] = live.back();
            ASSERT_EQ(std::memcmp(page, &number, sizeof number), 0);
            ASSERT_EQ(std::memcmp(page + ktPageSize - sizeof number, &number, sizeof number), 0);
            SystemPages().Free(page);
            live.pop_back();
        }
    }
    for (const auto &[page, number] : live) SystemPages().Free(page);
}

TEST(Pages, ServeSeveralThreads) {
    std::vector<std::thread> threads;
    for (uint8_t mark = 1; mark <= 4; ++mark) {
        threads.emplace_back([mark] {
            for (int round = 0; round < 10; ++round) {
                std::vector<void *> pages;
                for (int i = 0; i < 300; ++i) {
                    void *page = SystemPages().Allocate();
                    ASSERT_NE(page, nullptr);
                    ASSERT_TRUE(IsZero(page));
                    std::memset(page, mark, ktPageSize);
                    pages.push_back(page);
                }
                for (void *page : pages) {
                    ASSERT_EQ(static_cast<uint8_t *>(page)[ktPageSize / 2], mark);
                    SystemPages().Free(page);
                }
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
}
