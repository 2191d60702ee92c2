#include "platform/linux/window/work_area.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

constexpr ktScreenArea whole{0, 0, 1920, 1080};
// Two monitors side by side, the right one smaller; the screen is what holds both.
constexpr ktScreenArea leftMonitor{0, 0, 1920, 1080};
constexpr ktScreenArea rightMonitor{1920, 0, 1280, 1024};
constexpr int64_t bothW = 3200;
constexpr int64_t bothH = 1080;

ktStrut Strut(const std::vector<uint32_t> &numbers) {
    ktStrut strut;
    EXPECT_TRUE(StrutOf(numbers, strut));
    return strut;
}

ktScreenArea WithStrut(const ktScreenArea &monitor, const std::vector<uint32_t> &numbers) {
    return WorkAreaOf(monitor, {}, {Strut(numbers)}, bothW, bothH);
}

} // namespace

TEST(WorkArea, WithoutPanelsItIsTheMonitor) { EXPECT_EQ(WorkAreaOf(whole, {}, {}, 1920, 1080), whole); }

TEST(WorkArea, APublishedAreaWins) {
    const std::vector<ktStrut> struts = {Strut({0, 0, 100, 0})};
    const ktScreenArea area{0, 27, 1920, 1013};
    EXPECT_EQ(WorkAreaOf(whole, {area}, struts, 1920, 1080), area);
}

TEST(WorkArea, EachMonitorTakesThePublishedAreaThatCoversMostOfIt) {
    const ktScreenArea first{0, 30, 1920, 1050};
    const ktScreenArea second{1910, 0, 1290, 1000}; // ten pixels of it lie on the left monitor
    for (const std::vector<ktScreenArea> &areas : {std::vector{first, second}, std::vector{second, first}}) {
        EXPECT_EQ(WorkAreaOf(leftMonitor, areas, {}, bothW, bothH), first);
        EXPECT_EQ(WorkAreaOf(rightMonitor, areas, {}, bothW, bothH), (ktScreenArea{1920, 0, 1280, 1000}));
    }
}

TEST(WorkArea, APublishedAreaOfAnotherMonitorDoesNotCount) {
    const std::vector<ktScreenArea> areas = {{0, 30, 1920, 1050}};
    EXPECT_EQ(WorkAreaOf(rightMonitor, areas, {}, bothW, bothH), rightMonitor);
    EXPECT_EQ(WorkAreaOf(rightMonitor, areas, {Strut({0, 0, 24, 0})}, bothW, bothH),
              (ktScreenArea{1920, 24, 1280, 1000}));
}

TEST(WorkArea, PanelsTakeFromEachEdge) {
    const ktStrut strut = Strut({10, 20, 30, 40});
    EXPECT_EQ(WorkAreaOf(whole, {}, {strut}, 1920, 1080), (ktScreenArea{10, 30, 1890, 1010}));
}

TEST(WorkArea, OfSeveralPanelsTheWidestCounts) {
    const std::vector<ktStrut> struts = {Strut({0, 0, 30, 0}), Strut({0, 0, 24, 0}), Strut({64, 0, 0, 0})};
    EXPECT_EQ(WorkAreaOf(whole, {}, struts, 1920, 1080), (ktScreenArea{64, 30, 1856, 1050}));
}

TEST(WorkArea, APanelCountsWhereItsStretchIs) {
    // Along the top, over the left monitor alone, its last column counted in.
    const std::vector<uint32_t> top = {0, 0, 24, 0, 0, 0, 0, 0, 0, 1919, 0, 0};
    EXPECT_EQ(WithStrut(leftMonitor, top), (ktScreenArea{0, 24, 1920, 1056}));
    EXPECT_EQ(WithStrut(rightMonitor, top), rightMonitor);
    const std::vector<uint32_t> onePixelMore = {0, 0, 24, 0, 0, 0, 0, 0, 0, 1920, 0, 0};
    EXPECT_EQ(WithStrut(rightMonitor, onePixelMore), (ktScreenArea{1920, 24, 1280, 1000}));
}

TEST(WorkArea, TheBottomIsMeasuredFromTheScreensEdge) {
    // A panel of 40 pixels below the smaller monitor, which ends 56 pixels above the screen.
    const std::vector<uint32_t> bottom = {0, 0, 0, 96, 0, 0, 0, 0, 0, 0, 1920, 3199};
    EXPECT_EQ(WithStrut(rightMonitor, bottom), (ktScreenArea{1920, 0, 1280, 984}));
    EXPECT_EQ(WithStrut(leftMonitor, bottom), leftMonitor);
}

TEST(WorkArea, APanelBetweenMonitorsLeavesTheOuterOneWhole) {
    // At the left edge of the right monitor; counted from the screen's edge it covers the left monitor too.
    const std::vector<uint32_t> left = {1920 + 50, 0, 0, 0, 0, 1023, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(WithStrut(leftMonitor, left), leftMonitor);
    EXPECT_EQ(WithStrut(rightMonitor, left), (ktScreenArea{1970, 0, 1230, 1024}));
    // And at the right edge of the left one.
    const std::vector<uint32_t> right = {0, 1280 + 50, 0, 0, 0, 0, 0, 1079, 0, 0, 0, 0};
    EXPECT_EQ(WithStrut(leftMonitor, right), (ktScreenArea{0, 0, 1870, 1080}));
    EXPECT_EQ(WithStrut(rightMonitor, right), rightMonitor);
}

TEST(WorkArea, PanelsThatLeaveNothingAreIgnored) {
    const std::vector<ktStrut> struts = {Strut({1000, 1000, 0, 0})};
    EXPECT_EQ(WorkAreaOf(whole, {}, struts, 1920, 1080), whole);
    const uint32_t huge = UINT32_MAX;
    EXPECT_EQ(WorkAreaOf(whole, {}, {Strut({huge, huge, huge, huge})}, 1920, 1080), whole);
}

TEST(WorkArea, FourNumbersCountAlongWholeEdges) {
    EXPECT_EQ(WithStrut(leftMonitor, {0, 0, 24, 0}), (ktScreenArea{0, 24, 1920, 1056}));
    EXPECT_EQ(WithStrut(rightMonitor, {0, 0, 24, 0}), (ktScreenArea{1920, 24, 1280, 1000}));
    EXPECT_EQ(WithStrut(leftMonitor, {0, 0, 24, 0, 9, 9, 9}), (ktScreenArea{0, 24, 1920, 1056}));
}

TEST(WorkArea, FewerThanFourNumbersAreNoPanel) {
    ktStrut strut;
    EXPECT_FALSE(StrutOf({}, strut));
    EXPECT_FALSE(StrutOf({1, 2, 3}, strut));
}

TEST(WorkArea, AreasAreReadFourNumbersEach) {
    const std::vector<ktScreenArea> wanted = {{0, 27, 1920, 1013}, {-10, -20, 30, 40}};
    EXPECT_EQ(AreasOf({0, 27, 1920, 1013, 0u - 10, 0u - 20, 30, 40}), wanted);
    EXPECT_EQ(AreasOf({0, 27, 1920, 1013, 0u - 10, 0u - 20, 30, 40, 1, 2, 3}), wanted);
    EXPECT_TRUE(AreasOf({}).empty());
    EXPECT_TRUE(AreasOf({1, 2, 3}).empty());
}

TEST(WorkArea, EmptyAreasAreLeftOut) {
    EXPECT_TRUE(AreasOf({0, 0, 0, 100, 0, 0, 100, 0, 0, 0, 0u - 5, 100}).empty());
}

TEST(WorkArea, TheLargestNumbersDoNoHarm) {
    const uint32_t largest = INT32_MAX;
    const std::vector<ktScreenArea> areas =
        AreasOf({largest, largest, largest, largest, 0u - 5, 0, largest, largest});
    EXPECT_EQ(WorkAreaOf(whole, areas, {}, 1920, 1080), whole);
}
