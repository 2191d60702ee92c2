#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "support/engine_rig.h"

namespace {

constexpr uint64_t root = 0x10000;
constexpr uint32_t mebibyte = 1 << 20;

/// 32-bit paging: linear 0 to 3 MiB are physical 1 MiB to 4 MiB, page by page. The data segment begins at
/// 0x1000.
class FrontMemory : public EngineRig {
protected:
    FrontMemory() {
        prepare = [](FakeTarget &target) {
            target.paging.mode = ktSbPaging32;
            target.paging.root = root;
            target.Put<uint32_t>(root, 0x11000 | 3);
            for (uint32_t page = 0; page < 3 * 256; ++page) {
                target.Put<uint32_t>(0x11000 + 4 * page, (mebibyte + page * 4096) | 3);
            }
            target.context.selector[ktSbDs] = 0x10;
            target.context.base[ktSbDs] = 0x1000;
        };
        Start();
    }

    uint32_t done = 99;
};

} // namespace

TEST_F(FrontMemory, TheThreeKindsOfAddressAgree) {
    EXPECT_EQ(SbWriteVirtualMemory(engine, root, 0x10, 0xFFE, "sable", 5, &done), SABLE_OK);
    EXPECT_EQ(done, 5u);
    char text[6] = {};
    EXPECT_EQ(SbReadLinearMemory(engine, root, 0x1FFE, text, 5, &done), SABLE_OK);
    EXPECT_STREQ(text, "sable");
    std::memset(text, 0, sizeof text);
    EXPECT_EQ(SbReadPhysicalMemory(engine, mebibyte + 0x1FFE, text, 5, &done), SABLE_OK);
    EXPECT_STREQ(text, "sable");
    EXPECT_EQ(SbWritePhysicalMemory(engine, mebibyte + 0x1FFE, "S", 1, nullptr), SABLE_OK);
    EXPECT_EQ(SbReadVirtualMemory(engine, 0, 0x10, 0xFFE, text, 5, nullptr), SABLE_OK)
        << "the core's own root";
    EXPECT_STREQ(text, "Sable");
    EXPECT_EQ(SbWriteLinearMemory(engine, 0, 0x1FFF, "A", 1, &done), SABLE_OK);
    EXPECT_EQ(SbReadVirtualMemory(engine, root, 0x10, 0xFFE, text, 5, &done), SABLE_OK);
    EXPECT_STREQ(text, "SAble");
}

TEST_F(FrontMemory, LongTransfersGoInSeveralRequests) {
    std::vector<uint8_t> bytes(3 * mebibyte - 5);
    std::iota(bytes.begin(), bytes.end(), uint8_t(3));
    EXPECT_EQ(SbWriteLinearMemory(engine, root, 5, bytes.data(), uint32_t(bytes.size()), &done), SABLE_OK);
    EXPECT_EQ(done, bytes.size());
    std::vector<uint8_t> copy(bytes.size() + 4096);
    EXPECT_EQ(SbReadLinearMemory(engine, root, 5, copy.data(), uint32_t(copy.size()), &done), SABLE_OK);
    EXPECT_EQ(done, bytes.size()) << "then there is a hole";
    copy.resize(bytes.size());
    EXPECT_EQ(copy, bytes);
    EXPECT_EQ(SbReadPhysicalMemory(engine, mebibyte + 5, copy.data(), uint32_t(copy.size()), &done),
              SABLE_OK);
    EXPECT_EQ(copy, bytes);
}

TEST_F(FrontMemory, AHoleAtTheStartFails) {
    uint8_t byte = 0;
    EXPECT_EQ(SbReadLinearMemory(engine, root, 3 * mebibyte, &byte, 1, &done), SABLE_FAILED);
    EXPECT_EQ(done, 0u);
    done = 99;
    EXPECT_EQ(SbWritePhysicalMemory(engine, 4 * mebibyte, &byte, 1, &done), SABLE_FAILED);
    EXPECT_EQ(done, 0u);
}

TEST_F(FrontMemory, AHoleAtTheBorderOfTwoRequestsEndsASuccess) {
    std::vector<uint8_t> bytes(2 * mebibyte);
    EXPECT_EQ(SbReadLinearMemory(engine, root, 2 * mebibyte, bytes.data(), 2 * mebibyte, &done), SABLE_OK);
    EXPECT_EQ(done, mebibyte);
}

TEST_F(FrontMemory, NothingIsDoneAtOnceAndNeedsNoBuffer) {
    EXPECT_EQ(SbReadPhysicalMemory(engine, 0, nullptr, 0, &done), SABLE_OK);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(SbWriteLinearMemory(engine, root, 4 * mebibyte, nullptr, 0, nullptr), SABLE_OK);
    done = 99;
    EXPECT_EQ(SbReadPhysicalMemory(engine, 0, nullptr, 1, &done), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(SbReadIo(engine, 0, 1, nullptr, 0, &done), SABLE_OK);
}

TEST_F(FrontMemory, ASelectorWithoutASegmentFails) {
    uint8_t byte = 0;
    EXPECT_EQ(SbReadVirtualMemory(engine, root, 0x18, 0, &byte, 1, &done), SABLE_FAILED);
    uint64_t physical = 0;
    EXPECT_EQ(SbVirtualToPhysical(engine, root, 0x18, 0, &physical), SABLE_FAILED);
}

TEST_F(FrontMemory, Translations) {
    uint64_t physical = 0;
    EXPECT_EQ(SbLinearToPhysical(engine, root, 0x1234, &physical), SABLE_OK);
    EXPECT_EQ(physical, mebibyte + 0x1234u);
    EXPECT_EQ(SbVirtualToPhysical(engine, root, 0x10, 0x1234, &physical), SABLE_OK);
    EXPECT_EQ(physical, mebibyte + 0x2234u);
}

TEST_F(FrontMemory, WhereThereIsNoTranslationTheAddressIsAllOnes) {
    uint64_t physical = 0;
    EXPECT_EQ(SbLinearToPhysical(engine, root, 3 * mebibyte, &physical), SABLE_NOT_MAPPED);
    EXPECT_GT(SABLE_NOT_MAPPED, 0);
    EXPECT_EQ(physical, UINT64_MAX);
    physical = 0;
    EXPECT_EQ(SbVirtualToPhysical(engine, root, 0x10, 3 * mebibyte, &physical), SABLE_NOT_MAPPED);
    EXPECT_EQ(physical, UINT64_MAX);
    uint8_t byte = 0;
    EXPECT_EQ(SbReadPhysicalMemory(engine, UINT64_MAX, &byte, 1, &done), SABLE_FAILED)
        << "nothing can be there";
    uint16_t number = 0;
    EXPECT_EQ(SbSetBreakPoint(engine, UINT64_MAX, &number), SABLE_FAILED);
}

TEST_F(FrontMemory, PageWalks) {
    ktSbRawPageWalk walk = {};
    EXPECT_EQ(SbWalkPageLinear(engine, root, 0x5123, &walk), SABLE_OK);
    EXPECT_EQ(walk.entryCount, 2);
    EXPECT_EQ(walk.mode, ktSbPaging32);
    EXPECT_NE(walk.isValid, 0);
    EXPECT_EQ(walk.entries[0], 0x11003u);
    EXPECT_EQ(walk.entries[1], (mebibyte + 0x5000u) | 3);
    EXPECT_EQ(SbWalkPageVirtual(engine, root, 0x10, 0x5123, &walk), SABLE_OK);
    EXPECT_EQ(walk.entries[1], (mebibyte + 0x6000u) | 3);
    EXPECT_EQ(SbWalkPageLinear(engine, root, 0x80000000, &walk), SABLE_OK);
    EXPECT_EQ(walk.entryCount, 1);
    EXPECT_EQ(walk.isValid, 0);
    EXPECT_EQ(walk.entries[1], 0u);
}

TEST_F(FrontMemory, Searches) {
    ASSERT_EQ(SbWriteLinearMemory(engine, root, 0x2FFF, "MZ", 2, nullptr), SABLE_OK);
    uint64_t hit = 0;
    EXPECT_EQ(SbSearchLinearMemory(engine, root, 0, UINT64_MAX, "MZ", 2, 1, 1, &hit), SABLE_OK);
    EXPECT_EQ(hit, 0x2FFFu);
    EXPECT_EQ(SbSearchVirtualMemory(engine, root, 0x10, 0x10, 0x10000, "MZ", 2, 1, 1, &hit), SABLE_OK);
    EXPECT_EQ(hit, 0x1FFFu) << "an offset of the segment";
    hit = 0;
    EXPECT_EQ(SbSearchVirtualMemory(engine, root, 0x10, 0x10000, 0x10, "MZ", 2, 1, 1, &hit), SABLE_OK);
    EXPECT_EQ(hit, 0x1FFFu) << "downwards";
    EXPECT_EQ(SbSearchVirtualMemory(engine, root, 0x10, 0x10000, 0x2000, "MZ", 2, 1, 1, &hit), SABLE_FAILED);
    EXPECT_EQ(SbSearchPhysicalMemory(engine, 0, UINT64_MAX, "MZ", 2, 1, 1, &hit), SABLE_OK);
    EXPECT_EQ(hit, mebibyte + 0x2FFFu);
    hit = 77;
    EXPECT_EQ(SbSearchLinearMemory(engine, root, 0, UINT64_MAX, "MZ", 2, 4096, 1, &hit), SABLE_FAILED);
    EXPECT_EQ(hit, 77u);
    EXPECT_EQ(SbSearchVirtualMemory(engine, root, 0x10, 0x2000, UINT64_MAX, "MZ", 2, 1, 1, &hit),
              SABLE_FAILED);
}

TEST_F(FrontMemory, SearchesWithBadArguments) {
    uint64_t hit = 77;
    EXPECT_EQ(SbSearchLinearMemory(engine, root, 0, 9, "MZ", 0, 1, 1, &hit), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(SbSearchLinearMemory(engine, root, 0, 9, "MZ", 4097, 1, 1, &hit), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(SbSearchLinearMemory(engine, root, 0, 9, "MZ", 2, 0, 1, &hit), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(SbSearchLinearMemory(engine, root, 0, 9, nullptr, 2, 1, 1, &hit), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(SbSearchLinearMemory(engine, root, 0, 9, "MZ", 2, 1, 1, nullptr), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(SbSearchLinearMemory(engine, root, 0, 9, "MZ", 2, 1, 2, &hit), SABLE_NOT_SUPPORTED);
    EXPECT_EQ(hit, 77u);
}

TEST_F(FrontMemory, Hashes) {
    ASSERT_EQ(SbWriteLinearMemory(engine, root, 0x1FFE, "abc", 3, nullptr), SABLE_OK);
    ktSbRawSha1 linear = {};
    ktSbRawSha1 segmented = {};
    ktSbRawSha1 physical = {};
    EXPECT_EQ(SbComputeSha1Linear(engine, root, 0x1FFE, 3, &linear, &done), SABLE_OK);
    EXPECT_EQ(done, 3u);
    EXPECT_EQ(SbComputeSha1Virtual(engine, root, 0x10, 0xFFE, 3, &segmented, nullptr), SABLE_OK);
    EXPECT_EQ(SbComputeSha1Physical(engine, mebibyte + 0x1FFE, 3, &physical, &done), SABLE_OK);
    EXPECT_EQ(linear.digest[0], 0xA9);
    EXPECT_EQ(linear.digest[19], 0x9D);
    EXPECT_EQ(std::memcmp(&linear, &segmented, sizeof linear), 0);
    EXPECT_EQ(std::memcmp(&linear, &physical, sizeof linear), 0);
    EXPECT_EQ(SbComputeSha1Linear(engine, root, 3 * mebibyte - 7, 100, &physical, &done), SABLE_FAILED);
    EXPECT_EQ(done, 7u);
    EXPECT_EQ(std::memcmp(&linear, &physical, sizeof linear), 0) << "no digest of less";
}

TEST_F(FrontMemory, PortsAndDevices) {
    uint8_t bytes[8] = {};
    EXPECT_EQ(SbReadIo(engine, 0x60, 2, bytes, 4, &done), SABLE_OK);
    EXPECT_EQ(done, 4u);
    EXPECT_EQ(bytes[0], 1);
    EXPECT_EQ(SbWriteIo(engine, 0x60, 4, bytes, 4, &done), SABLE_OK);
    EXPECT_EQ(SbWriteIo(engine, 0x60, 4, bytes, 6, &done), SABLE_BAD_ARGUMENT);
    uint32_t attribute = 9;
    EXPECT_EQ(SbReadMmioPhysical(engine, 0xFEE00000, 4, &attribute, bytes, 4, &done), SABLE_OK);
    EXPECT_EQ(attribute, 9u);
    EXPECT_EQ(SbWriteMmioPhysical(engine, 0xFEE00000, 4, nullptr, bytes, 4, &done), SABLE_OK);
    EXPECT_EQ(SbReadMmioLinear(engine, root, 0x1000, 8, &attribute, bytes, 8, &done), SABLE_OK);
    EXPECT_EQ(SbWriteMmioLinear(engine, root, 0x1000, 8, &attribute, bytes, 8, &done), SABLE_OK);
    EXPECT_EQ(SbReadMmioVirtual(engine, root, 0x10, 0x1000, 8, &attribute, bytes, 8, &done), SABLE_OK);
    EXPECT_EQ(SbWriteMmioVirtual(engine, root, 0x10, 0x1000, 8, &attribute, bytes, 8, &done), SABLE_OK);
    EXPECT_EQ(done, 8u);
}

TEST_F(FrontMemory, BreakPointsAreListedInParts) {
    uint16_t number = 0;
    for (uint64_t index = 0; index < 70; ++index) {
        EXPECT_EQ(SbSetBreakPoint(engine, index * 0x1000, &number), SABLE_OK);
        EXPECT_EQ(number, index + 1);
    }
    const ktSbRawFilter filter = {ktSbFilterRootAndAddress, {}, root, 0x1000, {}};
    uint16_t filterNumber = 0;
    for (int index = 0; index < 70; ++index)
        EXPECT_EQ(SbAddBreakPointFilter(engine, 70, &filter, &filterNumber), SABLE_OK);
    EXPECT_EQ(filterNumber, 70);

    std::vector<ktSbRawBreakPoint> records(100);
    uint16_t count = 100;
    uint16_t total = 65535;
    EXPECT_EQ(SbGetBreakPointInfo(engine, records.data(), 0, &count, &total), SABLE_OK);
    EXPECT_EQ(count, ktSbInfoCount);
    EXPECT_EQ(total, 70);
    EXPECT_EQ(records[63].number, 64);
    EXPECT_EQ(SbGetBreakPointInfo(engine, records.data(), 64, &count, nullptr), SABLE_OK);
    EXPECT_EQ(count, 6);
    EXPECT_EQ(records[5].number, 70);
    EXPECT_EQ(records[5].filterCount, 70);
    count = 2;
    EXPECT_EQ(SbGetBreakPointInfo(engine, records.data(), 3, &count, &total), SABLE_OK);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(records[1].number, 5);
    count = 0;
    EXPECT_EQ(SbGetBreakPointInfo(engine, nullptr, 0, &count, &total), SABLE_OK);
    EXPECT_EQ(total, 70);

    std::vector<ktSbRawFilter> filters(64);
    count = 64;
    EXPECT_EQ(SbGetBreakPointFilterInfo(engine, filters.data(), 70, 60, &count), SABLE_OK);
    EXPECT_EQ(count, 10);
    EXPECT_EQ(filters[9].typeOrNumber, 70);
    EXPECT_EQ(SbRemoveBreakPointFilter(engine, 70, 1), SABLE_OK);
    EXPECT_EQ(SbClearBreakPointFilters(engine, 70), SABLE_OK);
    EXPECT_EQ(SbRemoveBreakPoint(engine, 70), SABLE_OK);
    EXPECT_EQ(SbClearBreakPoints(engine), SABLE_OK);
    count = 64;
    EXPECT_EQ(SbGetBreakPointInfo(engine, records.data(), 0, &count, &total), SABLE_OK);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(total, 0);
    number = 55;
    EXPECT_EQ(SbSetBreakPoint(engine, 5 * mebibyte, &number), SABLE_FAILED);
    EXPECT_EQ(number, 55);
}
