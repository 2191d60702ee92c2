#include <cstdint>
#include <set>
#include <string_view>
#include <type_traits>

#include <gtest/gtest.h>

#include "support/engine_rig.h"

namespace {

uint8_t room[4096];

/// Room for what a pointer points to; nothing for functions and numbers.
template <typename Parameter>
Parameter Room() {
    if constexpr (std::is_pointer_v<Parameter> && !std::is_function_v<std::remove_pointer_t<Parameter>>) {
        return reinterpret_cast<Parameter>(room);
    } else {
        return Parameter{};
    }
}

/// Null for a pointer, 1 for a number.
template <typename Parameter>
Parameter NullOrOne() {
    if constexpr (std::is_pointer_v<Parameter>) {
        return nullptr;
    } else {
        return Parameter(1);
    }
}

template <typename... Parameters>
int32_t CallWithRoom(int32_t (*function)(void *, Parameters...), void *handle) {
    return function(handle, Room<Parameters>()...);
}

template <typename... Parameters>
int32_t CallWithNulls(int32_t (*function)(void *, Parameters...), void *handle) {
    return function(handle, NullOrOne<Parameters>()...);
}

// These two make handles and take none.
int32_t CallWithRoom(int32_t (*)(void **, uint32_t), void *) { return SABLE_BAD_ARGUMENT; }
int32_t CallWithRoom(int32_t (*)(void **), void *) { return SABLE_BAD_ARGUMENT; }
int32_t CallWithNulls(int32_t (*function)(void **, uint32_t), void *) { return function(nullptr, 10); }
int32_t CallWithNulls(int32_t (*function)(void **), void *) { return function(nullptr); }

#define SABLE_SKIP(name, parameters)

class FrontHandles : public EngineRig {
protected:
    static void ExpectAllRefuse(void *handle) {
#define SABLE_EXPECT(name, parameters) EXPECT_EQ(CallWithRoom(&name, handle), SABLE_BAD_ARGUMENT) << #name;
        SABLE_ENGINE_TABLE(SABLE_EXPECT, SABLE_SKIP)
#undef SABLE_EXPECT
    }
};

} // namespace

TEST_F(FrontHandles, EachFunctionRefusesWhatIsNoHandle) {
    void *stale = nullptr;
    ASSERT_EQ(EngCreateEngine(&stale), SABLE_OK);
    ASSERT_EQ(EngDestroyEngine(stale), SABLE_OK);
    int local = 0;
    ExpectAllRefuse(nullptr);
    ExpectAllRefuse(stale);
    ExpectAllRefuse(&local);
    ExpectAllRefuse(reinterpret_cast<void *>(UINTPTR_MAX));
}

TEST_F(FrontHandles, FunctionsOfEnginesRefuseTransports) {
    Start();
#define SABLE_EXPECT(name, parameters)                                                                       \
    if (!std::string_view(#name).starts_with("Transport")) {                                                 \
        EXPECT_EQ(CallWithRoom(&name, transport), SABLE_BAD_ARGUMENT) << #name;                              \
    }
    SABLE_ENGINE_TABLE(SABLE_EXPECT, SABLE_SKIP)
#undef SABLE_EXPECT
}

TEST_F(FrontHandles, NullsAreBadArgumentsWhereSomethingIsNeeded) {
    const std::set<std::string_view> fine = {"TransportDestroy",
                                             "TransportSetInterfaceIndex",
                                             "TransportSetRawDataCallback",
                                             "EngSetRequestTimeout",
                                             "EngSetRequestRetryCount",
                                             "EngStart",
                                             "EngStop",
                                             "EngDestroyEngine",
                                             "SbSetEventCallback",
                                             "SbPing",
                                             "SbGo",
                                             "SbBreakIn",
                                             "SbStep",
                                             "SbSwitchCpu",
                                             "SbReboot",
                                             "SbGetCpuInfo",
                                             "SbRemoveBreakPoint",
                                             "SbClearBreakPoints",
                                             "SbRemoveBreakPointFilter",
                                             "SbClearBreakPointFilters"};
    // The others need a pointer, or a width or size other than 1.
    Start();
    size_t refused = 0;
#define SABLE_EXPECT(name, parameters)                                                                       \
    if (!fine.contains(#name)) {                                                                             \
        void *const handle = std::string_view(#name).starts_with("Transport") ? transport : engine;          \
        EXPECT_EQ(CallWithNulls(&name, handle), SABLE_BAD_ARGUMENT) << #name;                                \
        ++refused;                                                                                           \
    }
    SABLE_ENGINE_TABLE(SABLE_EXPECT, SABLE_SKIP)
#undef SABLE_EXPECT
    EXPECT_EQ(refused + fine.size() + 73, size_t(ktEngineFunctionCount));
}

TEST_F(FrontHandles, AnEngineThatIsNotStartedFails) {
#define SABLE_EXPECT(name, parameters)                                                                       \
    if (std::string_view(#name).starts_with("Sb") && #name != std::string_view("SbSetEventCallback")) {      \
        EXPECT_LT(CallWithRoom(&name, engine), 0) << #name;                                                  \
    }
    SABLE_ENGINE_TABLE(SABLE_EXPECT, SABLE_SKIP)
#undef SABLE_EXPECT
    EXPECT_EQ(SbPing(engine), SABLE_FAILED);
}

TEST_F(FrontHandles, WhatATargetCannotDoIsNotSupported) {
    sable::TheFront().makeTarget = [](const sable::MachineSettings &, sable::RawDataSink &) {
        return std::make_unique<sable::Target>();
    };
    void *bare = nullptr;
    ASSERT_EQ(EngCreateEngine(&bare), SABLE_OK);
    ASSERT_EQ(EngAssignTransport(bare, transport), SABLE_OK);
    ASSERT_EQ(EngStart(bare), SABLE_OK);
    const std::set<std::string_view> done = {"SbPing", "SbGetStateInfo", "SbBreakIn", "SbClearBreakPoints",
                                             "SbGetBreakPointInfo"};
    const std::set<std::string_view> refused = {"SbReadMsr",
                                                "SbWriteMsr",
                                                "SbRemoveBreakPoint",
                                                "SbAddBreakPointFilter",
                                                "SbRemoveBreakPointFilter",
                                                "SbClearBreakPointFilters",
                                                "SbGetBreakPointFilterInfo",
                                                "SbReadIo",
                                                "SbWriteIo",
                                                "SbReadMmioPhysical",
                                                "SbWriteMmioPhysical",
                                                "SbSearchPhysicalMemory",
                                                "SbSearchLinearMemory",
                                                "SbSearchVirtualMemory"};
    const std::set<std::string_view> nothing = {"SbReadPhysicalMemory", "SbWritePhysicalMemory",
                                                "SbComputeSha1Physical"};
#define SABLE_EXPECT(name, parameters)                                                                       \
    if (std::string_view(#name).starts_with("Sb") && #name != std::string_view("SbSetEventCallback")) {      \
        const int32_t expected = done.contains(#name) || nothing.contains(#name) ? SABLE_OK                  \
                                 : refused.contains(#name)                       ? SABLE_BAD_ARGUMENT        \
                                                                                 : SABLE_NOT_SUPPORTED;                            \
        EXPECT_EQ(CallWithRoom(&name, bare), expected) << #name;                                             \
    }
    SABLE_ENGINE_TABLE(SABLE_EXPECT, SABLE_SKIP)
#undef SABLE_EXPECT
    EXPECT_EQ(EngDestroyEngine(bare), SABLE_OK);
}
