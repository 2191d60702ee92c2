#include "symbols/object.h"

#include <cstddef>
#include <new>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "symbols/symbol_factory.h"
#include "symbols/types.h"

namespace {

/// Records its end, and releases others as an owner does.
class Probe final : public ktObject {
public:
    Probe(uint64_t id, std::vector<uint64_t> &ends) : ktObject(id), ended(ends) {}
    ~Probe() override {
        ReleaseAll(children);
        ended.push_back(GetId());
    }

    Kind GetKind() const override { return kindVariable; }

    std::vector<Probe *> children;

private:
    std::vector<uint64_t> &ended;
};

/// Survives its own end, so that the count can be looked at afterwards.
class Undying final : public ktObject {
public:
    explicit Undying(uint64_t id) : ktObject(id) {}

    Kind GetKind() const override { return kindFunction; }
    void Destroy(uint32_t flags) override { destroyFlags.push_back(flags); }

    std::vector<uint32_t> destroyFlags;
};

} // namespace

TEST(Object, IsBornWithOneReference) {
    const Undying object(7);
    EXPECT_EQ(object.RefCount(), 1u);
    EXPECT_EQ(object.GetId(), 7u);
}

TEST(Object, TheLastReleaseDestroysAndFrees) {
    Undying object(1);
    EXPECT_TRUE(object.AddRef());
    object.Release();
    EXPECT_TRUE(object.destroyFlags.empty());
    object.Release();
    EXPECT_EQ(object.destroyFlags, std::vector<uint32_t>{ktObject::destroyFree});
    EXPECT_EQ(object.RefCount(), 0u);
}

TEST(Object, AddRefAfterTheEndFailsAndTheCountStaysZero) {
    Undying object(1);
    object.Release();
    EXPECT_FALSE(object.AddRef());
    EXPECT_EQ(object.RefCount(), 0u);
}

TEST(Object, ReleaseAfterTheEndDoesNothing) {
    Undying object(1);
    object.Release();
    object.Release();
    EXPECT_EQ(object.RefCount(), 0u);
    EXPECT_EQ(object.destroyFlags.size(), 1u);
}

TEST(Object, DestroyWithoutTheFlagKeepsTheMemory) {
    std::vector<uint64_t> ended;
    alignas(Probe) std::byte memory[sizeof(Probe)];
    auto *probe = new (memory) Probe(3, ended);
    probe->Destroy(0);
    EXPECT_EQ(ended, std::vector<uint64_t>{3});
}

TEST(Object, ChildrenGoInArrayOrderAheadOfTheEndOfTheirOwner) {
    std::vector<uint64_t> ended;
    auto *owner = new Probe(1, ended);
    auto *first = new Probe(2, ended);
    first->children = {new Probe(3, ended), new Probe(4, ended)};
    owner->children = {first, new Probe(5, ended)};
    owner->Release();
    EXPECT_EQ(ended, (std::vector<uint64_t>{3, 4, 2, 5, 1}));
}

TEST(Object, AChainOfAMillionGoesWithoutAStackToMatch) {
    constexpr uint64_t length = 1000000;
    std::vector<uint64_t> ended;
    Probe *chain = nullptr;
    for (uint64_t id = 0; id < length; ++id) {
        auto *probe = new Probe(id, ended);
        if (chain) probe->children.push_back(chain);
        chain = probe;
    }
    chain->Release();
    EXPECT_EQ(ended.size(), length);
}

TEST(Object, AWideAndDeepTreeGoesWhole) {
    std::vector<uint64_t> ended;
    std::vector<Probe *> level{new Probe(0, ended)};
    Probe *root = level[0];
    uint64_t made = 1;
    for (int depth = 0; depth < 300; ++depth) { // a spine with two leaves at each of its joints
        Probe *joint = level.back();
        for (int i = 0; i < 3; ++i) joint->children.push_back(new Probe(made++, ended));
        level.push_back(joint->children[1]);
    }
    root->Release();
    EXPECT_EQ(ended.size(), made);
}

TEST(Object, LongChainsOfTypesGoWithoutAStackToMatch) {
    constexpr int length = 1000000;
    ktSymbolFactory factory;
    std::vector<uint64_t> ended;
    ktObject *chain = new Probe(1, ended);
    for (int i = 0; i < length; ++i) {
        switch (i % 3) {
        case 0: {
            auto *alias = factory.CreateAliasType();
            alias->target.SetObject(chain);
            chain = alias;
            break;
        }
        case 1: {
            auto *modified = factory.CreateModifiedType();
            modified->target.SetObject(chain);
            chain = modified;
            break;
        }
        default: {
            auto *array = factory.CreateArrayType();
            array->elementType.SetObject(chain);
            chain = array;
            break;
        }
        }
    }
    chain->Release();
    EXPECT_EQ(ended.size(), 1u);
}

TEST(Object, CountsHoldAcrossThreads) {
    Undying object(1);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&object] {
            for (int n = 0; n < 20000; ++n) {
                if (object.AddRef()) object.Release();
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(object.RefCount(), 1u);
    EXPECT_TRUE(object.destroyFlags.empty());
}

TEST(Object, OfManyThreadsThatReleaseOneDestroys) {
    for (int round = 0; round < 50; ++round) {
        Undying object(1);
        constexpr int count = 4;
        for (int i = 1; i < count; ++i) ASSERT_TRUE(object.AddRef());
        std::vector<std::thread> threads;
        for (int i = 0; i < count; ++i) threads.emplace_back([&object] { object.Release(); });
        for (std::thread &thread : threads) thread.join();
        ASSERT_EQ(object.destroyFlags.size(), 1u);
    }
}

TEST(Ref, DropsItsReferenceAtTheEnd) {
    Undying object(1);
    ASSERT_TRUE(object.AddRef());
    {
        ktRef<Undying> first(&object);
        ktRef<Undying> second(std::move(first));
        EXPECT_FALSE(first);
        EXPECT_EQ(second.Get(), &object);
        EXPECT_EQ(object.RefCount(), 2u);
    }
    EXPECT_EQ(object.RefCount(), 1u);
}

TEST(Ref, DetachHandsTheReferenceOver) {
    Undying object(1);
    {
        ktRef<Undying> reference(&object);
        EXPECT_EQ(reference.Detach(), &object);
    }
    EXPECT_EQ(object.RefCount(), 1u);
}

TEST(OwnedText, CopiesAndKeepsTheOldTextForNull) {
    char source[] = "main";
    ktOwnedText text;
    EXPECT_EQ(text.Get(), nullptr);
    EXPECT_FALSE(text.Assign(nullptr));
    EXPECT_EQ(text.Get(), nullptr);
    EXPECT_TRUE(text.Assign(source));
    source[0] = 'p';
    EXPECT_STREQ(text.Get(), "main");
    EXPECT_FALSE(text.Assign(static_cast<const char *>(nullptr)));
    EXPECT_STREQ(text.Get(), "main");
    EXPECT_TRUE(text.Assign(""));
    EXPECT_STREQ(text.Get(), "");
}

TEST(OwnedText, TakesAPartOfALongerText) {
    ktOwnedText text;
    EXPECT_TRUE(text.Assign(std::string_view("mainly", 4)));
    EXPECT_STREQ(text.Get(), "main");
    EXPECT_TRUE(text.Assign(text.Get() + 1));
    EXPECT_STREQ(text.Get(), "ain");
}

TEST(TypeRef, KeepsItsThreeStatesApart) {
    Undying object(1);
    ktTypeRef reference;
    EXPECT_TRUE(reference.IsNone());
    EXPECT_FALSE(reference.IsUnresolved());
    EXPECT_EQ(reference.Object(), nullptr);

    reference.SetOffset(0);
    EXPECT_FALSE(reference.IsNone());
    EXPECT_TRUE(reference.IsUnresolved());
    EXPECT_EQ(reference.Object(), nullptr);
    EXPECT_EQ(reference.Offset(), 0u);
    reference.SetOffset(0x7FFFFFFFFFFFFFFF);
    EXPECT_EQ(reference.Offset(), 0x7FFFFFFFFFFFFFFFu);
    EXPECT_EQ(reference.Word(), -1);

    reference.SetObject(&object);
    EXPECT_FALSE(reference.IsNone());
    EXPECT_FALSE(reference.IsUnresolved());
    EXPECT_EQ(reference.Object(), &object);
    EXPECT_EQ(object.RefCount(), 1u) << "the word itself counts nothing";
}

TEST(TypeRef, ReleaseDropsTheReferenceOfAnObjectOnly) {
    Undying object(1);
    ktTypeRef reference;
    reference.Release();
    reference.SetOffset(5);
    reference.Release();
    EXPECT_TRUE(reference.IsNone());
    reference.SetObject(&object);
    reference.Release();
    EXPECT_TRUE(reference.IsNone());
    EXPECT_EQ(object.RefCount(), 0u);
}
