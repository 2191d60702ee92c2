#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <vector>

#include "core/target.h"

/// A machine without a processor: memory with holes, ports, registers and switches that a test sets.
class FakeTarget : public sable::Target {
public:
    static constexpr uint64_t ramBytes = 4 << 20;

    FakeTarget() : ram(ramBytes) {
        context.rip = 0x1000;
        context.cr3 = 0x10000;
    }

    ktSbRawState StartState() override { return startState; }
    std::optional<ktSbStop> Run() override { return onRun ? onRun() : std::nullopt; }
    int32_t Go() override { return Note("go"); }
    int32_t BreakIn() override { return Note("break"); }
    int32_t Step(bool ignoreInterrupts, ktSbStop &stop) override {
        if (stepStop) stop = *stepStop;
        ++context.rip;
        return Note(ignoreInterrupts ? "step over interrupts" : "step");
    }
    int32_t Reboot() override { return Note("reboot"); }
    int32_t SwitchCpu(uint32_t core) override {
        if (core >= 2) return SABLE_BAD_ARGUMENT;
        currentCore = uint8_t(core);
        return Note("switch");
    }
    int32_t GetCpuInfo(uint8_t &current, uint8_t &count) override {
        current = currentCore;
        count = 2;
        return SABLE_OK;
    }
    int32_t GetContext(ktRawContext &out, uint64_t mask, uint32_t &outMode) override {
        lastMask = mask;
        out = context;
        outMode = mode;
        return Note("context");
    }
    int32_t SetContext(const ktRawContext &in, uint64_t mask) override {
        lastMask = mask;
        context = in;
        return Note("set context");
    }
    int32_t GetPaging(sable::PagingFacts &facts) override {
        facts = paging;
        return Note("paging");
    }
    int32_t CpuId(uint32_t leaf, uint32_t subleaf, ktSbRawCpuId &result) override {
        result = {leaf, subleaf, 3, 4};
        return SABLE_OK;
    }
    int32_t ReadMsr(uint32_t number, uint64_t &value) override {
        if (!msrs.contains(number)) return SABLE_FAILED;
        value = msrs[number];
        return SABLE_OK;
    }
    int32_t WriteMsr(uint32_t number, uint64_t value) override {
        msrs[number] = value;
        return SABLE_OK;
    }
    int32_t ReadIo(uint16_t port, uint8_t width, uint32_t &value) override {
        accesses.push_back({port, width, portValue});
        if (accesses.size() > accessLimit) return SABLE_FAILED;
        value = portValue++;
        return SABLE_OK;
    }
    int32_t WriteIo(uint16_t port, uint8_t width, uint32_t value) override {
        if (accesses.size() >= accessLimit) return SABLE_FAILED;
        accesses.push_back({port, width, value});
        return SABLE_OK;
    }
    int32_t ReadPhysical(uint64_t address, void *buffer, uint32_t size, uint32_t &done) override {
        ++physicalReads;
        if (onRead) onRead(address);
        done = Reachable(address, size);
        if (done != 0) std::memcpy(buffer, &ram[address], done);
        return done == size ? SABLE_OK : SABLE_FAILED;
    }
    int32_t WritePhysical(uint64_t address, const void *buffer, uint32_t size, uint32_t &done) override {
        done = Reachable(address, size);
        if (done != 0) std::memcpy(&ram[address], buffer, done);
        return done == size ? SABLE_OK : SABLE_FAILED;
    }
    uint64_t NextPhysical(uint64_t address) override {
        while (address < ramBytes && holes.contains(address / 4096)) address = (address / 4096 + 1) * 4096;
        return address < ramBytes ? address : UINT64_MAX;
    }
    int32_t ReadMmio(uint64_t physical, uint8_t width, uint64_t &value) override {
        if (accesses.size() >= accessLimit) return SABLE_FAILED;
        accesses.push_back({physical, width, 0});
        value = 0x8877665544332200 + accesses.size();
        return SABLE_OK;
    }
    int32_t WriteMmio(uint64_t physical, uint8_t width, uint64_t value) override {
        if (accesses.size() >= accessLimit) return SABLE_FAILED;
        accesses.push_back({physical, width, value});
        return SABLE_OK;
    }
    void SetStopQuery(sable::StopQuery *newQuery) override { query = newQuery; }
    int32_t AddFetchStop(uint64_t physical) override {
        if (refusesFetchStops) return SABLE_FAILED;
        fetchStops.insert(physical);
        return SABLE_OK;
    }
    int32_t RemoveFetchStop(uint64_t physical) override {
        if (refusesFetchStops) return SABLE_FAILED;
        fetchStops.erase(physical);
        return SABLE_OK;
    }

    // For tests.
    struct Access {
        uint64_t place;
        uint8_t width;
        uint64_t value;
        bool operator==(const Access &) const = default;
    };

    template <typename Value>
    void Put(uint64_t physical, Value value) {
        std::memcpy(&ram[physical], &value, sizeof value);
    }

    std::vector<uint8_t> ram;
    std::set<uint64_t> holes; ///< numbers of pages that are no RAM
    uint64_t physicalReads = 0;
    std::function<void(uint64_t)> onRead;
    std::function<std::optional<ktSbStop>()> onRun;
    std::function<void()> onNote;
    ktSbRawState startState = {0, ktSbStopBreakIn};
    std::optional<ktSbStop> stepStop;
    int32_t controlStatus = SABLE_OK; ///< of everything that has nothing else to answer
    std::vector<const char *> notes;
    ktRawContext context = {};
    uint32_t mode = ktSbModeProtected32;
    uint64_t lastMask = 0;
    uint8_t currentCore = 0;
    sable::PagingFacts paging;
    std::map<uint32_t, uint64_t> msrs;
    std::vector<Access> accesses;
    size_t accessLimit = SIZE_MAX;
    uint32_t portValue = 0x04030201;
    sable::StopQuery *query = nullptr;
    std::set<uint64_t> fetchStops;
    bool refusesFetchStops = false;

private:
    int32_t Note(const char *what) {
        notes.push_back(what);
        if (onNote) onNote();
        return controlStatus;
    }

    uint32_t Reachable(uint64_t address, uint32_t size) const {
        uint32_t count = 0;
        while (count < size && address + count < ramBytes && !holes.contains((address + count) / 4096)) {
            count += uint32_t(std::min<uint64_t>(size - count, 4096 - (address + count) % 4096));
        }
        return uint32_t(std::min<uint64_t>(count, address < ramBytes ? ramBytes - address : 0));
    }
};

/// Goes on until it is told not to.
class FakeMonitor final : public sable::WorkMonitor {
public:
    bool GoOn() override { return asked++ < patience; }

    size_t asked = 0;
    size_t patience = SIZE_MAX;
};
