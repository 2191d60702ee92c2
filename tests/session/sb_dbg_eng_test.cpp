#include "session/sb_dbg_eng.h"

#include "session/context.h"
#include "session/page_walk_result.h"
#include "support/engine_fixture.h"

#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <thread>
#include <vector>

namespace {

using Calls = std::vector<std::string>;

constexpr ktStatus badArgument = static_cast<int32_t>(0xC000000E);
constexpr uint64_t moreThan32Bits = 0x100000000;

ktAddress At(uint32_t kind, uint64_t value) {
    ktAddress address;
    address.kind = kind;
    address.value = value;
    address.root = 0x1A5003;
    address.selector = 0x10;
    address.width = 4;
    return address;
}

class SbDbgEng : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(library.Table(), nullptr);
        engine = std::make_unique<ktSbDbgEng>(*library.Table());
        ASSERT_EQ(engine->Connect(ktTransportLocal, "demo"), 0);
        library->ForgetCalls();
    }
    Calls TakeCalls() {
        Calls calls = library->Calls();
        library->ForgetCalls();
        return calls;
    }

    ktTestEngineLibrary library;
    std::unique_ptr<ktSbDbgEng> engine;
};

/// An operation that hands its arguments on and returns the library's status.
struct Forward {
    const char *function;
    const char *arguments;
    std::function<ktStatus(ktSbDbgEng &)> call;
};

uint8_t digest[20];
const uint64_t searchEnd = 0x9000;
ktAddress hit;

ktStatus Read(ktSbDbgEng &engine, uint32_t kind) {
    uint8_t buffer[8] = {};
    ktAddress address = At(kind, 0x12345678ABCD);
    return engine.ReadTarget(address, buffer, sizeof(buffer), nullptr);
}

ktStatus Write(ktSbDbgEng &engine, uint32_t kind) {
    const uint8_t buffer[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    ktAddress address = At(kind, 0x12345678ABCD);
    return engine.WriteTarget(address, buffer, sizeof(buffer), nullptr);
}

ktStatus Search(ktSbDbgEng &engine, uint32_t kind) {
    return engine.SearchMemory(At(kind, 0x8000), &searchEnd, "MZ", 2, 4096, &hit);
}

const Forward forwards[] = {
    {"SbPing", "E1", [](ktSbDbgEng &e) { return e.Ping(); }},
    {"SbGo", "E1", [](ktSbDbgEng &e) { return e.Go(); }},
    {"SbBreakIn", "E1", [](ktSbDbgEng &e) { return e.BreakIn(); }},
    {"SbStep", "E1 1", [](ktSbDbgEng &e) { return e.Step(true); }},
    {"SbReboot", "E1", [](ktSbDbgEng &e) { return e.Reboot(); }},
    {"SbSwitchCpu", "E1 3", [](ktSbDbgEng &e) { return e.SwitchCpu(3); }},
    {"SbGetStateInfo", "E1",
     [](ktSbDbgEng &e) {
         ktStopState state;
         return e.GetStateInfo(&state);
     }},
    {"SbGetCpuInfo", "E1", [](ktSbDbgEng &e) { return e.GetCpuInfo(nullptr, nullptr); }},
    {"SbGetContext", "E1 7FFFFFFFFFFFFFF",
     [](ktSbDbgEng &e) {
         ktContext context;
         return e.GetContext(&context);
     }},
    {"SbSetContext", "E1 7FFFFFFFFFFFFFF",
     [](ktSbDbgEng &e) {
         const ktContext context;
         return e.SetContext(&context);
     }},
    {"SbCpuId", "E1 80000002 1",
     [](ktSbDbgEng &e) {
         uint32_t words[4] = {};
         return e.CpuId(0x80000002, 1, words);
     }},
    {"SbReadVirtualMemory", "E1 1A5003 10 12345678ABCD 8", [](ktSbDbgEng &e) { return Read(e, 1); }},
    {"SbReadLinearMemory", "E1 1A5003 12345678ABCD 8", [](ktSbDbgEng &e) { return Read(e, 2); }},
    {"SbReadPhysicalMemory", "E1 12345678ABCD 8", [](ktSbDbgEng &e) { return Read(e, 3); }},
    {"SbReadMsr", "E1 5678ABCD 8", [](ktSbDbgEng &e) { return Read(e, 4); }},
    {"SbReadIo", "E1 ABCD 4 8", [](ktSbDbgEng &e) { return Read(e, 5); }},
    {"SbReadMmioVirtual", "E1 1A5003 10 12345678ABCD 4 9 8", [](ktSbDbgEng &e) { return Read(e, 6); }},
    {"SbReadMmioLinear", "E1 1A5003 12345678ABCD 4 9 8", [](ktSbDbgEng &e) { return Read(e, 7); }},
    {"SbReadMmioPhysical", "E1 12345678ABCD 4 9 8", [](ktSbDbgEng &e) { return Read(e, 8); }},
    {"SbWriteVirtualMemory", "E1 1A5003 10 12345678ABCD 8", [](ktSbDbgEng &e) { return Write(e, 1); }},
    {"SbWriteLinearMemory", "E1 1A5003 12345678ABCD 8", [](ktSbDbgEng &e) { return Write(e, 2); }},
    {"SbWritePhysicalMemory", "E1 12345678ABCD 8", [](ktSbDbgEng &e) { return Write(e, 3); }},
    {"SbWriteMsr", "E1 5678ABCD 807060504030201 8", [](ktSbDbgEng &e) { return Write(e, 4); }},
    {"SbWriteIo", "E1 ABCD 4 \"0102030405060708\" 8", [](ktSbDbgEng &e) { return Write(e, 5); }},
    {"SbWriteMmioVirtual", "E1 1A5003 10 12345678ABCD 4 9 \"0102030405060708\" 8",
     [](ktSbDbgEng &e) { return Write(e, 6); }},
    {"SbWriteMmioLinear", "E1 1A5003 12345678ABCD 4 9 \"0102030405060708\" 8",
     [](ktSbDbgEng &e) { return Write(e, 7); }},
    {"SbWriteMmioPhysical", "E1 12345678ABCD 4 9 \"0102030405060708\" 8",
     [](ktSbDbgEng &e) { return Write(e, 8); }},
    {"SbWalkPageVirtual", "E1 1A5003 10 8000",
     [](ktSbDbgEng &e) { return e.WalkPage(At(1, 0x8000), nullptr); }},
    {"SbWalkPageLinear", "E1 1A5003 8000", [](ktSbDbgEng &e) { return e.WalkPage(At(2, 0x8000), nullptr); }},
    {"SbVirtualToPhysical", "E1 1A5003 10 8000",
     [](ktSbDbgEng &e) {
         uint64_t physical = 0;
         return e.ToPhysical(At(1, 0x8000), &physical);
     }},
    {"SbLinearToPhysical", "E1 1A5003 8000",
     [](ktSbDbgEng &e) {
         uint64_t physical = 0;
         return e.ToPhysical(At(2, 0x8000), &physical);
     }},
    {"SbSearchVirtualMemory", "E1 1A5003 10 8000 9000 \"4D5A\" 2 1000 1",
     [](ktSbDbgEng &e) { return Search(e, 1); }},
    {"SbSearchLinearMemory", "E1 1A5003 8000 9000 \"4D5A\" 2 1000 1",
     [](ktSbDbgEng &e) { return Search(e, 2); }},
    {"SbSearchPhysicalMemory", "E1 8000 9000 \"4D5A\" 2 1000 1", [](ktSbDbgEng &e) { return Search(e, 3); }},
    {"SbComputeSha1Virtual", "E1 1A5003 10 8000 30",
     [](ktSbDbgEng &e) { return e.ComputeSha1(At(1, 0x8000), digest, 0x30, nullptr); }},
    {"SbComputeSha1Linear", "E1 1A5003 8000 30",
     [](ktSbDbgEng &e) { return e.ComputeSha1(At(2, 0x8000), digest, 0x30, nullptr); }},
    {"SbComputeSha1Physical", "E1 8000 30",
     [](ktSbDbgEng &e) { return e.ComputeSha1(At(3, 0x8000), digest, 0x30, nullptr); }},
};

class SbDbgEngForward : public SbDbgEng, public testing::WithParamInterface<Forward> {};

} // namespace

TEST_P(SbDbgEngForward, IsOneCallWithItsArguments) {
    library->Map(0x12345678A000, 0x1000);
    EXPECT_EQ(GetParam().call(*engine), 0);
    EXPECT_EQ(TakeCalls(), Calls{std::string(GetParam().function) + " " + GetParam().arguments});
}

TEST_P(SbDbgEngForward, ReturnsTheLibrarysStatusUnchanged) {
    for (const int32_t status : {-1, INT32_MIN, static_cast<int32_t>(0xC0000001), 1, INT32_MAX}) {
        library->Fail(GetParam().function, status);
        EXPECT_EQ(GetParam().call(*engine), status);
    }
    EXPECT_EQ(library->Calls().size(), 5u) << "nothing is tried again";
}

INSTANTIATE_TEST_SUITE_P(Operations, SbDbgEngForward, testing::ValuesIn(forwards),
                         [](const auto &test) { return test.param.function; });

TEST_F(SbDbgEng, KindsWithoutAFunctionAreBadArgumentsAndMakeNoCall) {
    uint8_t buffer[8] = {};
    for (const uint32_t kind : {0u, 9u, 10u, 4294967295u}) {
        uint64_t done = 7;
        ktAddress address = At(kind, 0x1000);
        EXPECT_EQ(engine->ReadTarget(address, buffer, 8, &done), badArgument) << kind;
        EXPECT_EQ(done, 0u);
        EXPECT_EQ(engine->WriteTarget(address, buffer, 8, &done), badArgument) << kind;
    }
    for (const uint32_t kind : {0u, 3u, 4u, 5u, 6u, 7u, 8u, 9u}) {
        ktPageWalkResult walk;
        EXPECT_EQ(engine->WalkPage(At(kind, 0x1000), &walk), badArgument) << kind;
    }
    for (const uint32_t kind : {0u, 4u, 5u, 6u, 7u, 8u, 9u}) {
        uint64_t physical = 7;
        EXPECT_EQ(engine->ToPhysical(At(kind, 0x1000), &physical), badArgument) << kind;
        EXPECT_EQ(physical, 7u);
        EXPECT_EQ(Search(*engine, kind), badArgument) << kind;
        EXPECT_EQ(engine->ComputeSha1(At(kind, 0x1000), digest, 8, nullptr), badArgument) << kind;
    }
    EXPECT_TRUE(library->Calls().empty());
}

TEST_F(SbDbgEng, WhatDoesNotFitInto32BitsIsABadArgument) {
    uint8_t buffer[8] = {};
    for (uint32_t kind = 1; kind <= 8; ++kind) {
        ktAddress address = At(kind, 0x1000);
        EXPECT_EQ(engine->ReadTarget(address, buffer, moreThan32Bits, nullptr), badArgument);
        EXPECT_EQ(engine->WriteTarget(address, buffer, moreThan32Bits, nullptr), badArgument);
        EXPECT_EQ(engine->ComputeSha1(address, digest, moreThan32Bits, nullptr), badArgument);
    }
    EXPECT_EQ(engine->SwitchCpu(moreThan32Bits), badArgument);
    EXPECT_TRUE(library->Calls().empty());
}

TEST_F(SbDbgEng, MissingPointersAreBadArguments) {
    EXPECT_EQ(engine->GetStateInfo(nullptr), badArgument);
    EXPECT_EQ(engine->GetContext(nullptr), badArgument);
    EXPECT_EQ(engine->SetContext(nullptr), badArgument);
    EXPECT_EQ(engine->SearchMemory(At(2, 0), nullptr, "MZ", 2, 1, &hit), badArgument);
    EXPECT_EQ(engine->SearchMemory(At(2, 0), &searchEnd, "MZ", 2, 1, nullptr), badArgument);
    ktAddress msr = At(4, 0x10);
    EXPECT_EQ(engine->WriteTarget(msr, nullptr, 8, nullptr), badArgument);
    EXPECT_TRUE(library->Calls().empty());
}

TEST_F(SbDbgEng, ReadsAndWritesTellWhatWasDone) {
    library->Map(0x5000, 0x1000);
    uint8_t buffer[16] = {};
    uint64_t done = 0;
    ktAddress address = At(3, 0x5FF8);
    EXPECT_EQ(engine->WriteTarget(address, "ABCDEFGH", 8, &done), 0);
    EXPECT_EQ(done, 8u);
    EXPECT_EQ(engine->ReadTarget(address, buffer, 8, &done), 0);
    EXPECT_EQ(done, 8u);
    EXPECT_EQ(std::string(buffer, buffer + 8), "ABCDEFGH");
    EXPECT_LT(engine->ReadTarget(address, buffer, 16, &done), 0);
    EXPECT_EQ(done, 8u) << "a failure, too, tells how far it came";
    EXPECT_LT(engine->WriteTarget(address, buffer, 16, &done), 0);
    EXPECT_EQ(done, 8u);
}

TEST_F(SbDbgEng, AModelSpecificRegisterIsTheFirstEightBytes) {
    uint64_t done = 0;
    const uint64_t value = 0x1122334455667788;
    ktAddress address = At(4, 0xC0000080);
    EXPECT_EQ(engine->WriteTarget(address, &value, 8, &done), 0);
    EXPECT_EQ(done, 8u);
    uint64_t back = 0;
    EXPECT_EQ(engine->ReadTarget(address, &back, 8, &done), 0);
    EXPECT_EQ(back, value);
    EXPECT_EQ(done, 8u);
    TakeCalls();
    const uint8_t two[2] = {0x34, 0x12};
    EXPECT_EQ(engine->WriteTarget(address, two, 2, &done), 0);
    EXPECT_EQ(TakeCalls(), Calls{"SbWriteMsr E1 C0000080 1234 2"});
    library->Fail("SbReadMsr");
    EXPECT_LT(engine->ReadTarget(address, &back, 8, &done), 0);
    EXPECT_EQ(done, 0u);
}

TEST_F(SbDbgEng, OnlyASuccessUpdatesTheAttribute) {
    uint8_t buffer[4] = {};
    for (uint32_t kind = 1; kind <= 8; ++kind) {
        ktAddress address = At(kind, 0x1000);
        library->Map(0x1000, 0x1000);
        EXPECT_EQ(engine->ReadTarget(address, buffer, 4, nullptr), 0);
        EXPECT_EQ(address.attribute, kind >= 6 ? 10u : 9u) << kind;
        EXPECT_EQ(engine->WriteTarget(address, buffer, 4, nullptr), 0);
        EXPECT_EQ(address.attribute, kind >= 6 ? 11u : 9u) << kind;
    }
    library->Fail("SbReadMmioLinear");
    ktAddress address = At(7, 0x1000);
    EXPECT_LT(engine->ReadTarget(address, buffer, 4, nullptr), 0);
    EXPECT_EQ(address.attribute, 9u);
}

TEST_F(SbDbgEng, StateIsMapped) {
    const uint32_t reasons[] = {1, 0, 2, 4, 3, 5, 0, 0};
    for (uint32_t code = 0; code < std::size(reasons); ++code) {
        library->With([&](ktTestEngine::Machine &m) {
            m.state = {static_cast<uint8_t>(code % 2 ? 0x80 : 0), static_cast<uint8_t>(code)};
        });
        ktStopState state;
        EXPECT_EQ(engine->GetStateInfo(&state), 0);
        EXPECT_EQ(state.running, code % 2 == 1);
        EXPECT_EQ(state.reason, reasons[code]) << code;
    }
}

TEST_F(SbDbgEng, TheStateIsStoredWhateverTheStatus) {
    library->With([](ktTestEngine::Machine &m) { m.state = {1, 3}; });
    library->Misreport("SbGetStateInfo", ktTestEngine::failure);
    ktStopState state;
    EXPECT_EQ(engine->GetStateInfo(&state), ktTestEngine::failure);
    EXPECT_TRUE(state.running);
    EXPECT_EQ(state.reason, 4u);
}

TEST_F(SbDbgEng, AStateThatIsNotWrittenIsThatOfAnEmptyRecord) {
    library->With([](ktTestEngine::Machine &m) { m.state = {1, 3}; });
    for (const int32_t status : {0, ktTestEngine::failure}) {
        library->Fail("SbGetStateInfo", status, SIZE_MAX, 1); // the first read fills the record
        ktStopState states[2];
        ktStatus statuses[2];
        for (int read = 0; read < 2; ++read) statuses[read] = engine->GetStateInfo(&states[read]);
        EXPECT_EQ(statuses[0], 0);
        EXPECT_TRUE(states[0].running);
        EXPECT_EQ(states[0].reason, 4u);
        EXPECT_EQ(statuses[1], status);
        EXPECT_FALSE(states[1].running);
        EXPECT_EQ(states[1].reason, 1u);
    }
}

TEST_F(SbDbgEng, CoresAreStoredWhateverTheStatus) {
    library->With([](ktTestEngine::Machine &m) {
        m.currentCore = 3;
        m.coreCount = 4;
    });
    library->Misreport("SbGetCpuInfo", ktTestEngine::failure);
    uint64_t current = 7;
    uint64_t count = 7;
    EXPECT_EQ(engine->GetCpuInfo(&current, &count), ktTestEngine::failure);
    EXPECT_EQ(current, 3u);
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(engine->GetCpuInfo(nullptr, nullptr), ktTestEngine::failure);
    library->Fail("SbGetCpuInfo");
    EXPECT_EQ(engine->GetCpuInfo(&current, &count), ktTestEngine::failure);
    EXPECT_EQ(current, 0u) << "and 0 when the library wrote nothing";
    EXPECT_EQ(count, 0u);
}

TEST_F(SbDbgEng, CoresAreWidened) {
    library->With([](ktTestEngine::Machine &m) {
        m.currentCore = 200;
        m.coreCount = 255;
    });
    uint64_t current = ~uint64_t{0};
    uint64_t count = ~uint64_t{0};
    EXPECT_EQ(engine->GetCpuInfo(&current, &count), 0);
    EXPECT_EQ(current, 200u);
    EXPECT_EQ(count, 255u);
    current = 0;
    EXPECT_EQ(engine->GetCpuInfo(&current, nullptr), 0);
    EXPECT_EQ(current, 200u);
    EXPECT_EQ(engine->GetCpuInfo(nullptr, &count), 0);
}

TEST_F(SbDbgEng, ModesAreOneHigherThanTheLibrarys) {
    const std::pair<uint32_t, uint32_t> modes[] = {{0, 1}, {1, 2}, {2, 3}, {3, 4}, {4, 5},
                                                   {5, 6}, {6, 7}, {7, 8}, {8, 0}, {4294967295u, 0}};
    for (const auto &[library_, mode] : modes) {
        const uint32_t given = library_;
        library->With([given](ktTestEngine::Machine &m) { m.mode = given; });
        ktContext context;
        EXPECT_EQ(engine->GetContext(&context), 0);
        EXPECT_EQ(context.mode, mode) << given;
    }
}

TEST_F(SbDbgEng, AMaskOfOnlyBit0IsCompleteAfterTheInstructionPointer) {
    library->With([](ktTestEngine::Machine &m) {
        m.context.rip = 0x401100;
        m.context.cr3 = 0x1A5003;
    });
    ktContext context;
    context.wantedMask = 1;
    EXPECT_EQ(engine->GetContext(&context), 0);
    EXPECT_TRUE(context.complete);
    EXPECT_EQ(context.validMask, 1u);
    EXPECT_EQ(context.values[0], 0x401100u);
    EXPECT_EQ(context.values[1], 0u);
}

TEST_F(SbDbgEng, AFailedReadOfRegistersLeavesTheContextAlone) {
    library->With([](ktTestEngine::Machine &m) { m.context.rip = 0x401100; });
    library->Misreport("SbGetContext", ktTestEngine::failure);
    ktContext context;
    context.mode = 3;
    context.values[0] = 7;
    EXPECT_LT(engine->GetContext(&context), 0);
    EXPECT_EQ(context.mode, 3u);
    EXPECT_EQ(context.values[0], 7u);
    EXPECT_EQ(context.validMask, 0u);
}

TEST_F(SbDbgEng, RegistersThatAreNotWrittenAreThoseOfAnEmptyRecord) {
    library->With([](ktTestEngine::Machine &m) {
        std::memset(static_cast<void *>(&m.context), 0xA5, sizeof(m.context));
        m.mode = 5;
    });
    ktContext context;
    context.wantedMask = ~uint64_t{0};
    library->Fail("SbGetContext", 0, SIZE_MAX, 1); // the first read fills the record
    for (int read = 0; read < 2; ++read) {
        EXPECT_EQ(engine->GetContext(&context), 0);
        EXPECT_EQ(context.mode, read == 0 ? 6u : 1u);
        for (uint32_t i = 0; i < ktRegisterCount; ++i) EXPECT_EQ(context.values[i] != 0, read == 0) << i;
    }
}

TEST_F(SbDbgEng, SetContextPutsWhatIsWantedIntoAnEmptyRecord) {
    ktContext context;
    std::iota(std::begin(context.values), std::end(context.values), 0x100);
    context.wantedMask = 1 | uint64_t{1} << 23;
    context.validMask = ~uint64_t{0};
    EXPECT_EQ(engine->SetContext(&context), 0);
    ktRawContext expected = {};
    expected.rip = 0x100;
    expected.selector[1] = 0x100 + 23;
    library->With([&](ktTestEngine::Machine &m) {
        EXPECT_EQ(std::memcmp(&m.context, &expected, sizeof(expected)), 0);
    });
}

TEST_F(SbDbgEng, CpuIdCopiesItsWordsOnSuccess) {
    library->With([](ktTestEngine::Machine &m) { m.cpuIds[7] = {1, 2, 3, 4}; });
    uint32_t words[4] = {};
    EXPECT_EQ(engine->CpuId(7, 0, words), 0);
    EXPECT_EQ((std::vector<uint32_t>{words[0], words[1], words[2], words[3]}),
              (std::vector<uint32_t>{1, 2, 3, 4}));
    library->Misreport("SbCpuId", ktTestEngine::failure);
    words[0] = 9;
    EXPECT_LT(engine->CpuId(7, 0, words), 0);
    EXPECT_EQ(words[0], 9u);
    EXPECT_LT(engine->CpuId(7, 0, nullptr), 0);
}

TEST_F(SbDbgEng, CpuIdWordsThatAreNotWrittenAreZero) {
    library->With([](ktTestEngine::Machine &m) { m.cpuIds[7] = {1, 2, 3, 4}; });
    library->Fail("SbCpuId", 0, SIZE_MAX, 1); // the first read fills the record
    for (int read = 0; read < 2; ++read) {
        uint32_t words[4] = {9, 9, 9, 9};
        EXPECT_EQ(engine->CpuId(7, 0, words), 0);
        for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(words[i], read == 0 ? i + 1 : 0);
    }
}

TEST_F(SbDbgEng, PageWalksAreCopiedFieldByField) {
    library->With([](ktTestEngine::Machine &m) { m.walk = {4, 0x1111, 3, 0x22, 1, {10, 11, 12, 13}}; });
    for (const uint32_t kind : {1u, 2u}) {
        ktPageWalkResult walk;
        EXPECT_EQ(engine->WalkPage(At(kind, 0x1000), &walk), 0);
        EXPECT_EQ(walk.levelCount, 4);
        EXPECT_EQ(walk.reserved1, 0x1111);
        EXPECT_EQ(walk.mode, 3);
        EXPECT_EQ(walk.reserved2, 0x22);
        EXPECT_EQ(walk.valid, 1);
        for (uint32_t i = 0; i < 4; ++i) EXPECT_EQ(walk.entries[i], 10 + i);
    }
    library->Fail("SbWalkPageLinear");
    ktPageWalkResult walk;
    EXPECT_LT(engine->WalkPage(At(2, 0x1000), &walk), 0);
    EXPECT_EQ(walk.levelCount, 0);
}

TEST_F(SbDbgEng, TheLibraryTranslatesVirtualAndLinearAddresses) {
    library->With([](ktTestEngine::Machine &m) { m.translations[{0x1A5000, 0x12345}] = 0xABCDEF; });
    for (const uint32_t kind : {1u, 2u}) {
        uint64_t physical = 0;
        EXPECT_EQ(engine->ToPhysical(At(kind, 0x12345678), &physical), 0) << kind;
        EXPECT_EQ(physical, 0xABCDEF678u) << kind;
    }
}

TEST_F(SbDbgEng, APhysicalAddressIsItself) {
    uint64_t physical = 0;
    EXPECT_EQ(engine->ToPhysical(At(3, 0x123456), &physical), 0);
    EXPECT_EQ(physical, 0x123456u);
    EXPECT_EQ(engine->ToPhysical(At(3, 0x123456), nullptr), 0);
    EXPECT_TRUE(library->Calls().empty());
}

TEST_F(SbDbgEng, ASearchGivesTheAddressWithAnotherValue) {
    library->With([](ktTestEngine::Machine &m) { m.searchHit = 0x8800; });
    for (const uint32_t kind : {1u, 2u, 3u}) {
        hit.Reset();
        EXPECT_EQ(Search(*engine, kind), 0);
        EXPECT_EQ(hit.value, 0x8800u);
        EXPECT_EQ(hit.kind, kind);
        EXPECT_EQ(hit.root, 0x1A5003u);
        EXPECT_EQ(hit.selector, 0x10);
    }
    library->Fail("SbSearchLinearMemory");
    hit.Reset();
    EXPECT_LT(Search(*engine, 2), 0);
    EXPECT_EQ(hit.value, 0u);
}

TEST_F(SbDbgEng, DigestsAreCopiedOnSuccess) {
    library->With([](ktTestEngine::Machine &m) { std::iota(m.digest.begin(), m.digest.end(), uint8_t{1}); });
    uint8_t own[20] = {};
    uint64_t done = 0;
    EXPECT_EQ(engine->ComputeSha1(At(2, 0), own, 0x30, &done), 0);
    EXPECT_EQ(done, 0x30u);
    for (uint32_t i = 0; i < 20; ++i) EXPECT_EQ(own[i], i + 1);
    library->Fail("SbComputeSha1Linear");
    uint8_t untouched[20] = {};
    EXPECT_LT(engine->ComputeSha1(At(2, 0), untouched, 0x30, &done), 0);
    EXPECT_EQ(untouched[0], 0);
    EXPECT_EQ(done, 0u);
}

TEST_F(SbDbgEng, AStepPassesOnThatInterruptsAreNotIgnored) {
    EXPECT_EQ(engine->Step(false), 0);
    EXPECT_EQ(TakeCalls(), Calls{"SbStep E1 0"});
}

TEST_F(SbDbgEng, OperationsWithoutAUseAreNotSupportedAndMakeNoCall) {
    ktDbgEng &any = *engine;
    for (const ktStatus status : {any.Reserved1(), any.Reserved2(), any.Reserved3(), any.Reserved4(),
                                  any.Reserved5(), any.Reserved6()})
        EXPECT_EQ(status, static_cast<int32_t>(0xC000000D));
    EXPECT_TRUE(library->Calls().empty());
}

TEST_F(SbDbgEng, IsAnEngineOverALibrary) {
    EXPECT_EQ(engine->GetEngineType(), 2u);
    EXPECT_NE(engine->CodeBreakPoints(), nullptr);
    EXPECT_NE(ktSbDbgEng::Create(), nullptr);
    engine.reset(); // its library is about to go
    ktEngineLibrary::Release();
    ktEngineLibrary::SetLoader([]() -> std::unique_ptr<ktDynamicLibrary> { return nullptr; });
    EXPECT_EQ(ktSbDbgEng::Create(), nullptr);
}

TEST_F(SbDbgEng, OneThreadGetsThroughWhileTheOtherWaitsInTheLibrary) {
    library->Hold("SbStep");
    std::thread waiting([&] { EXPECT_EQ(engine->Step(true), 0); });
    library->WaitUntilHeld("SbStep");
    EXPECT_EQ(engine->BreakIn(), 0);
    EXPECT_EQ(TakeCalls(), (Calls{"SbStep E1 1", "SbBreakIn E1"}));
    library->Free("SbStep");
    waiting.join();
}
