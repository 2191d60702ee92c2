#include "symbols/unique_name.h"

#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "symbols/name_index.h"

namespace {

/// Names with their holders, and the number of times they were asked for.
class Holders {
public:
    const void *Find(const char *name) const {
        ++asked;
        const auto found = names.find(name);
        return found == names.end() ? nullptr : &found->second;
    }
    std::string Take(ktUniqueNames &unique, const std::string &name) {
        std::string buffer;
        const auto holderOf = [this](const char *text) { return Find(text); };
        const std::string picked = unique.Pick(name.c_str(), holderOf, buffer);
        names[picked] = 0;
        return picked;
    }

    std::map<std::string, int> names;
    mutable int asked = 0;
};

} // namespace

TEST(UniqueNames, AFreeNameStands) {
    ktUniqueNames unique;
    Holders holders;
    EXPECT_EQ(holders.Take(unique, "main"), "main");
    EXPECT_EQ(holders.Take(unique, ""), "");
}

TEST(UniqueNames, TheFirstFreeNumberIsTaken) {
    ktUniqueNames unique;
    Holders holders;
    holders.names = {{"f", 0}, {"f_2", 0}, {"f_3", 0}};
    EXPECT_EQ(holders.Take(unique, "f"), "f_1");
    EXPECT_EQ(holders.Take(unique, "f"), "f_4");
    EXPECT_EQ(holders.Take(unique, "f_1"), "f_1_1");
    holders.names["f_5"] = 0;
    EXPECT_EQ(holders.Take(unique, "f"), "f_6");
}

TEST(UniqueNames, AnEmptyNameGetsNumbersToo) {
    ktUniqueNames unique;
    Holders holders;
    EXPECT_EQ(holders.Take(unique, ""), "");
    EXPECT_EQ(holders.Take(unique, ""), "_1");
}

TEST(UniqueNames, ANullNameStaysNull) {
    ktUniqueNames unique;
    std::string buffer;
    const auto holderOf = [](const char *) -> const void * {
        ADD_FAILURE() << "nothing is to be asked";
        return nullptr;
    };
    EXPECT_EQ(unique.Pick(nullptr, holderOf, buffer), nullptr);
}

TEST(UniqueNames, ACandidateThatWasNotTakenIsOfferedAgain) {
    ktUniqueNames unique;
    Holders holders;
    holders.names["f"] = 0;
    std::string buffer;
    const auto holderOf = [&holders](const char *text) { return holders.Find(text); };
    EXPECT_STREQ(unique.Pick("f", holderOf, buffer), "f_1");
    EXPECT_STREQ(unique.Pick("f", holderOf, buffer), "f_1");
}

TEST(UniqueNames, ARunOfEqualNamesIsNotTriedFromTheStart) {
    ktUniqueNames unique;
    Holders holders;
    constexpr int count = 5000;
    for (int i = 0; i < count; ++i) holders.Take(unique, "f");
    EXPECT_EQ(holders.names.size(), static_cast<size_t>(count));
    EXPECT_TRUE(holders.names.count("f_4999"));
    EXPECT_LE(holders.asked, 3 * count);
}

TEST(UniqueNames, ForgettingChangesNoResult) {
    ktUniqueNames unique;
    Holders holders;
    for (int i = 0; i < 10; ++i) holders.Take(unique, "f");
    unique.Forget();
    EXPECT_EQ(holders.Take(unique, "f"), "f_10");
}

TEST(NameIndex, FindsThePlacesOfNames) {
    std::vector<std::string> names;
    for (int i = 0; i < 3000; ++i)
        names.push_back("name" + std::string(static_cast<size_t>(i % 40), 'x') + std::to_string(i));
    names.push_back("");
    const auto nameAt = [&names](uint32_t place) { return names[place].c_str(); };
    ktNameIndex index;
    EXPECT_EQ(index.Find("", nameAt), ktNameIndex::none);
    for (uint32_t place = 0; place < names.size(); ++place) {
        EXPECT_EQ(index.Find(names[place].c_str(), nameAt), ktNameIndex::none);
        index.Add(names[place].c_str(), place);
        EXPECT_EQ(index.Find(names[place].c_str(), nameAt), place);
    }

    EXPECT_EQ(index.Find("nam", nameAt), ktNameIndex::none);

    index.Clear();
    EXPECT_EQ(index.Find("", nameAt), ktNameIndex::none);
    EXPECT_EQ(index.MemoryBytes(), 0u);
}

TEST(NameIndex, ReservedRoomIsEnough) {
    const auto nameAt = [](uint32_t) { return "unused"; };
    ktNameIndex index;
    index.Reserve(1000);
    const size_t bytes = index.MemoryBytes();
    for (uint32_t place = 0; place < 1000; ++place) index.Add(std::to_string(place).c_str(), place);
    EXPECT_EQ(index.MemoryBytes(), bytes);
    EXPECT_EQ(index.Find("other", nameAt), ktNameIndex::none);
}
