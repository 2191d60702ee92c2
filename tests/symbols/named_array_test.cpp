#include "symbols/named_array.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "support/symbol_builder.h"
#include "symbols/variable.h"

namespace {

class NamedArray : public testing::Test {
protected:
    ~NamedArray() override { array.Release(); }

    ktType *Add(const std::string &name) {
        ktType *type = factory.CreateBasicType();
        type->SetName(name.c_str());
        array.Add(type, [] {});
        type->Release();
        return type;
    }
    static std::vector<uint64_t> Values(const ktNameTrie &trie) {
        std::vector<uint64_t> values;
        for (int i = 0; i < count; ++i) values.push_back(trie.FindValue(("t" + std::to_string(i)).c_str()));
        return values;
    }

    static constexpr int count = 500;
    ktSymbolFactory factory;
    ktNamedArray<ktType> array{ktNameRule::unique};
};

TEST_F(NamedArray, WithoutTheIndexItsTrieIsEmpty) {
    Add("t");
    EXPECT_EQ(array.Trie().FindValue("t"), 0u);
    EXPECT_TRUE(array.Find("t"));
}

TEST_F(NamedArray, TheTrieHoldsWhatWasAddedAfterItWasBuiltToo) {
    array.SetIndexed(true);
    ktType *first = Add("first");
    EXPECT_EQ(array.Trie().FindValue("first"), reinterpret_cast<uint64_t>(first));
    ktType *second = Add("second");
    EXPECT_EQ(array.Trie().FindValue("first"), reinterpret_cast<uint64_t>(first));
    EXPECT_EQ(array.Trie().FindValue("second"), reinterpret_cast<uint64_t>(second));
    array.SetIndexed(false);
    EXPECT_EQ(array.Trie().FindValue("first"), 0u);
}

TEST_F(NamedArray, TwoThreadsThatAskFirstAtOnceGetTheSameTrie) {
    array.SetIndexed(true);
    std::vector<uint64_t> expected;
    for (int i = 0; i < count; ++i)
        expected.push_back(reinterpret_cast<uint64_t>(Add("t" + std::to_string(i))));
    for (int round = 0; round < 20; ++round) {
        array.SetIndexed(true); // drops the trie
        const ktNameTrie *tries[2] = {};
        std::vector<uint64_t> values[2];
        std::thread threads[2];
        for (int i = 0; i < 2; ++i) {
            threads[i] = std::thread([this, i, &tries, &values] {
                tries[i] = &array.Trie();
                values[i] = Values(*tries[i]);
            });
        }
        for (std::thread &thread : threads) thread.join();
        EXPECT_EQ(tries[0], tries[1]);
        EXPECT_EQ(values[0], expected);
        EXPECT_EQ(values[1], expected);
    }
}

TEST_F(NamedArray, RenamedObjectsOfTheArenaKeepTheirNamesInTheArena) {
    ktArena arena;
    ktNamedArray<ktType> inArena(ktNameRule::unique, &arena);
    for (int i = 0; i < 3; ++i) {
        auto *type = arena.Make<ktBasicType>(uint64_t(i));
        type->SetInArena();
        type->LendName("same");
        ASSERT_TRUE(inArena.Add(static_cast<ktType *>(type), [] {}));
    }
    EXPECT_FALSE(inArena.HasHeapObjects());
    EXPECT_STREQ(inArena.Items()[1]->GetName(), "same_1");
    EXPECT_STREQ(inArena.Items()[2]->GetName(), "same_2");
    EXPECT_EQ(inArena.Find("same_2"), inArena.Items()[2]);
    inArena.Release();
}

} // namespace
