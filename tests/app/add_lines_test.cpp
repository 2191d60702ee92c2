#include "app/circular_lines.h"
#include "app/log_lines.h"
#include "support/recording_lines.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Texts = std::vector<const char *>;

std::vector<std::string> AllOf(const ktLines &lines) {
    std::vector<std::string> all;
    for (uint64_t i = 0; i < lines.GetLineCount(); ++i) all.emplace_back(lines.GetLine(i));
    return all;
}

/// A store gets the same lines by AddLines and one by one.
template <class Store>
void ExpectTheSame(Store &together, Store &oneByOne, const Texts &texts) {
    together.AddLines(texts);
    for (const char *text : texts) oneByOne.AddLine(text);
    EXPECT_EQ(AllOf(together), AllOf(oneByOne));
}

TEST(AddLines, AnyStoreAddsThemInOrder) {
    ktRecordingLines together, oneByOne;
    ExpectTheSame(together, oneByOne, {"a", "", "b", "a"});
    ExpectTheSame(together, oneByOne, {});
    ExpectTheSame(together, oneByOne, {"c"});
    EXPECT_EQ(together.lines.size(), 5u);
}

TEST(AddLines, AGrowingStoreAddsThemInOrder) {
    ktLogLines together, oneByOne;
    ExpectTheSame(together, oneByOne, {"a", "", "b", "a"});
    EXPECT_EQ(AllOf(together), (std::vector<std::string>{"a", "", "b", "a"}));
}

TEST(AddLines, AStoreWithoutItsBufferRefusesThemAll) {
    ktCircularLines lines;
    lines.AddLines(Texts{"a", "b"});
    EXPECT_EQ(lines.GetLineCount(), 0u);
}

TEST(AddLines, AStoreOfFixedSizeDropsTheSameLines) {
    const std::string longText(500, 'x');
    const std::string tooLong(ktCircularLines::capacity, 'y');
    Texts texts{nullptr, tooLong.c_str(), ""};
    for (int i = 0; i < 2000; ++i) texts.push_back(i % 2 == 0 ? longText.c_str() : "short");
    ktCircularLines together, oneByOne;
    ASSERT_TRUE(together.Reserve() && oneByOne.Reserve());
    for (int round = 0; round < 5; ++round) ExpectTheSame(together, oneByOne, texts);
    EXPECT_EQ(together.GetAddedCount(), 5u * 2001);
    EXPECT_LT(together.GetLineCount(), 5u * 2001);
    EXPECT_STREQ(together.GetLine(together.GetLineCount() - 1), "short");
}

} // namespace
