#include "symbols/object_list.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

using List = ktObjectList<int>;

std::vector<int *> Items(const List &list) { return {list.begin(), list.end()}; }

TEST(ObjectList, GrowsInOrder) {
    List list;
    std::vector<int> numbers(1000);
    std::vector<int *> expected;
    EXPECT_TRUE(list.empty());
    for (int &number : numbers) {
        list.push_back(&number);
        expected.push_back(&number);
        ASSERT_EQ(list.back(), &number);
    }
    EXPECT_EQ(list.size(), 1000u);
    EXPECT_EQ(Items(list), expected);
    EXPECT_EQ(list[999], &numbers[999]);
}

TEST(ObjectList, IsEmptyAndUsableAfterClear) {
    List list;
    int number = 0;
    list.push_back(&number);
    list.clear();
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.begin(), list.end());
    list.push_back(&number);
    EXPECT_EQ(list.size(), 1u);
}

TEST(ObjectList, ALentArrayIsUsedAndNotFreed) {
    int a = 0, b = 0;
    int *lasting[] = {&a, &b};
    {
        List list;
        int c = 0;
        list.push_back(&c); // its own array goes
        list.Lend(lasting, 2);
        EXPECT_EQ(Items(list), (std::vector<int *>{&a, &b}));
    }
    EXPECT_EQ(lasting[0], &a);
}

TEST(ObjectList, GrowingALentArrayCopiesItAndLeavesItAsItIs) {
    int a = 0, b = 0, c = 0;
    int *lasting[] = {&a, &b};
    List list;
    list.Lend(lasting, 2);
    list.push_back(&c);
    EXPECT_EQ(Items(list), (std::vector<int *>{&a, &b, &c}));
    EXPECT_EQ(lasting[0], &a);
    EXPECT_EQ(lasting[1], &b);
    list.clear();
    EXPECT_TRUE(list.empty());
}

TEST(ObjectList, AnEmptyLentArrayIsEmpty) {
    List list;
    list.Lend(nullptr, 0);
    EXPECT_TRUE(list.empty());
    int a = 0;
    list.push_back(&a);
    EXPECT_EQ(list.size(), 1u);
}

TEST(ObjectList, TakesAListOfObjects) {
    int a = 0, b = 0;
    List list;
    list = {&a, &b};
    list = {&b};
    EXPECT_EQ(Items(list), std::vector<int *>{&b});
}

} // namespace
