#include <cstdint>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "support/engine_rig.h"

namespace {

void *const madeUp = reinterpret_cast<void *>(uintptr_t(0x1234567));

class FrontTransport : public EngineRig {};

} // namespace

TEST_F(FrontTransport, OnlyTheLocalTransportIsThere) {
    void *created = &created;
    EXPECT_EQ(TransportCreate(&created, 0), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(created, nullptr);
    for (uint32_t number = 1; number < 10; ++number)
        EXPECT_EQ(TransportCreate(&created, number), SABLE_NOT_SUPPORTED);
    EXPECT_EQ(TransportCreate(&created, 11), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(TransportCreate(&created, UINT32_MAX), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(TransportCreate(nullptr, 10), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(TransportCreate(&created, 10), SABLE_OK);
    EXPECT_NE(created, transport);
    EXPECT_EQ(TransportDestroy(created), SABLE_OK);
}

TEST_F(FrontTransport, HasOneInterface) {
    uint32_t count = 0;
    EXPECT_EQ(TransportGetInterfaceCount(transport, &count), SABLE_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(TransportGetInterfaceCount(transport, nullptr), SABLE_BAD_ARGUMENT);
}

TEST_F(FrontTransport, TheNameComesWithItsSize) {
    char buffer[128];
    std::memset(buffer, 'x', sizeof buffer);
    uint32_t size = sizeof buffer;
    EXPECT_EQ(TransportGetInterfaceName(transport, 0, buffer, &size), SABLE_OK);
    EXPECT_STREQ(buffer, "demo");
    EXPECT_EQ(buffer[5], 'x');
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(TransportGetInterfaceName(transport, 0, buffer, &size), SABLE_OK)
        << "the size it told is enough";
}

TEST_F(FrontTransport, ASmallBufferStaysAsItIsAndLearnsTheSize) {
    char buffer[] = "xxxx";
    for (const uint32_t room : {0u, 1u, 4u}) {
        uint32_t size = room;
        EXPECT_EQ(TransportGetInterfaceName(transport, 0, buffer, &size), SABLE_FAILED);
        EXPECT_EQ(size, 5u);
        EXPECT_STREQ(buffer, "xxxx");
    }
    uint32_t size = 100;
    EXPECT_EQ(TransportGetInterfaceName(transport, 0, nullptr, &size), SABLE_FAILED);
    EXPECT_EQ(size, 5u);
}

TEST_F(FrontTransport, BadArgumentsOfNames) {
    char buffer[16];
    uint32_t size = sizeof buffer;
    EXPECT_EQ(TransportGetInterfaceName(transport, 1, buffer, &size), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(TransportGetInterfaceName(transport, UINT32_MAX, buffer, &size), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(TransportGetInterfaceName(transport, 0, buffer, nullptr), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(TransportSetInterfaceName(transport, nullptr), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(TransportSetInterfaceName(transport, ""), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(TransportSetInterfaceName(transport, "demo,cores=9"), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(TransportSetInterfaceName(transport, std::string(1 << 20, 'x').c_str()), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(TransportSetInterfaceIndex(transport, 1), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(TransportSetInterfaceIndex(transport, 0), SABLE_OK);
}

TEST_F(FrontTransport, SettingsReachTheMachine) {
    EXPECT_EQ(TransportSetInterfaceName(transport, "demo,ram=128M"), SABLE_OK);
    EXPECT_EQ(TransportSetInterfaceName(transport, "nonsense"), SABLE_BAD_ARGUMENT) << "the good one stays";
    Start();
    EXPECT_EQ(ramBytes, uint64_t(128) << 20);
    EXPECT_EQ(TransportSetInterfaceIndex(transport, 0), SABLE_OK);
    EXPECT_EQ(EngStop(engine), SABLE_OK);
    Start();
    EXPECT_EQ(ramBytes, uint64_t(64) << 20);
}

TEST_F(FrontTransport, StaleForeignAndMadeUpHandlesAreBadArguments) {
    void *stale = nullptr;
    ASSERT_EQ(TransportCreate(&stale, 10), SABLE_OK);
    ASSERT_EQ(TransportDestroy(stale), SABLE_OK);
    int local = 0;
    for (void *handle : {static_cast<void *>(nullptr), stale, engine, madeUp, static_cast<void *>(&local)}) {
        uint32_t number = 0;
        char buffer[16];
        uint32_t size = sizeof buffer;
        EXPECT_EQ(TransportGetInterfaceCount(handle, &number), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(TransportGetInterfaceName(handle, 0, buffer, &size), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(TransportSetInterfaceName(handle, "demo"), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(TransportSetInterfaceIndex(handle, 0), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(TransportSetRawDataCallback(handle, nullptr, nullptr), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(TransportDestroy(handle), SABLE_BAD_ARGUMENT);
        EXPECT_EQ(EngAssignTransport(engine, handle), SABLE_BAD_ARGUMENT);
    }
}

TEST_F(FrontTransport, HandlesAreNotGivenTwice) {
    void *first = nullptr;
    void *second = nullptr;
    ASSERT_EQ(TransportCreate(&first, 10), SABLE_OK);
    ASSERT_EQ(TransportDestroy(first), SABLE_OK);
    ASSERT_EQ(TransportCreate(&second, 10), SABLE_OK);
    EXPECT_NE(first, second);
    EXPECT_EQ(TransportDestroy(second), SABLE_OK);
}

TEST_F(FrontTransport, AnEngineOutlivesItsTransport) {
    Start();
    EXPECT_EQ(TransportDestroy(transport), SABLE_OK);
    transport = nullptr;
    rawData->PostRawData("lost", 4);
    EXPECT_EQ(SbReboot(engine), SABLE_OK);
    EXPECT_TRUE(WaitForEvents({ktSbStopReset}));
    EXPECT_EQ(told, "<5>") << "nobody is told of the raw data";
}

TEST_F(FrontTransport, ServesOneEngineAtATime) {
    void *second = nullptr;
    ASSERT_EQ(EngCreateEngine(&second), SABLE_OK);
    ASSERT_EQ(EngAssignTransport(second, transport), SABLE_OK);
    Start();
    EXPECT_EQ(EngStart(second), SABLE_FAILED);
    EXPECT_EQ(EngStop(engine), SABLE_OK);
    EXPECT_EQ(EngStart(second), SABLE_OK);
    EXPECT_EQ(EngStart(engine), SABLE_FAILED);
    EXPECT_EQ(EngDestroyEngine(second), SABLE_OK);
    EXPECT_EQ(EngStart(engine), SABLE_OK);
}

TEST_F(FrontTransport, ReservedFunctionsAreNotSupported) {
#define SABLE_SKIP(name, parameters)
#define SABLE_CALL(name, parameters) EXPECT_EQ(name(), SABLE_NOT_SUPPORTED);
    SABLE_ENGINE_TABLE(SABLE_SKIP, SABLE_CALL)
#undef SABLE_SKIP
#undef SABLE_CALL
}
