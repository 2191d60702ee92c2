#include "core/interface_name.h"

#include <cstdint>

#include <gtest/gtest.h>

namespace {

constexpr uint64_t mebibyte = 1 << 20;

/// Bytes of RAM, or 0 for a text that is no interface name.
uint64_t Ram(std::string_view text) {
    sable::MachineSettings settings;
    settings.ramBytes = 1;
    const bool isName = sable::ParseInterfaceName(text, settings);
    EXPECT_EQ(isName, settings.ramBytes != 1);
    return isName ? settings.ramBytes : 0;
}

} // namespace

TEST(InterfaceName, DemoHas64MebibytesOfRam) { EXPECT_EQ(Ram("demo"), 64 * mebibyte); }

TEST(InterfaceName, RamIsGivenInMebibytesOrGibibytes) {
    EXPECT_EQ(Ram("demo,ram=128M"), 128 * mebibyte);
    EXPECT_EQ(Ram("demo,ram=1G"), 1024 * mebibyte);
    EXPECT_EQ(Ram("demo,ram=0032M"), 32 * mebibyte);
}

TEST(InterfaceName, RamHasLimits) {
    EXPECT_EQ(Ram("demo,ram=16M"), 16 * mebibyte);
    EXPECT_EQ(Ram("demo,ram=15M"), 0u);
    EXPECT_EQ(Ram("demo,ram=2G"), 2048 * mebibyte);
    EXPECT_EQ(Ram("demo,ram=2049M"), 0u);
    EXPECT_EQ(Ram("demo,ram=4294967295G"), 0u);
    EXPECT_EQ(Ram("demo,ram=4294967296M"), 0u);
    EXPECT_EQ(Ram("demo,ram=18446744073709551616M"), 0u);
}

TEST(InterfaceName, AGuestIsGivenByName) {
    sable::MachineSettings settings;
    EXPECT_TRUE(sable::ParseInterfaceName("demo", settings));
    EXPECT_EQ(settings.guest, "demo");
    EXPECT_TRUE(sable::ParseInterfaceName("demo,guest=demo32", settings));
    EXPECT_EQ(settings.guest, "demo32");
    EXPECT_TRUE(sable::ParseInterfaceName("demo,guest=demopae,ram=32M", settings));
    EXPECT_EQ(settings.guest, "demopae");
    EXPECT_EQ(settings.ramBytes, 32 * mebibyte);
    EXPECT_FALSE(sable::ParseInterfaceName("demo,guest=demo32,guest=demo32", settings));
    EXPECT_EQ(settings.guest, "demopae");
}

TEST(InterfaceName, AnythingElseIsNone) {
    for (const char *text : {"",
                             "Demo",
                             "demo ",
                             " demo",
                             "demo,",
                             "demo,,ram=64M",
                             "demo,ram",
                             "demo,ram=",
                             "demo,ram=M",
                             "demo,ram=64",
                             "demo,ram=64m",
                             "demo,ram=-64M",
                             "demo,ram=+64M",
                             "demo,ram=64M,",
                             "demo,ram=64M,ram=64M",
                             "demo,ram=64MM",
                             "demo,ram=6 4M",
                             "demo,RAM=64M",
                             "demo,cores=2",
                             "demo,=64M",
                             "demo,ram=64M=1",
                             "demo2",
                             "demo32",
                             "demo,guest",
                             "demo,guest=",
                             "demo,guest=Demo",
                             "demo,guest=demo32x",
                             "demoram=64M",
                             ",demo",
                             "ram=64M"}) {
        EXPECT_EQ(Ram(text), 0u) << text;
    }
}
