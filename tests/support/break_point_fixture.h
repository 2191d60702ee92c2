#pragma once

#include "session/break_point.h"
#include "session/sb_break_point_manager.h"
#include "session/sb_dbg_eng.h"
#include "support/engine_fixture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

/// A manager over the engine library for tests. In the address spaces of `rootA` and `rootB`, the linear page
/// 0x400000 is one and the same physical page, `page`.
class ktBreakPointFixture : public testing::Test {
protected:
    static constexpr uint64_t rootA = 0xA003;
    static constexpr uint64_t rootB = 0xB003;
    static constexpr uint64_t linear = 0x400010;
    static constexpr uint64_t page = 0x7000;
    static constexpr uint64_t physical = 0x7010;

    using Calls = std::vector<std::string>;

    void SetUp() override {
        ASSERT_NE(library.Table(), nullptr);
        engine = std::make_unique<ktSbDbgEng>(*library.Table());
        ASSERT_EQ(engine->Connect(ktTransportLocal, "demo"), 0);
        ASSERT_TRUE(manager.Initialize(engine.get()));
        library->Map(page, 0x100000);
        library->With([](ktTestEngine::Machine &m) {
            m.translations[{rootA & ktTestEngine::rootMask, linear >> 12}] = page >> 12;
            m.translations[{rootB & ktTestEngine::rootMask, linear >> 12}] = page >> 12;
        });
        library->ForgetCalls();
    }

    static ktAddress Virtual(uint64_t value, uint64_t root = rootA, uint16_t selector = 0x10) {
        ktAddress address = Linear(value, root);
        address.kind = ktAddress::kindVirtual;
        address.selector = selector;
        return address;
    }
    static ktAddress Linear(uint64_t value, uint64_t root = rootA) {
        ktAddress address;
        address.kind = ktAddress::kindLinear;
        address.value = value;
        address.root = root;
        return address;
    }
    static ktAddress Physical(uint64_t value) {
        ktAddress address;
        address.kind = ktAddress::kindPhysical;
        address.value = value;
        return address;
    }

    /// The id, or -1. The address has to be reset either way.
    int Add(ktAddress address) {
        uint32_t id = ~0u;
        const bool added = manager.Add(address, &id);
        EXPECT_EQ(address.kind, uint32_t{ktAddress::kindNone});
        EXPECT_EQ(address.value, 0u);
        EXPECT_EQ(address.root, 0u);
        return added ? static_cast<int>(id) : -1;
    }
    ktSbBreakPoint *Get(uint32_t id) {
        ktBreakPoint *found = nullptr;
        return manager.Get(id, &found) ? static_cast<ktSbBreakPoint *>(found) : nullptr;
    }
    bool IsEnabled(uint32_t id) {
        const ktBreakPoint *found = Get(id);
        EXPECT_NE(found, nullptr) << id;
        return found && found->IsEnabled();
    }
    /// "0E 1D": the ids and whether they are enabled.
    std::string List() {
        std::vector<ktBreakPoint *> list;
        manager.List(list);
        std::string text;
        for (const ktBreakPoint *one : list) {
            text += (text.empty() ? "" : " ") + std::to_string(one->GetId()) + (one->IsEnabled() ? "E" : "D");
        }
        return text;
    }
    Calls TakeCalls() {
        Calls calls = library->Calls();
        library->ForgetCalls();
        return calls;
    }
    /// A breakpoint as the record of a physical one has no field for it.
    void ExpectCleared(uint32_t id) {
        const ktSbBreakPoint *one = Get(id);
        ASSERT_NE(one, nullptr);
        EXPECT_FALSE(one->enabled);
        EXPECT_EQ(one->engineId, 0);
        EXPECT_EQ(one->filterId, 0);
        EXPECT_EQ(one->savedByte, 0);
    }

    ktTestEngineLibrary library;
    std::unique_ptr<ktSbDbgEng> engine;
    ktSbBreakPointManager manager;
};
