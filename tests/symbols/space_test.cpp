#include "symbols/space.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/byte_patch.h"
#include "symbols/comp_unit.h"
#include "symbols/module.h"
#include "symbols/space_list.h"
#include "symbols/symbol_factory.h"

namespace {

class Space : public testing::Test {
protected:
    Space() : space(0, nullptr) {}

    ktRef<ktModule> Make(const char *name, uint64_t base = 0, uint64_t size = 0) {
        ktRef<ktModule> module(factory.CreateModule());
        module->name.Assign(name);
        module->base = base;
        module->size = size;
        return module;
    }
    ktModule *Add(const char *name, uint64_t base = 0, uint64_t size = 0) {
        ktRef<ktModule> module = Make(name, base, size);
        EXPECT_TRUE(space.AddModule(module.Get()));
        return module.Get();
    }
    std::string Names() const {
        std::string names;
        for (const ktModule *module : space.Modules()) names += std::string(module->name.Get()) + " ";
        return names;
    }

    ktSymbolFactory factory;
    ktSpace space;
};

TEST_F(Space, HoldsModulesInTheOrderOfLoading) {
    ktModule *first = Add("b");
    ktModule *second = Add("a");
    EXPECT_EQ(space.ModuleCount(), 2u);
    EXPECT_EQ(space.GetModule(0), first);
    EXPECT_EQ(space.GetModule(1), second);
    EXPECT_EQ(space.GetModule(2), nullptr);
    EXPECT_EQ(space.GetModule(~uint64_t(0)), nullptr);
    EXPECT_EQ(space.ModuleNames().FindValue("a"), reinterpret_cast<uint64_t>(second));
}

TEST_F(Space, TakesOneReferenceAndDropsItAtTheEnd) {
    ktRef<ktModule> module = Make("m");
    {
        ktSpace other(7, nullptr);
        EXPECT_EQ(other.Key(), 7u);
        ASSERT_TRUE(other.AddModule(module.Get()));
        EXPECT_EQ(module->RefCount(), 2u);
    }
    EXPECT_EQ(module->RefCount(), 1u);
}

TEST_F(Space, NullAndNamelessModulesAreRefused) {
    EXPECT_FALSE(space.AddModule(nullptr));
    const ktRef<ktModule> nameless(new ktModule(1));
    EXPECT_FALSE(space.AddModule(nameless.Get()));
    EXPECT_EQ(nameless->RefCount(), 1u);
    EXPECT_EQ(space.ModuleCount(), 0u);
}

TEST_F(Space, EqualNamesAreMadeUnique) {
    Add("boot");
    Add("boot");
    Add("boot");
    Add("boot_1");
    EXPECT_EQ(Names(), "boot boot_1 boot_2 boot_1_1 ");
    EXPECT_EQ(space.ModuleNames().KeyCount(), 4u);
}

TEST_F(Space, ANameThatWasFreedIsUsedAgain) {
    Add("boot");
    ktModule *second = Add("boot");
    Add("boot");
    space.RemoveModule(second);
    Add("boot");
    EXPECT_EQ(Names(), "boot boot_2 boot_1 ");
}

TEST_F(Space, NamesThatTheTrieRefusesAreUniqueAndFoundAllTheSame) {
    ktModule *first = Add("b\xC3\xBC"
                          "cher");
    ktModule *second = Add("b\xC3\xBC"
                           "cher");
    EXPECT_EQ(Names(), "b\xC3\xBC"
                       "cher b\xC3\xBC"
                       "cher_1 ");
    EXPECT_EQ(space.FindModule("b\xC3\xBC"
                               "cher"),
              first);
    EXPECT_EQ(space.FindModule("b\xC3\xBC"
                               "cher_1"),
              second);
    EXPECT_EQ(space.ModuleNames().KeyCount(), 0u);
    space.RemoveModule(first);
    EXPECT_EQ(space.FindModule("b\xC3\xBC"
                               "cher"),
              nullptr);
}

TEST_F(Space, AnEmptyNameIsAName) {
    ktModule *module = Add("");
    Add("");
    EXPECT_EQ(Names(), " _1 ");
    EXPECT_EQ(space.FindModule(""), module);
    space.RemoveModule(module);
    EXPECT_EQ(space.FindModule(""), nullptr);
}

TEST_F(Space, NamesAreCaseSensitive) {
    Add("Boot");
    EXPECT_NE(space.FindModule("Boot"), nullptr);
    EXPECT_EQ(space.FindModule("boot"), nullptr);
    EXPECT_EQ(space.FindModule("Boo"), nullptr);
}

TEST_F(Space, RemovingKeepsTheOrderAndFreesTheName) {
    Add("a");
    ktModule *second = Add("b");
    Add("c");
    ktRef<ktModule> kept;
    ASSERT_TRUE(second->AddRef());
    kept.Reset(second);
    space.RemoveModule(second);
    EXPECT_EQ(kept->RefCount(), 1u);
    EXPECT_EQ(Names(), "a c ");
    EXPECT_EQ(space.FindModule("b"), nullptr);
    EXPECT_EQ(space.ModuleNames().KeyCount(), 2u);
}

TEST_F(Space, RemovingNullOrAStrangerDoesNothing) {
    ktModule *own = Add("a");
    const ktRef<ktModule> stranger = Make("a");
    space.RemoveModule(nullptr);
    space.RemoveModule(stranger.Get());
    EXPECT_EQ(stranger->RefCount(), 1u);
    EXPECT_EQ(space.FindModule("a"), own);
    EXPECT_EQ(space.ModuleCount(), 1u);
}

TEST_F(Space, RemovingTakesEveryPageThatTheModuleTouches) {
    ktModule *module = Add("a", 0x400800, 0x1000); // two pages, cut by a thousand bytes on both sides
    space.Pages().ReservePages(0x3FF000, 0x5000);
    space.RemoveModule(module);
    EXPECT_NE(space.Pages().FindPage(0x3FF), nullptr);
    EXPECT_EQ(space.Pages().FindPage(0x400), nullptr);
    EXPECT_EQ(space.Pages().FindPage(0x401), nullptr);
    EXPECT_NE(space.Pages().FindPage(0x402), nullptr);
}

TEST_F(Space, TheOffsetMovesThePagesThatGo) {
    ktModule *module = Add("a", 0x400000, 0x1000);
    module->offset = 0x2000;
    space.Pages().ReservePages(0x400000, 0x4000);
    space.RemoveModule(module);
    EXPECT_EQ(space.Pages().PageCount(), 3u);
    EXPECT_EQ(space.Pages().FindPage(0x402), nullptr);
}

TEST_F(Space, AModuleWithoutASizeTakesNoPages) {
    ktModule *module = Add("object");
    space.Pages().ReservePages(0, 0x2000);
    space.RemoveModule(module);
    EXPECT_EQ(space.Pages().PageCount(), 2u);
}

TEST_F(Space, AModuleThatWrapsTakesPagesUpToTheTopAlone) {
    ktModule *module = Add("a", ~uint64_t(0) - 0xFFF, 0x3000);
    space.Pages().ReservePages(~uint64_t(0) - 0x1FFF, 0x2000);
    space.Pages().ReservePages(0, 0x2000);
    space.RemoveModule(module);
    EXPECT_EQ(space.Pages().PageCount(), 3u);
}

TEST_F(Space, RemovalChangesTheStampAndAddingDoesNot) {
    const uint64_t before = space.RemovalStamp();
    ktModule *module = Add("a");
    EXPECT_EQ(space.RemovalStamp(), before);
    space.RemoveModule(module);
    EXPECT_NE(space.RemovalStamp(), before);
}

TEST_F(Space, AddingReadiesTheLookUpByAddress) {
    const ktRef<ktModule> module = Make("a", 0x1000, 0x1000);
    const ktRef<ktCompUnit> unit(factory.CreateCompUnit());
    unit->ranges.Add(0x1000, 0x10);
    ASSERT_TRUE(module->AddCompUnit(unit.Get()));
    ASSERT_TRUE(space.AddModule(module.Get()));
    EXPECT_EQ(space.GetModule(0)->FirstUnitAt(0x1008), unit.Get());
    EXPECT_EQ(space.GetModule(0)->FirstUnitAt(0x1010), nullptr);
}

TEST_F(Space, ReadersWalkWhileModulesAreAdded) {
    std::atomic<bool> done{false};
    std::thread reader([&] {
        while (!done) {
            uint64_t last = 0;
            for (const ktModule *module : space.Modules()) {
                EXPECT_EQ(module->base, last + 1);
                last = module->base;
            }
        }
    });
    for (uint64_t i = 1; i <= 2000; ++i) Add(("m" + std::to_string(i)).c_str(), i);
    done = true;
    reader.join();
    EXPECT_EQ(space.ModuleCount(), 2000u);
}

TEST_F(Space, PagesComeAndGoWhileOthersRead) {
    std::atomic<bool> done{false};
    std::atomic<uint64_t> hits{0};
    const std::unique_ptr<DataReader> clone = space.Reader().Clone();
    std::thread reader([&] {
        uint8_t bytes[0x2000];
        while (!done) {
            if (!clone->Seek(0x400000) || !clone->ReadExact(bytes, sizeof(bytes))) continue;
            ++hits;
            for (const uint8_t byte : bytes) ASSERT_EQ(byte, 0x5A);
        }
    });
    const ktBytes image(0x2000, 0x5A);
    for (int i = 0; i < 1000 || (hits == 0 && i < 100000); ++i) {
        {
            const ktExclusiveGuard guard(space.Pages().lock);
            uint64_t written = 0;
            space.Pages().ReservePages(0x400000, image.size());
            space.Pages().WritePages(0x400000, image.data(), image.size(), &written,
                                     space.Pages().CurrentStamp());
        }
        space.RemoveModule(Add("m", 0x400000, image.size()));
    }
    done = true;
    reader.join();
    EXPECT_GT(hits, 0u);
    EXPECT_EQ(space.Pages().PageCount(), 0u);
}

TEST_F(Space, ItsReaderReadsItsPages) {
    const uint8_t bytes[] = {1, 2, 3};
    uint64_t written = 0;
    space.Pages().ReservePages(0x5000, 0x1000);
    space.Pages().WritePages(0x5000, bytes, sizeof(bytes), &written, space.Pages().CurrentStamp());
    ktBytes out(3);
    EXPECT_EQ(space.TargetReader(), nullptr);
    // Without a target the cache alone answers.
    ASSERT_TRUE(space.Reader().Seek(0x5000));
    EXPECT_TRUE(space.Reader().ReadExact(out.data(), 3));
    EXPECT_EQ(out, (ktBytes{1, 2, 3}));
}

TEST(SpaceList, FindsByKeyAndKeepsTheOrder) {
    ktSpaceList list;
    EXPECT_EQ(list.Current(), nullptr);
    EXPECT_EQ(list.Find(0), nullptr);
    ktSpace *first = list.Append(std::make_unique<ktSpace>(0x1000, nullptr));
    ktSpace *second = list.Append(std::make_unique<ktSpace>(0x2000, nullptr));
    EXPECT_EQ(list.Find(0x2000), second);
    EXPECT_EQ(list.Find(0x1000), first);
    EXPECT_EQ(list.Find(0x3000), nullptr);
    EXPECT_EQ(list.Spaces().size(), 2u);
    EXPECT_EQ(list.Current(), nullptr);
    list.SetCurrent(second);
    EXPECT_EQ(list.Current(), second);
}

} // namespace
