#include "session/space_reader.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "session/page_cache.h"
#include "support/fake_pages.h"
#include "support/scripted_reader.h"

namespace {

using Calls = std::vector<ktScriptedReader::Call>;

class SpaceReader : public testing::Test {
protected:
    SpaceReader() : cache(pages), reader(&cache, &source) {}

    /// During each of the next `times` reads of the source the cache is changed; what the source holds
    /// changes too, for the reads that follow.
    void ChangeDuringReads(uint32_t times, const std::function<void()> &change) {
        source.onRead = [this, times, change, count = uint32_t(0)]() mutable {
            source.version = uint8_t(std::min(count, times));
            if (count++ >= times) return;
            const ktExclusiveGuard guard(cache.lock);
            change();
        };
    }

    bool HoldsSource(uint64_t address, uint32_t count, uint8_t version = 0) const {
        for (uint32_t i = 0; i < count; ++i) {
            if (buffer[i] != ktScriptedReader::ByteAt(address + i, version)) return false;
        }
        return true;
    }

    ktFakePages pages;
    ktPageCache cache;
    ktScriptedReader source;
    ktSpaceReader reader;
    std::vector<uint8_t> buffer = std::vector<uint8_t>(0x10000);
    uint32_t done = 99;
};

} // namespace

TEST_F(SpaceReader, ReadsTheSourceByWholePages) {
    EXPECT_TRUE(reader.Seek(0x1F80));
    EXPECT_TRUE(reader.Read(buffer.data(), 0x1100, &done));
    EXPECT_EQ(done, 0x1100u);
    EXPECT_TRUE(HoldsSource(0x1F80, 0x1100));
    EXPECT_EQ(source.reads, (Calls{{0x1000, 4096}, {0x2000, 4096}, {0x3000, 4096}}));
    EXPECT_EQ(reader.GetPosition(), 0x3080u);
    EXPECT_EQ(cache.PageCount(), 3u);
}

TEST_F(SpaceReader, SecondReadComesFromTheCache) {
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 0x1000));
    reader.Seek(0x1800);
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 0x1000));
    EXPECT_TRUE(HoldsSource(0x1800, 0x1000));
    EXPECT_EQ(source.reads, (Calls{{0x1000, 4096}, {0x2000, 4096}}));
    EXPECT_EQ(reader.GetPosition(), 0x2800u);
}

TEST_F(SpaceReader, OnlyThePagesInBetweenAreFetched) {
    for (const uint64_t start : {0x2000, 0x4000, 0x5000}) {
        reader.Seek(start);
        EXPECT_TRUE(reader.ReadExact(buffer.data(), 8));
    }
    source.reads.clear();
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 0x6000));
    EXPECT_TRUE(HoldsSource(0x1000, 0x6000));
    EXPECT_EQ(source.reads, (Calls{{0x1000, 4096}, {0x3000, 4096}, {0x6000, 4096}}));
}

TEST_F(SpaceReader, ReadIntoAnUnmappedPageIsServedByTheSourceForTheWholeRange) {
    source.AddHole(0x3000, 0x3FFF);
    reader.Seek(0x1800);
    EXPECT_TRUE(reader.Read(buffer.data(), 0x2000, &done));
    EXPECT_EQ(done, 0x1800u);
    EXPECT_TRUE(HoldsSource(0x1800, 0x1800));
    EXPECT_EQ(source.reads, (Calls{{0x1000, 4096}, {0x2000, 4096}, {0x3000, 4096}, {0x1800, 0x2000}}));
    EXPECT_EQ(cache.FindPage(3), nullptr);
}

TEST_F(SpaceReader, UncachedFallbackDoesNotMoveThePosition) {
    source.AddHole(0x2000, 0x2FFF);
    reader.Seek(0x1800);
    for (int attempt = 0; attempt < 2; ++attempt) {
        EXPECT_TRUE(reader.Read(buffer.data(), 0x1000, &done));
        EXPECT_EQ(done, 0x800u);
        EXPECT_EQ(reader.GetPosition(), 0x1800u);
    }
    EXPECT_FALSE(reader.ReadExact(buffer.data(), 0x1000));
    EXPECT_EQ(reader.GetPosition(), 0x1800u);
    reader.Seek(0x2000);
    EXPECT_FALSE(reader.Read(buffer.data(), 0x1000, &done));
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(reader.GetPosition(), 0x2000u);
}

TEST_F(SpaceReader, StalePageOfAFailedFetchIsNotServed) {
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 16));
    ++cache.generation;
    source.AddHole(0x1800, 0x1FFF);
    source.version = 5;
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.Read(buffer.data(), 0x1000, &done));
    EXPECT_EQ(done, 0x800u);
    EXPECT_TRUE(HoldsSource(0x1000, 0x800, 5));
    EXPECT_EQ(reader.GetPosition(), 0x1000u);
}

TEST_F(SpaceReader, AfterANewGenerationOldPagesAreRefetchedButPinnedPagesAreNot) {
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 0x2000));
    cache.FindPage(2)->generation = ktPinnedGeneration;
    ++cache.generation;
    source.version = 1;
    source.reads.clear();
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 0x1000));
    EXPECT_TRUE(HoldsSource(0x1000, 0x1000, 1));
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 0x1000));
    EXPECT_TRUE(HoldsSource(0x2000, 0x1000, 0));
    EXPECT_EQ(source.reads, (Calls{{0x1000, 4096}}));
    EXPECT_EQ(pages.live.size(), 2u);
}

TEST_F(SpaceReader, GenerationPast32BitsServesOnlyPinnedPages) {
    cache.generation = 0x100000000;
    for (int attempt = 0; attempt < 2; ++attempt) {
        source.reads.clear();
        reader.Seek(0x1000);
        EXPECT_TRUE(reader.Read(buffer.data(), 16, &done));
        EXPECT_EQ(done, 16u);
        EXPECT_TRUE(HoldsSource(0x1000, 16));
        EXPECT_EQ(source.reads, (Calls{{0x1000, 4096}, {0x1000, 16}}));
        EXPECT_EQ(reader.GetPosition(), 0x1000u);
    }
    cache.FindPage(1)->generation = ktPinnedGeneration;
    source.reads.clear();
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 16));
    EXPECT_EQ(source.reads, Calls());
    EXPECT_EQ(reader.GetPosition(), 0x1010u);
}

TEST_F(SpaceReader, CurrentPageWithoutMemoryIsNotFetched) {
    cache.generation = 4;
    ktCachedPage *page = cache.AddPage(2);
    page->state = ktCachedPage::stateNoMemory;
    page->generation = 4;
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.Read(buffer.data(), 0x2000, &done));
    EXPECT_EQ(source.reads, (Calls{{0x1000, 4096}, {0x1000, 0x2000}}));
    EXPECT_EQ(reader.GetPosition(), 0x1000u);

    cache.generation = 5;
    source.reads.clear();
    EXPECT_TRUE(reader.Read(buffer.data(), 0x2000, &done));
    EXPECT_EQ(source.reads, (Calls{{0x1000, 4096}, {0x2000, 4096}}));
    EXPECT_EQ(page->state, ktCachedPage::statePresent);
}

TEST_F(SpaceReader, EmptyPageIsFetched) {
    cache.AddPage(1);
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 16));
    EXPECT_TRUE(HoldsSource(0x1000, 16));
}

TEST_F(SpaceReader, WithoutPageMemoryTheSourceIsReadDirectly) {
    pages.allowed = 1;
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.Read(buffer.data(), 0x3000, &done));
    EXPECT_EQ(done, 0x3000u);
    EXPECT_TRUE(HoldsSource(0x1000, 0x3000));
    EXPECT_EQ(source.reads, (Calls{{0x1000, 4096}, {0x2000, 4096}, {0x1000, 0x3000}}));
    EXPECT_EQ(reader.GetPosition(), 0x1000u);
    EXPECT_EQ(cache.PageCount(), 1u);
}

TEST_F(SpaceReader, WithoutASourceTheCacheAloneAnswers) {
    ASSERT_TRUE(cache.ReservePages(0x1000, 0x2000));
    cache.FindPage(1)->data[0x10] = 0xAB;
    reader.SetSource(nullptr);
    reader.Seek(0x1010);
    EXPECT_TRUE(reader.Read(buffer.data(), 0x4000, &done));
    EXPECT_EQ(done, 0x1FF0u);
    EXPECT_EQ(buffer[0], 0xAB);
    EXPECT_EQ(reader.GetPosition(), 0x3000u);
    EXPECT_FALSE(reader.Read(buffer.data(), 16, &done));
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(reader.GetPosition(), 0x3000u);
    reader.Seek(0x2FF8);
    EXPECT_FALSE(reader.ReadExact(buffer.data(), 16));
    EXPECT_EQ(reader.GetPosition(), 0x3000u);
    EXPECT_EQ(source.reads, Calls());
}

TEST_F(SpaceReader, WithoutACacheTheSourceAloneAnswers) {
    ktSpaceReader direct(nullptr, &source);
    EXPECT_TRUE(direct.Seek(0x1234));
    EXPECT_TRUE(direct.Read(buffer.data(), 16, &done));
    EXPECT_EQ(done, 16u);
    EXPECT_TRUE(HoldsSource(0x1234, 16));
    EXPECT_EQ(source.reads, (Calls{{0x1234, 16}}));
    EXPECT_EQ(direct.GetPosition(), 0x1234u);
    ktSpaceReader nothing(nullptr, nullptr);
    EXPECT_FALSE(nothing.Read(buffer.data(), 16, &done));
}

TEST_F(SpaceReader, SourceThatCannotSeekFails) {
    source.failSeeks = true;
    reader.Seek(0x1000);
    EXPECT_FALSE(reader.Read(buffer.data(), 16, &done));
    EXPECT_EQ(source.reads, Calls());
}

TEST_F(SpaceReader, ReadOfNothingIsTheSourcesAffair) {
    reader.Seek(0x1000);
    EXPECT_FALSE(reader.Read(buffer.data(), 0, &done));
    EXPECT_EQ(source.reads, (Calls{{0x1000, 0}}));
    EXPECT_EQ(cache.PageCount(), 0u);
    EXPECT_FALSE(reader.Read(nullptr, 16, &done));
    EXPECT_EQ(source.reads.size(), 1u);
}

TEST_F(SpaceReader, TheCountIsOptional) {
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.Read(buffer.data(), 16, nullptr));
    source.AddHole(0x5000, 0x5FFF);
    reader.Seek(0x4FF0);
    EXPECT_TRUE(reader.Read(buffer.data(), 32, nullptr));
}

TEST_F(SpaceReader, EndIsTheLastPosition) {
    EXPECT_FALSE(reader.IsAtEnd());
    EXPECT_TRUE(reader.Seek(UINT64_MAX));
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_TRUE(reader.Skip(0));
    EXPECT_FALSE(reader.Skip(1));
    EXPECT_TRUE(reader.SeekFromEnd(-0x10));
    EXPECT_EQ(reader.GetPosition(), UINT64_MAX - 0x10);
    EXPECT_TRUE(reader.SeekFromEnd(0));
    EXPECT_FALSE(reader.SeekFromEnd(1));
    EXPECT_FALSE(reader.SeekFromEnd(INT64_MAX));
    EXPECT_TRUE(reader.SeekFromEnd(INT64_MIN));
    EXPECT_EQ(reader.GetPosition(), uint64_t(INT64_MAX));
    EXPECT_TRUE(reader.Skip(0x1000));
    EXPECT_EQ(reader.GetPosition(), uint64_t(INT64_MAX) + 0x1000);
}

TEST_F(SpaceReader, ReadPastTheTopStopsThere) {
    reader.Seek(UINT64_MAX - 15);
    EXPECT_TRUE(reader.Read(buffer.data(), 0x4000, &done));
    EXPECT_EQ(done, 16u);
    EXPECT_TRUE(HoldsSource(UINT64_MAX - 15, 16));
    EXPECT_EQ(source.reads, (Calls{{UINT64_MAX - 0xFFF, 4096}}));
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_TRUE(reader.Read(buffer.data(), 0xFFFFFFFF, &done));
    EXPECT_EQ(done, 1u);
    EXPECT_TRUE(reader.IsAtEnd());
    EXPECT_EQ(cache.PageCount(), 1u);
}

TEST_F(SpaceReader, CloneSharesTheCacheAndMovesAlone) {
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 16));
    const auto clone = reader.Clone();
    ASSERT_NE(clone, nullptr);
    EXPECT_EQ(clone->GetPosition(), 0x1010u);
    EXPECT_TRUE(clone->ReadExact(buffer.data(), 16));
    EXPECT_TRUE(HoldsSource(0x1010, 16));
    EXPECT_EQ(clone->GetPosition(), 0x1020u);
    EXPECT_EQ(reader.GetPosition(), 0x1010u);
    EXPECT_EQ(source.reads.size(), 1u);
    EXPECT_TRUE(clone->Seek(0x2000));
    EXPECT_TRUE(clone->ReadExact(buffer.data(), 16));
    EXPECT_EQ(source.reads.size(), 2u);
}

TEST_F(SpaceReader, SubReaderIsNull) { EXPECT_EQ(reader.SubReader(0, 16), nullptr); }

TEST_F(SpaceReader, NoLockIsHeldWhileTheSourceIsRead) {
    uint32_t entered = 0;
    source.onRead = [this, &entered] {
        // From another thread, as this one could enter its own shared lock again.
        auto writer = std::async(std::launch::async, [this] { const ktExclusiveGuard guard(cache.lock); });
        if (writer.wait_for(std::chrono::seconds(10)) == std::future_status::ready) ++entered;
    };
    source.AddHole(0x3000, 0x3FFF);
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.Read(buffer.data(), 0x3000, &done));
    EXPECT_EQ(source.reads.size(), 4u);
    EXPECT_EQ(entered, 4u);
}

TEST_F(SpaceReader, APageReadWhileTheCacheIsEmptiedIsReadAgain) {
    ChangeDuringReads(1, [this] { cache.Clear(); });
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 16));
    EXPECT_TRUE(HoldsSource(0x1000, 16, 1));
    EXPECT_EQ(source.reads, (Calls{{0x1000, 4096}, {0x1000, 4096}}));
    EXPECT_EQ(reader.GetPosition(), 0x1010u);

    source.reads.clear();
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 16));
    EXPECT_TRUE(HoldsSource(0x1010, 16, 1));
    EXPECT_EQ(source.reads, Calls());
}

TEST_F(SpaceReader, APageReadWhileTheGenerationIsRaisedIsReadAgain) {
    ChangeDuringReads(1, [this] { cache.RaiseGeneration(); });
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 16));
    EXPECT_TRUE(HoldsSource(0x1000, 16, 1));
    EXPECT_EQ(source.reads, (Calls{{0x1000, 4096}, {0x1000, 4096}}));
    EXPECT_EQ(cache.FindPage(1)->generation, 1u) << "the cache's generation when the page was filled";
}

TEST_F(SpaceReader, PagesReadBeforeAndAfterAnEmptyingInOneRangeAreBothFresh) {
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.ReadExact(buffer.data(), 16));
    source.reads.clear();
    ChangeDuringReads(1, [this] { cache.Clear(); });
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.Read(buffer.data(), 0x2000, &done));
    EXPECT_EQ(done, 0x2000u);
    EXPECT_TRUE(HoldsSource(0x1000, 0x2000, 1));
    EXPECT_EQ(source.reads, (Calls{{0x2000, 4096}, {0x2000, 4096}, {0x1000, 0x2000}}));
}

TEST_F(SpaceReader, WhenEachReadOfAPageIsOvertakenTheSourceIsReadDirectlyAndNothingIsKept) {
    ChangeDuringReads(UINT32_MAX, [this] { cache.Clear(); });
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.Read(buffer.data(), 16, &done));
    EXPECT_EQ(done, 16u);
    Calls expected(16, {0x1000, 4096});
    expected.push_back({0x1000, 16});
    EXPECT_EQ(source.reads, expected);
    EXPECT_TRUE(HoldsSource(0x1000, 16, 16)) << "of the last read";
    EXPECT_EQ(cache.PageCount(), 0u);
    EXPECT_EQ(reader.GetPosition(), 0x1000u);
}

TEST_F(SpaceReader, APageOvertakenOnceAndThenUnreadableIsNotKept) {
    source.onRead = [this] {
        if (source.reads.size() > 1) return source.AddHole(0x1800, 0x1FFF);
        const ktExclusiveGuard guard(cache.lock);
        cache.Clear();
    };
    reader.Seek(0x1000);
    EXPECT_TRUE(reader.Read(buffer.data(), 0x1000, &done));
    EXPECT_EQ(done, 0x800u);
    EXPECT_EQ(source.reads, (Calls{{0x1000, 4096}, {0x1000, 4096}, {0x1000, 0x1000}}));
    EXPECT_EQ(cache.PageCount(), 0u);
}

TEST_F(SpaceReader, ClonesReadOnManyThreads) {
    constexpr uint32_t threadCount = 4;
    std::atomic<uint32_t> wrong{0};
    ktPageCache shared;
    std::vector<std::thread> threads;
    for (uint32_t number = 0; number < threadCount; ++number) {
        threads.emplace_back([&shared, &wrong, number] {
            ktScriptedReader own;
            ktSpaceReader mine(&shared, &own);
            std::vector<uint8_t> bytes(0x3000);
            std::mt19937 random(number);
            for (uint32_t round = 0; round < 300; ++round) {
                const uint64_t address = random() % 0x40000;
                const uint32_t size = uint32_t(1 + random() % bytes.size());
                uint32_t came = 0;
                mine.Seek(address);
                if (!mine.Read(bytes.data(), size, &came)) ++wrong;
                for (uint32_t i = 0; i < came; ++i) {
                    if (bytes[i] != ktScriptedReader::ByteAt(address + i)) ++wrong;
                }
                if (round % 50 == number) {
                    const ktExclusiveGuard guard(shared.lock);
                    if (round % 100 == number)
                        shared.RaiseGeneration();
                    else
                        shared.Clear();
                }
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(wrong, 0u);
}
