#pragma once

#include <memory>
#include <optional>
#include <set>

#include <gtest/gtest.h>

#include "core/address_space.h"
#include "core/break_point_table.h"
#include "core/interface_name.h"
#include "core/target_factory.h"
#include "support/machine_rig.h"

namespace sable {

/// The simulated PC as a target, with breakpoints, and steps through the demo guest.
class SimTargetTest : public testing::Test {
protected:
    static constexpr uint32_t msrSyscallEntry = 0xC0000082;
    static constexpr uint64_t all = ~uint64_t(0);

    explicit SimTargetTest(std::string_view interfaceName = "demo") {
        MachineSettings settings;
        EXPECT_TRUE(ParseInterfaceName(interfaceName, settings));
        target = MakeTarget(settings, keeper);
        breakPoints = std::make_unique<BreakPointTable>(*target);
    }
    ~SimTargetTest() override {
        breakPoints.reset(); // it takes its question back
    }

    /// Runs until a stop, or until the guest has printed `part`; nothing in the second case and after too
    /// long.
    std::optional<ktSbStop> Go(std::string_view part = {}) {
        EXPECT_EQ(target->Go(), SABLE_OK);
        for (int n = 0; n < 100000; ++n) {
            if (const std::optional<ktSbStop> stop = target->Run()) return stop;
            if (!part.empty() && keeper.Has(part)) break;
        }
        EXPECT_EQ(target->BreakIn(), SABLE_OK);
        return std::nullopt;
    }
    void Boot(std::string_view part = "second: step 1,") {
        ASSERT_FALSE(Go(part));
        ASSERT_TRUE(keeper.Has(part)) << keeper.text;
    }
    ktRawContext Context() {
        ktRawContext context = {};
        EXPECT_EQ(target->GetContext(context, ~uint64_t(0), mode), SABLE_OK);
        return context;
    }
    uint64_t Physical(uint64_t root, uint64_t linear) {
        LinearSpace space(*target, root);
        uint64_t physical = 0;
        EXPECT_EQ(space.Open(), SABLE_OK);
        EXPECT_TRUE(space.Translate(linear, physical)) << std::hex << linear;
        return physical;
    }
    uint16_t Break(uint64_t physical) {
        uint16_t number = 0;
        EXPECT_EQ(breakPoints->Set(physical, number), SABLE_OK);
        return number;
    }
    void Filter(uint16_t number, uint64_t root, uint64_t address) {
        ktSbRawFilter filter = {};
        filter.typeOrNumber = ktSbFilterRootAndAddress;
        filter.root = root;
        filter.address = address;
        uint16_t filterNumber = 0;
        EXPECT_EQ(breakPoints->AddFilter(number, filter, filterNumber), SABLE_OK);
    }
    uint64_t SyscallEntry() {
        uint64_t value = 0;
        EXPECT_EQ(target->ReadMsr(msrSyscallEntry, value), SABLE_OK);
        return value;
    }
    ktSbStop Step(bool ignoreInterrupts = true) {
        ktSbStop stop = ktSbStopStep;
        EXPECT_EQ(target->Step(ignoreInterrupts, stop), SABLE_OK);
        return stop;
    }
    void Write(uint64_t physical, std::initializer_list<uint8_t> bytes) {
        uint32_t done = 0;
        EXPECT_EQ(target->WritePhysical(physical, bytes.begin(), uint32_t(bytes.size()), done), SABLE_OK);
    }
    /// Stops at the syscall entry as often as it takes to see both processes; their roots.
    std::set<uint64_t> Roots() {
        std::set<uint64_t> roots;
        const uint64_t entry = SyscallEntry();
        const uint16_t number = Break(Physical(0, entry));
        for (int n = 0; n < 50 && roots.size() < 2; ++n) {
            EXPECT_EQ(Go(), ktSbStopBreakPoint);
            EXPECT_EQ(Context().rip, entry);
            roots.insert(Context().cr3);
        }
        EXPECT_EQ(breakPoints->Remove(number), SABLE_OK);
        return roots;
    }

    TextKeeper keeper;
    std::unique_ptr<Target> target;
    std::unique_ptr<BreakPointTable> breakPoints;
    uint32_t mode = 0;
};

} // namespace sable
