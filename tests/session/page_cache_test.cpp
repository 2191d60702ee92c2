#include "session/page_cache.h"

#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "support/fake_pages.h"

namespace {

constexpr uint64_t topPage = UINT64_MAX / ktPageSize;

class PageCache : public testing::Test {
protected:
    PageCache() : cache(pages), bytes(4 * ktPageSize) { std::iota(bytes.begin(), bytes.end(), uint8_t(1)); }

    uint32_t StateOf(uint64_t pageNumber) {
        const ktCachedPage *page = cache.FindPage(pageNumber);
        return page != nullptr ? page->state : 99;
    }

    /// Pages with memory and the cache's generation.
    void Fill(uint64_t address, uint64_t size) {
        ASSERT_TRUE(cache.ReservePages(address, size));
        const std::vector<uint8_t> content(size, 0xEE);
        ASSERT_TRUE(cache.WritePages(address, content.data(), size, nullptr, cache.CurrentStamp()));
    }

    ktFakePages pages;
    ktPageCache cache;
    std::vector<uint8_t> bytes;
    std::vector<uint8_t> buffer = std::vector<uint8_t>(4 * ktPageSize);
    uint64_t done = 99;
};

} // namespace

TEST_F(PageCache, StartsEmpty) {
    EXPECT_EQ(cache.PageCount(), 0u);
    EXPECT_EQ(cache.generation, 0u);
    EXPECT_FALSE(cache.growOnMiss);
    EXPECT_EQ(cache.FindPage(0), nullptr);
    EXPECT_FALSE(cache.ReadPages(0, buffer.data(), 1, &done));
    EXPECT_EQ(done, 0u);
}

TEST_F(PageCache, AddPageMakesAnEmptyPageOnce) {
    ktCachedPage *page = cache.AddPage(5);
    ASSERT_NE(page, nullptr);
    EXPECT_EQ(page->state, ktCachedPage::stateEmpty);
    EXPECT_EQ(page->data, nullptr);
    EXPECT_EQ(cache.AddPage(5), page);
    EXPECT_EQ(cache.FindPage(5), page);
    EXPECT_EQ(static_cast<const ktPageCache &>(cache).FindPage(5), page);
    EXPECT_EQ(cache.PageCount(), 1u);
    EXPECT_TRUE(pages.live.empty());
    EXPECT_FALSE(cache.ReadPages(5 * ktPageSize, buffer.data(), 1, nullptr));
}

TEST_F(PageCache, ReserveGivesMemoryAndTheGenerationToEachPageTouched) {
    cache.generation = 7;
    EXPECT_TRUE(cache.ReservePages(0x1FFF, 2));
    EXPECT_EQ(cache.PageCount(), 2u);
    for (const uint64_t number : {1, 2}) {
        const ktCachedPage *page = cache.FindPage(number);
        ASSERT_NE(page, nullptr);
        EXPECT_EQ(page->state, ktCachedPage::statePresent);
        EXPECT_EQ(page->generation, 7u);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(page->data) % ktPageSize, 0u);
    }
    EXPECT_EQ(pages.live.size(), 2u);
}

TEST_F(PageCache, ReserveOfNothingSucceeds) {
    pages.allowed = 0;
    EXPECT_TRUE(cache.ReservePages(0x1000, 0));
    EXPECT_TRUE(cache.ReservePages(UINT64_MAX, 0));
    EXPECT_EQ(cache.PageCount(), 0u);
}

TEST_F(PageCache, ReserveFillsTheGapsBetweenPagesThatExist) {
    for (const uint64_t number : {1, 3, 6}) Fill(number * ktPageSize, 1);
    EXPECT_TRUE(cache.ReservePages(0, 6 * ktPageSize));
    EXPECT_EQ(cache.PageCount(), 7u);
    for (uint64_t number = 0; number <= 6; ++number) EXPECT_EQ(StateOf(number), ktCachedPage::statePresent);
}

TEST_F(PageCache, ReserveLeavesPagesWithMemoryAsTheyAre) {
    cache.generation = 3;
    Fill(0x1000, ktPageSize);
    uint8_t *data = cache.FindPage(1)->data;
    cache.generation = 4;
    EXPECT_TRUE(cache.ReservePages(0x1000, ktPageSize));
    EXPECT_EQ(cache.FindPage(1)->data, data);
    EXPECT_EQ(cache.FindPage(1)->generation, 3u);
    EXPECT_EQ(data[17], 0xEE);
}

TEST_F(PageCache, ReserveGivesMemoryToPagesThatHaveNone) {
    cache.AddPage(1);
    cache.AddPage(2)->state = ktCachedPage::stateNoMemory;
    cache.generation = 5;
    EXPECT_TRUE(cache.ReservePages(0x1000, 2 * ktPageSize));
    EXPECT_EQ(StateOf(1), ktCachedPage::statePresent);
    EXPECT_EQ(StateOf(2), ktCachedPage::statePresent);
    EXPECT_EQ(cache.FindPage(2)->generation, 5u);
}

TEST_F(PageCache, FailingReserveTakesTheMemoryOfThePagesHandledSoFar) {
    Fill(0x2000, ktPageSize);
    Fill(0x9000, ktPageSize);
    pages.allowed = 1;
    // Page 1 gets the last memory, page 2 has its own, page 3 gets none.
    EXPECT_FALSE(cache.ReservePages(0x1000, 4 * ktPageSize));
    EXPECT_EQ(StateOf(1), ktCachedPage::stateNoMemory);
    EXPECT_EQ(StateOf(2), ktCachedPage::stateNoMemory);
    EXPECT_EQ(cache.FindPage(1)->data, nullptr);
    EXPECT_EQ(cache.FindPage(2)->data, nullptr);
    EXPECT_EQ(cache.FindPage(3), nullptr);
    EXPECT_EQ(cache.FindPage(4), nullptr);
    EXPECT_EQ(StateOf(9), ktCachedPage::statePresent);
    EXPECT_EQ(pages.live.size(), 1u);
}

TEST_F(PageCache, FailingReserveKeepsThePageThatWasThereBefore) {
    cache.AddPage(1);
    pages.allowed = 0;
    EXPECT_FALSE(cache.ReservePages(0x1000, ktPageSize));
    EXPECT_EQ(StateOf(1), ktCachedPage::stateEmpty);
    EXPECT_FALSE(cache.ReservePages(0x2000, ktPageSize));
    EXPECT_EQ(cache.FindPage(2), nullptr);
}

TEST_F(PageCache, WriteGoesAcrossPagesAndStampsThem) {
    cache.generation = 2;
    ASSERT_TRUE(cache.ReservePages(0x1000, 3 * ktPageSize));
    EXPECT_TRUE(cache.WritePages(0x1800, bytes.data(), 2 * ktPageSize, &done, 8));
    EXPECT_EQ(done, 2 * ktPageSize);
    for (const uint64_t number : {1, 2, 3}) EXPECT_EQ(cache.FindPage(number)->generation, 8u);
    cache.generation = 8;
    EXPECT_TRUE(cache.ReadPages(0x1800, buffer.data(), 2 * ktPageSize, &done));
    EXPECT_EQ(done, 2 * ktPageSize);
    EXPECT_EQ(std::memcmp(buffer.data(), bytes.data(), 2 * ktPageSize), 0);
    EXPECT_TRUE(cache.ReadPages(0x1000, buffer.data(), 1, nullptr));
    EXPECT_EQ(buffer[0], 0u);
}

TEST_F(PageCache, WriteStopsAtAMissingPage) {
    ASSERT_TRUE(cache.ReservePages(0x1000, ktPageSize));
    ASSERT_TRUE(cache.ReservePages(0x3000, ktPageSize));
    EXPECT_TRUE(cache.WritePages(0x1FF0, bytes.data(), 2 * ktPageSize, &done, 0));
    EXPECT_EQ(done, 0x10u);
    EXPECT_FALSE(cache.WritePages(0x2000, bytes.data(), ktPageSize, &done, 0));
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(cache.PageCount(), 2u);
    EXPECT_EQ(cache.FindPage(3)->data[0], 0u);
}

TEST_F(PageCache, WriteStopsAtAPageWithoutMemory) {
    cache.AddPage(1);
    EXPECT_FALSE(cache.WritePages(0x1000, bytes.data(), 1, nullptr, 0));
    cache.FindPage(1)->state = ktCachedPage::stateNoMemory;
    EXPECT_FALSE(cache.WritePages(0x1000, bytes.data(), 1, nullptr, 0));
}

TEST_F(PageCache, WriteMakesMissingPagesWhenItMayGrow) {
    cache.growOnMiss = true;
    ASSERT_TRUE(cache.ReservePages(0x2000, ktPageSize));
    EXPECT_TRUE(cache.WritePages(0x1FF0, bytes.data(), 0x20 + ktPageSize, &done, 6));
    EXPECT_EQ(done, 0x20 + ktPageSize);
    EXPECT_EQ(cache.PageCount(), 3u);
    cache.generation = 6;
    EXPECT_TRUE(cache.ReadPages(0x1FF0, buffer.data(), 0x20 + ktPageSize, &done));
    EXPECT_EQ(done, 0x20 + ktPageSize);
    EXPECT_EQ(std::memcmp(buffer.data(), bytes.data(), 0x20 + ktPageSize), 0);
}

TEST_F(PageCache, GrowingWriteStopsWithoutMemory) {
    cache.growOnMiss = true;
    pages.allowed = 1;
    EXPECT_TRUE(cache.WritePages(0x1000, bytes.data(), 2 * ktPageSize, &done, 0));
    EXPECT_EQ(done, ktPageSize);
    EXPECT_EQ(cache.PageCount(), 1u);
    EXPECT_EQ(StateOf(1), ktCachedPage::statePresent);
}

TEST_F(PageCache, ReadStopsAtTheFirstPageThatDoesNotCount) {
    cache.generation = 1;
    Fill(0x1000, 3 * ktPageSize);
    const auto count = [this] {
        cache.ReadPages(0x1010, buffer.data(), 3 * ktPageSize - 0x10, &done);
        return done;
    };
    EXPECT_EQ(count(), 3 * ktPageSize - 0x10);
    cache.FindPage(3)->generation = 2;
    EXPECT_EQ(count(), 2 * ktPageSize - 0x10);
    cache.FindPage(2)->state = ktCachedPage::stateNoMemory;
    EXPECT_EQ(count(), ktPageSize - 0x10);
    cache.FindPage(2)->state = ktCachedPage::statePresent;
    cache.RemovePages(2, 2);
    EXPECT_EQ(count(), ktPageSize - 0x10);
    cache.FindPage(1)->generation = 0;
    EXPECT_EQ(count(), 0u);
    EXPECT_FALSE(cache.ReadPages(0x1010, buffer.data(), 1, nullptr));
}

TEST_F(PageCache, NothingMovesWithoutSizeOrBuffer) {
    Fill(0x1000, ktPageSize);
    EXPECT_FALSE(cache.ReadPages(0x1000, buffer.data(), 0, &done));
    EXPECT_EQ(done, 0u);
    EXPECT_FALSE(cache.ReadPages(0x1000, nullptr, 8, &done));
    EXPECT_FALSE(cache.WritePages(0x1000, bytes.data(), 0, &done, 9));
    EXPECT_FALSE(cache.WritePages(0x1000, nullptr, 8, &done, 9));
    EXPECT_EQ(cache.FindPage(1)->generation, 0u);
}

TEST_F(PageCache, PinnedPagesCountInEveryGeneration) {
    Fill(0x1000, 2 * ktPageSize);
    cache.FindPage(2)->generation = ktPinnedGeneration;
    for (const uint64_t generation : {uint64_t(1), uint64_t(0xFFFFFFFE), uint64_t(0x100000000), UINT64_MAX}) {
        cache.generation = generation;
        EXPECT_FALSE(cache.ReadPages(0x1000, buffer.data(), 1, nullptr));
        EXPECT_TRUE(cache.ReadPages(0x2000, buffer.data(), 1, nullptr));
    }
}

TEST_F(PageCache, GenerationPast32BitsMatchesNoStamp) {
    for (const uint64_t generation : {uint64_t(0xFFFFFFFF), uint64_t(0x100000000), uint64_t(0x1FFFFFFFF)}) {
        cache.generation = generation;
        Fill(0x1000, ktPageSize);
        EXPECT_FALSE(cache.ReadPages(0x1000, buffer.data(), 1, nullptr)) << generation;
        EXPECT_NE(cache.FindPage(1)->generation, ktPinnedGeneration);
    }
    cache.generation = 0xFFFFFFFE;
    Fill(0x1000, ktPageSize);
    EXPECT_TRUE(cache.ReadPages(0x1000, buffer.data(), 1, nullptr));
}

TEST_F(PageCache, ARaisedGenerationLeavesThePinnedPagesAlone) {
    Fill(0x1000, 2 * ktPageSize);
    cache.FindPage(2)->generation = ktPinnedGeneration;
    cache.RaiseGeneration();
    EXPECT_EQ(cache.generation, 1u);
    EXPECT_FALSE(cache.ReadPages(0x1000, buffer.data(), 1, nullptr));
    EXPECT_TRUE(cache.ReadPages(0x2000, buffer.data(), 1, nullptr));
    EXPECT_EQ(cache.PageCount(), 2u);
}

TEST_F(PageCache, ARaisedGenerationIsNeverThePinnedStamp) {
    cache.generation = ktPinnedGeneration - 2;
    cache.RaiseGeneration();
    EXPECT_EQ(cache.generation, 0xFFFFFFFEu);
    cache.RaiseGeneration();
    EXPECT_EQ(cache.generation, 0x100000000u);
    cache.RaiseGeneration();
    EXPECT_EQ(cache.generation, 0x100000001u);
}

TEST_F(PageCache, TheEpochChangesWithARaisedGenerationAndAnEmptyingAndNeverComesBack) {
    const uint64_t first = cache.Epoch();
    Fill(0x1000, 2 * ktPageSize);
    cache.StampPages(1, 1, 9);
    cache.RemovePages(2, 2);
    EXPECT_EQ(cache.Epoch(), first);
    cache.RaiseGeneration();
    const uint64_t second = cache.Epoch();
    cache.Clear();
    const uint64_t third = cache.Epoch();
    cache.Clear(); // of an empty cache, too
    EXPECT_GT(second, first);
    EXPECT_GT(third, second);
    EXPECT_GT(cache.Epoch(), third);
}

TEST_F(PageCache, RangePastTheTopStopsThere) {
    const uint64_t start = UINT64_MAX - 0x17FF; // the last page and a half
    EXPECT_TRUE(cache.ReservePages(start, 0x10000));
    EXPECT_EQ(cache.PageCount(), 2u);
    EXPECT_NE(cache.FindPage(topPage), nullptr);
    EXPECT_EQ(cache.FindPage(0), nullptr);
    EXPECT_TRUE(cache.WritePages(start, bytes.data(), bytes.size(), &done, 0));
    EXPECT_EQ(done, 0x1800u);
    EXPECT_TRUE(cache.ReadPages(start, buffer.data(), buffer.size(), &done));
    EXPECT_EQ(done, 0x1800u);
    EXPECT_EQ(std::memcmp(buffer.data(), bytes.data(), 0x1800), 0);
    EXPECT_TRUE(cache.ReadPages(UINT64_MAX, buffer.data(), buffer.size(), &done));
    EXPECT_EQ(done, 1u);
}

TEST_F(PageCache, LowestAddressTakesAnySize) {
    Fill(0, ktPageSize);
    EXPECT_TRUE(cache.ReadPages(0, buffer.data(), ktPageSize, &done));
    EXPECT_EQ(done, ktPageSize);
    pages.allowed = 2;
    EXPECT_FALSE(cache.ReservePages(0, UINT64_MAX));
    EXPECT_EQ(StateOf(2), ktCachedPage::stateNoMemory);
    EXPECT_TRUE(pages.live.empty());
}

TEST_F(PageCache, FirstUnreadablePage) {
    EXPECT_EQ(cache.FirstUnreadable(3, 9), 3u);
    Fill(3 * ktPageSize, 4 * ktPageSize);
    EXPECT_EQ(cache.FirstUnreadable(3, 6), 7u);
    EXPECT_EQ(cache.FirstUnreadable(3, 9), 7u);
    EXPECT_EQ(cache.FirstUnreadable(2, 9), 2u);
    cache.FindPage(5)->generation = 1;
    EXPECT_EQ(cache.FirstUnreadable(3, 6), 5u);
    cache.FindPage(4)->state = ktCachedPage::stateNoMemory;
    EXPECT_EQ(cache.FirstUnreadable(3, 6), 4u);
    cache.FindPage(4)->state = ktCachedPage::statePresent;
}

TEST_F(PageCache, StampPagesTakesBothEndsAndPassesOverGaps) {
    Fill(0x1000, 3 * ktPageSize);
    Fill(0x5000, 2 * ktPageSize);
    cache.StampPages(2, 5, 9);
    const uint32_t expected[] = {0, 9, 9, 9, 0};
    const uint64_t numbers[] = {1, 2, 3, 5, 6};
    for (size_t i = 0; i < 5; ++i)
        EXPECT_EQ(cache.FindPage(numbers[i])->generation, expected[i]) << numbers[i];
    cache.StampPages(6, 1, 7);
    EXPECT_EQ(cache.FindPage(6)->generation, 0u);
    EXPECT_EQ(cache.PageCount(), 5u);
}

TEST_F(PageCache, RemovePagesTakesBothEnds) {
    Fill(0x1000, 5 * ktPageSize);
    cache.RemovePages(2, 4);
    EXPECT_EQ(cache.PageCount(), 2u);
    EXPECT_NE(cache.FindPage(1), nullptr);
    EXPECT_EQ(cache.FindPage(2), nullptr);
    EXPECT_EQ(cache.FindPage(4), nullptr);
    EXPECT_NE(cache.FindPage(5), nullptr);
    EXPECT_EQ(pages.live.size(), 2u);
    cache.RemovePages(5, 1);
    EXPECT_EQ(cache.PageCount(), 2u);
    cache.RemovePages(0, UINT64_MAX);
    EXPECT_EQ(cache.PageCount(), 0u);
    EXPECT_TRUE(pages.live.empty());
}

TEST_F(PageCache, ClearFreesAllAndResets) {
    cache.generation = 12;
    cache.growOnMiss = true;
    Fill(0x1000, 3 * ktPageSize);
    cache.AddPage(77);
    cache.Clear();
    EXPECT_EQ(cache.PageCount(), 0u);
    EXPECT_EQ(cache.generation, 0u);
    EXPECT_FALSE(cache.growOnMiss);
    EXPECT_TRUE(pages.live.empty());
}

TEST_F(PageCache, DestructorGivesThePagesBack) {
    {
        ktPageCache other(pages);
        ASSERT_TRUE(other.ReservePages(0, 3 * ktPageSize));
        EXPECT_EQ(pages.live.size(), 3u);
    }
    EXPECT_TRUE(pages.live.empty());
}

TEST(SystemPageCache, HoldsWhatWasWritten) {
    ktPageCache cache;
    const std::vector<uint8_t> bytes(10000, 0x5A);
    ASSERT_TRUE(cache.ReservePages(0x7FFF, bytes.size()));
    EXPECT_TRUE(cache.WritePages(0x7FFF, bytes.data(), bytes.size(), nullptr, cache.CurrentStamp()));
    std::vector<uint8_t> buffer(bytes.size());
    EXPECT_TRUE(cache.ReadPages(0x7FFF, buffer.data(), buffer.size(), nullptr));
    EXPECT_EQ(buffer, bytes);
}
