#include "gui/monitor_list.h"

#include <cstdint>

#include <gtest/gtest.h>

#include "support/fake_window_system.h"

namespace {

class MonitorList : public testing::Test {
protected:
    ktFakeWindowSystem system;
    ktMonitorList list{system};
};

TEST_F(MonitorList, KeepsRectangleAndWorkSize) {
    system.monitors = {{-1280, 56, 1280, 1024, 1270, 1000}};
    ASSERT_TRUE(list.Enumerate());
    ASSERT_EQ(list.monitors.size(), 1u);
    const ktMonitorInfo &monitor = list.monitors[0];
    EXPECT_EQ(monitor.valid, 1u);
    EXPECT_EQ(monitor.x, static_cast<uint32_t>(-1280));
    EXPECT_EQ(monitor.y, 56u);
    EXPECT_EQ(monitor.w, 1280u);
    EXPECT_EQ(monitor.h, 1024u);
    EXPECT_EQ(monitor.work_w, 1270u);
    EXPECT_EQ(monitor.work_h, 1000u);
    for (const uint32_t *reserved : {monitor.reserved_before_work, monitor.reserved_after_work}) {
        EXPECT_EQ(reserved[0], 0u);
        EXPECT_EQ(reserved[1], 0u);
    }
}

TEST_F(MonitorList, IsTakenAnewEachTime) {
    ASSERT_TRUE(list.Enumerate());
    ASSERT_TRUE(list.Enumerate());
    EXPECT_EQ(list.monitors.size(), 1u);
    system.monitors.clear();
    EXPECT_TRUE(list.Enumerate());
    EXPECT_TRUE(list.monitors.empty());
}

TEST_F(MonitorList, IsEmptyWhenTheSystemCannotTell) {
    ASSERT_TRUE(list.Enumerate());
    system.tellsMonitors = false;
    EXPECT_FALSE(list.Enumerate());
    EXPECT_TRUE(list.monitors.empty());
    EXPECT_EQ(list.Primary(), nullptr);
    EXPECT_EQ(list.AtColumn(100), nullptr);
}

TEST_F(MonitorList, ThePrimaryIsTheFirstThatHoldsTheOriginOrItsEdgeDoes) {
    system.monitors = {
        {-1920, -1080, 1919, 1080, 1, 1}, {-1280, 0, 1280, 1024, 2, 2}, {0, 0, 1920, 1080, 3, 3}};
    ASSERT_TRUE(list.Enumerate());
    EXPECT_EQ(list.Primary(), &list.monitors[1]);
    system.monitors = {{10, 0, 1920, 1080, 1, 1}, {0, 10, 1920, 1080, 2, 2}};
    ASSERT_TRUE(list.Enumerate());
    EXPECT_EQ(list.Primary(), nullptr);
}

TEST_F(MonitorList, AColumnOnAnEdgeBelongsToNoMonitor) {
    system.monitors = {{0, 0, 1920, 1080, 1920, 1080}, {1920, 0, 1280, 1024, 1280, 1024}};
    ASSERT_TRUE(list.Enumerate());
    EXPECT_EQ(list.AtColumn(0), nullptr);
    EXPECT_EQ(list.AtColumn(1), &list.monitors[0]);
    EXPECT_EQ(list.AtColumn(1919), &list.monitors[0]);
    EXPECT_EQ(list.AtColumn(1920), nullptr);
    EXPECT_EQ(list.AtColumn(1921), &list.monitors[1]);
    EXPECT_EQ(list.AtColumn(3200), nullptr);
    EXPECT_EQ(list.AtColumn(-5), nullptr);
}

} // namespace
