#include "platform/host.h"

#include <gtest/gtest.h>

#include <cpuid.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

TEST(Host, PhysicalMemoryIsWhatTheKernelReports) {
    uint64_t bytes = 0;
    ASSERT_TRUE(SystemHost().PhysicalMemory(bytes));
    std::ifstream facts("/proc/meminfo");
    std::string name;
    uint64_t kibibytes = 0;
    facts >> name >> kibibytes;
    ASSERT_EQ(name, "MemTotal:");
    EXPECT_EQ(bytes / 1024, kibibytes);
}

TEST(Host, ThereIsAtLeastOneProcessor) {
    EXPECT_GE(SystemHost().ProcessorCount(), 1u);
    EXPECT_GE(SystemHost().ProcessorCount(), std::thread::hardware_concurrency());
}

TEST(Host, CpuIdTellsTheVendorAsText) {
    uint32_t out[4] = {};
    ASSERT_TRUE(SystemHost().CpuId(0, 0, out));
    EXPECT_GE(out[0], 1u);
    char vendor[13] = {};
    std::memcpy(vendor, &out[1], 4);
    std::memcpy(vendor + 4, &out[3], 4);
    std::memcpy(vendor + 8, &out[2], 4);
    for (int i = 0; i < 12; ++i) EXPECT_TRUE(vendor[i] >= ' ' && vendor[i] <= '~') << i;
}

TEST(Host, CpuIdPassesTheSubleafOn) {
    // Leaves with subleaves that differ, where the processor has them, and are the same on every core.
    for (const uint32_t leaf : {4u, 7u, 0xDu}) {
        for (const uint32_t subleaf : {0u, 1u, 2u, 3u}) {
            uint32_t out[4] = {};
            uint32_t wanted[4] = {};
            ASSERT_TRUE(SystemHost().CpuId(leaf, subleaf, out));
            __cpuid_count(leaf, subleaf, wanted[0], wanted[1], wanted[2], wanted[3]);
            for (int i = 0; i < 4; ++i) EXPECT_EQ(out[i], wanted[i]) << leaf << " " << subleaf << " " << i;
        }
    }
}

TEST(Host, TheLastErrorIsTheCallingThreads) {
    errno = ENOENT;
    EXPECT_EQ(LastSystemError(), uint32_t(ENOENT));
    std::thread([] {
        errno = 0;
        EXPECT_EQ(LastSystemError(), 0u);
    }).join();
    EXPECT_EQ(LastSystemError(), uint32_t(ENOENT));
}

TEST(Host, TheCommandLineKeepsItsBytes) {
    std::string out = "old";
    EXPECT_TRUE(CommandLineToNarrow("a  \"b\" \xC3\xA9\xFF", out));
    EXPECT_EQ(out, "a  \"b\" \xC3\xA9\xFF");
    EXPECT_TRUE(CommandLineToNarrow("", out));
    EXPECT_EQ(out, "");
}

TEST(Host, ANullCommandLineFailsWithAnError) {
    std::string out = "old";
    errno = 0;
    EXPECT_FALSE(CommandLineToNarrow(nullptr, out));
    EXPECT_NE(LastSystemError(), 0u);
    EXPECT_EQ(out, "");
}
