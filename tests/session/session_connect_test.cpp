#include "session/session.h"

#include "platform/thread.h"
#include "support/session_rig.h"
#include "support/symbol_builder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace {

using Calls = std::vector<std::string>;

const Calls connectCalls = {
    "SetLogSink",
    "SetEventCallback",
    "Connect 6 10.0.0.1",
    "GetStateInfo",
    "GetCpuInfo",
    "GetContext",
    "ReadTarget kind 2 at 0000:401000 root 80000000001A5003 attribute 9 for 1000",
    "ReadTarget kind 1 at 0018:700010 root 1A5000 attribute 9 for 80",
    "CpuId 80000002 0",
    "CpuId 80000003 0",
    "CpuId 80000004 0",
    "CpuId 80000005 0",
    "CpuId 80000008 0",
};

void ExpectNoConnection(const ktSessionRig &rig) {
    EXPECT_FALSE(rig.session.connected);
    EXPECT_EQ(rig.session.spaces, nullptr);
    EXPECT_EQ(rig.session.engine, nullptr);
    EXPECT_EQ(rig.session.disasm, nullptr);
    EXPECT_EQ(rig.session.cpuIdentity, nullptr);
    EXPECT_EQ(rig.session.sessionCmdSet, nullptr);
    EXPECT_EQ(rig.session.previousCmdSet, nullptr);
    EXPECT_EQ(rig.session.writeSnapshot, nullptr);
    EXPECT_EQ(rig.session.spareSnapshot, nullptr);
    EXPECT_EQ(rig.session.publishedSnapshot, nullptr);
    EXPECT_EQ(rig.session.heldSnapshot, nullptr);
    EXPECT_EQ(rig.gui.session, nullptr);
    EXPECT_EQ(rig.gui.disasm, nullptr);
    EXPECT_EQ(rig.processor.symbolStore, nullptr);
    EXPECT_EQ(rig.processor.CurrentSet(), &rig.startup);
}

/// A type whose end writes down the calls that its target has seen by then.
class MortalType final : public ktType {
public:
    MortalType(const ktFakeTarget &newTarget, std::vector<Calls> &newEnds)
        : ktType(1), target(newTarget), ends(newEnds) {}
    ~MortalType() override { ends.push_back(target.Calls()); }

    TypeKind GetTypeKind() const override { return typeBasic; }
    uint64_t GetSize() const override { return 1; }

private:
    const ktFakeTarget &target;
    std::vector<Calls> &ends;
};

} // namespace

TEST(SessionHost, Exactly16GiBIsNoLargeHost) {
    ktFakeHost host;
    host.memory = 0x400000000;
    const ktSession session(host, {});
    EXPECT_FALSE(session.largeHost);
    EXPECT_FALSE(session.symbolFactory.indexNames);
}

TEST(SessionHost, OneByteMoreIsALargeHostAndIndexesNames) {
    ktFakeHost host;
    host.memory = 0x400000001;
    const ktSession session(host, {});
    EXPECT_TRUE(session.largeHost);
    EXPECT_TRUE(session.symbolFactory.indexNames);
}

TEST(SessionHost, UnknownMemoryCountsAsNone) {
    ktFakeHost host;
    host.memory = 0x800000000;
    host.memoryKnown = false;
    const ktSession session(host, {});
    EXPECT_FALSE(session.largeHost);
    EXPECT_FALSE(session.symbolFactory.indexNames);
}

TEST(SessionHost, StartsWithEverythingClearAndTheSpaceCacheInUse) {
    ktSessionRig rig;
    ExpectNoConnection(rig);
    EXPECT_TRUE(rig.session.useSpaceCache);
    EXPECT_EQ(rig.session.engineType, 0u);
    EXPECT_EQ(rig.session.transportType, 0u);
    EXPECT_TRUE(rig.session.memViewRequests.empty());
}

TEST(SessionConnect, CallsTheEngineInOrder) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.session.Connect(ktEngineSable, ktTransportNet, "10.0.0.1"));
    EXPECT_EQ(rig.target.Calls(), connectCalls);
    EXPECT_EQ(rig.target.LogSink(), &rig.log);
    EXPECT_TRUE(rig.session.connected);
    EXPECT_EQ(rig.session.engineType, uint32_t{ktEngineSable});
    EXPECT_EQ(rig.session.transportType, uint32_t{ktTransportNet});
}

TEST(SessionConnect, MakesTheMembersAndTellsTheWindows) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.Connect());
    EXPECT_NE(rig.session.engine, nullptr);
    EXPECT_NE(rig.session.disasm, nullptr);
    ASSERT_NE(rig.session.cpuIdentity, nullptr);
    EXPECT_EQ(rig.session.cpuIdentity->engine, rig.session.engine.get());
    ASSERT_EQ(rig.gui.sessions.size(), 1u);
    EXPECT_EQ(rig.gui.session, &rig.session);
    EXPECT_EQ(rig.gui.disasm, rig.session.disasm.get());
    EXPECT_EQ(rig.processor.symbolStore, rig.Current());
}

TEST(SessionConnect, PublishesTheFirstRecordAndLeavesTheFourthHeld) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.Connect());
    const ktSnapshot *first = rig.session.publishedSnapshot;
    EXPECT_EQ(rig.session.spareSnapshot, first + 1);
    EXPECT_EQ(rig.session.writeSnapshot, first + 2);
    EXPECT_EQ(rig.session.heldSnapshot, first + 3);
}

TEST(SessionConnect, WhileConnectedReturnsSuccessAndChangesNothing) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.ConnectQuietly());
    const ktDbgEng *engine = rig.session.engine.get();
    const int sets = ktRigCmdSet::alive;
    EXPECT_TRUE(rig.session.Connect(ktEngineStatic, ktTransportLocal, "elsewhere"));
    EXPECT_EQ(rig.session.engine.get(), engine);
    EXPECT_EQ(rig.session.engineType, uint32_t{ktEngineSable});
    EXPECT_EQ(rig.session.transportType, uint32_t{ktTransportUsb3});
    EXPECT_EQ(ktRigCmdSet::alive, sets);
    EXPECT_TRUE(rig.target.Calls().empty());
}

class TransportsThatNeedAnAddress : public testing::TestWithParam<uint32_t> {};

TEST_P(TransportsThatNeedAnAddress, FailWithoutOneBeforeAnyCallOfTheEngine) {
    ktSessionRig rig;
    EXPECT_FALSE(rig.session.Connect(ktEngineSable, GetParam(), nullptr));
    EXPECT_EQ(rig.target.Calls(), Calls{"Destroy"});
    EXPECT_EQ(rig.session.engineType, uint32_t{ktEngineSable});
    EXPECT_EQ(rig.session.transportType, GetParam());
    ExpectNoConnection(rig);
}

INSTANTIATE_TEST_SUITE_P(SessionConnect, TransportsThatNeedAnAddress, testing::Values(6u, 9u));

class TransportsWithInterfaces : public testing::TestWithParam<uint32_t> {};

TEST_P(TransportsWithInterfaces, ConnectWithoutAnAddress) {
    ktSessionRig rig;
    EXPECT_TRUE(rig.session.Connect(ktEngineSable, GetParam(), nullptr));
    EXPECT_EQ(rig.target.Calls()[2], "Connect " + std::to_string(GetParam()) + " (null)");
}

INSTANTIATE_TEST_SUITE_P(SessionConnect, TransportsWithInterfaces,
                         testing::Values(1u, 2u, 3u, 4u, 5u, 7u, 8u, 10u));

struct NoEngineCase {
    uint32_t engine;
    uint32_t transport;
};

class WordsWithoutAnEngine : public testing::TestWithParam<NoEngineCase> {};

TEST_P(WordsWithoutAnEngine, FailWithoutMakingOneAndAreStored) {
    ktSessionRig rig;
    EXPECT_FALSE(rig.session.Connect(GetParam().engine, GetParam().transport, "10.0.0.1"));
    EXPECT_TRUE(rig.target.Calls().empty());
    EXPECT_EQ(rig.session.engineType, GetParam().engine);
    EXPECT_EQ(rig.session.transportType, GetParam().transport);
    ExpectNoConnection(rig);
}

INSTANTIATE_TEST_SUITE_P(SessionConnect, WordsWithoutAnEngine,
                         testing::Values(NoEngineCase{0, 2}, NoEngineCase{1, 0}, NoEngineCase{2, 0},
                                         NoEngineCase{0, 0}, NoEngineCase{3, 2}));

TEST(SessionConnect, WithoutALibraryThereIsNoEngine) {
    ktSessionRig rig({ktFakeDisasm::Create, ktRigCmdSet::Create, nullptr});
    EXPECT_FALSE(rig.Connect());
    ExpectNoConnection(rig);
}

TEST(SessionConnect, WithALibraryThatCannotBeLoadedThereIsNoEngine) {
    ktSessionRig rig(
        {ktFakeDisasm::Create, ktRigCmdSet::Create, []() -> std::unique_ptr<ktDbgEng> { return nullptr; }});
    EXPECT_FALSE(rig.Connect());
    ExpectNoConnection(rig);
}

TEST(SessionConnect, MakesADisassemblerAlsoWithoutAnEngine) {
    ktSessionRig rig;
    const int created = ktFakeDisasm::created;
    const int destroyed = ktFakeDisasm::destroyed;
    EXPECT_FALSE(rig.session.Connect(ktEngineNone, ktTransportUsb2, nullptr));
    EXPECT_EQ(ktFakeDisasm::created, created + 1);
    EXPECT_EQ(ktFakeDisasm::destroyed, destroyed + 1);
}

TEST(SessionConnect, ARefusedLinkDestroysTheEngine) {
    ktSessionRig rig;
    rig.target.Fail("Connect");
    EXPECT_FALSE(rig.Connect());
    const Calls expected = {"SetLogSink", "SetEventCallback", "Connect 3 (null)", "Destroy"};
    EXPECT_EQ(rig.target.Calls(), expected);
    ExpectNoConnection(rig);
    EXPECT_EQ(ktRigCmdSet::alive, 0);
}

TEST(SessionConnect, APositiveResultOfTheEngineIsSuccess) {
    ktSessionRig rig;
    rig.target.Fail("Connect", 1);
    EXPECT_TRUE(rig.Connect());
}

TEST(SessionConnect, TheResultOfTheEventRegistrationIsIgnored) {
    ktSessionRig rig;
    rig.target.Fail("SetEventCallback");
    rig.target.Fail("SetLogSink");
    EXPECT_TRUE(rig.Connect());
}

TEST(SessionConnect, AFailingUpdateUndoesEverything) {
    ktSessionRig rig;
    rig.target.Fail("GetContext");
    EXPECT_FALSE(rig.Connect());
    ExpectNoConnection(rig);
    EXPECT_EQ(rig.target.Calls().back(), "Destroy");
    EXPECT_EQ(rig.target.Count("CpuId"), 0u);
    const std::vector<std::pair<ktSession *, ktDisasm *>> &told = rig.gui.sessions;
    ASSERT_EQ(told.size(), 2u);
    EXPECT_EQ(told[0].first, &rig.session);
    EXPECT_EQ(told[1].first, nullptr);
    EXPECT_EQ(told[1].second, nullptr);
}

class IdentityLeaves : public testing::TestWithParam<size_t> {};

TEST_P(IdentityLeaves, AFailingOneUndoesEverything) {
    ktSessionRig rig;
    rig.target.Fail("CpuId", ktFakeTarget::failure, 1, GetParam());
    EXPECT_FALSE(rig.Connect());
    EXPECT_EQ(rig.target.Count("CpuId"), GetParam() + 1);
    ExpectNoConnection(rig);
}

INSTANTIATE_TEST_SUITE_P(SessionConnect, IdentityLeaves, testing::Values(0u, 1u, 2u, 3u, 4u));

TEST(SessionConnect, ARunningTargetConnects) {
    ktSessionRig rig;
    rig.target.SetStop(true, 0);
    EXPECT_TRUE(rig.Connect());
    EXPECT_TRUE(rig.Published()->stop.running);
    EXPECT_EQ(rig.Current(), nullptr);
}

TEST(SessionConnect, AFailedAttemptCanBeRepeated) {
    ktSessionRig rig;
    rig.target.Fail("GetStateInfo", ktFakeTarget::failure, 3);
    EXPECT_FALSE(rig.Connect());
    EXPECT_FALSE(rig.Connect());
    EXPECT_FALSE(rig.Connect());
    EXPECT_TRUE(rig.Connect());
    EXPECT_EQ(rig.processor.CurrentSet(), rig.session.sessionCmdSet.get());
    EXPECT_EQ(ktRigCmdSet::alive, 1);
}

TEST(SessionConnect, WithoutADisassemblerFails) {
    ktSessionRig rig({nullptr, ktRigCmdSet::Create, ktFakeTarget::CreateEngine});
    EXPECT_FALSE(rig.Connect());
    ExpectNoConnection(rig);
}

TEST(SessionConnect, WithoutACommandSetFails) {
    ktSessionRig rig({ktFakeDisasm::Create, nullptr, ktFakeTarget::CreateEngine});
    EXPECT_FALSE(rig.Connect());
    ExpectNoConnection(rig);
    ktSessionRig other({ktFakeDisasm::Create, []() -> std::unique_ptr<ktCmdSet> { return nullptr; },
                        ktFakeTarget::CreateEngine});
    EXPECT_FALSE(other.Connect());
    ExpectNoConnection(other);
}

TEST(SessionConnect, WithoutAProcessorNoCommandsAreSwitched) {
    ktSessionRig rig;
    rig.session.cmdProcessor = nullptr;
    EXPECT_TRUE(rig.Connect());
    EXPECT_EQ(rig.session.sessionCmdSet, nullptr);
    rig.session.Disconnect();
    ExpectNoConnection(rig);
}

TEST(SessionConnect, WithoutWindowsWorks) {
    ktSessionRig rig;
    rig.session.gui = nullptr;
    EXPECT_TRUE(rig.Connect());
    rig.session.Disconnect();
    EXPECT_TRUE(rig.gui.sessions.empty());
}

TEST(SessionCommands, TheNewSetIsCurrentAndBoundAndCarriesTheGuiOver) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.Connect());
    ASSERT_NE(ktRigCmdSet::latest, nullptr);
    EXPECT_EQ(rig.processor.CurrentSet(), ktRigCmdSet::latest);
    EXPECT_EQ(rig.session.previousCmdSet, &rig.startup);
    EXPECT_EQ(rig.processor.FindCommand("q"), nullptr);
    for (const ktScriptedCmd *command : {&ktRigCmdSet::latest->update, &ktRigCmdSet::latest->hello}) {
        EXPECT_EQ(command->context.session, &rig.session);
        EXPECT_EQ(command->context.output, &rig.output);
        EXPECT_EQ(command->context.pool, &rig.pool);
        EXPECT_EQ(command->context.processor, &rig.processor);
        EXPECT_EQ(command->context.gui, &rig.gui);
    }
}

TEST(SessionCommands, AProcessorWithoutASetFailsTheConnect) {
    ktSessionRig rig;
    ktCmdProcessor empty;
    rig.session.cmdProcessor = &empty;
    EXPECT_FALSE(rig.Connect());
    EXPECT_EQ(empty.CurrentSet(), nullptr);
    rig.session.cmdProcessor = &rig.processor;
}

TEST(SessionStatic, ConnectsWithoutATargetAndPublishesNothing) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.session.Connect(ktEngineStatic, ktTransportLocal, nullptr));
    EXPECT_TRUE(rig.target.Calls().empty());
    EXPECT_EQ(rig.session.engine->GetEngineType(), uint32_t{ktEngineStatic});
    ASSERT_NE(rig.Current(), nullptr);
    EXPECT_EQ(rig.Current()->Key(), 0u);
    EXPECT_EQ(rig.Current()->TargetReader(), nullptr);
    EXPECT_EQ(rig.processor.symbolStore, rig.Current());
    const ktSnapshot *first = rig.session.writeSnapshot;
    EXPECT_EQ(rig.session.spareSnapshot, first + 1);
    EXPECT_EQ(rig.session.publishedSnapshot, first + 2);
}

TEST(SessionDisconnect, RestoresTheSetAndDestroysTheSessionsOwn) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.Connect());
    rig.session.Disconnect();
    ExpectNoConnection(rig);
    EXPECT_EQ(ktRigCmdSet::alive, 0);
    EXPECT_NE(rig.processor.FindCommand("q"), nullptr);
    EXPECT_EQ(rig.processor.FindCommand("hello"), nullptr);
}

TEST(SessionDisconnect, DestroysTheDisassemblerAndThenTheEngine) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.ConnectQuietly());
    const int destroyed = ktFakeDisasm::destroyed;
    rig.session.Disconnect();
    EXPECT_EQ(ktFakeDisasm::destroyed, destroyed + 1);
    EXPECT_EQ(rig.target.Calls(), Calls{"Destroy"});
}

TEST(SessionDisconnect, DestroysTheSpacesAndThenTheEngine) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.ConnectQuietly());
    std::vector<Calls> ends;
    ktSymbolBuilder builder;
    ktSpace *other = rig.session.spaces->Append(std::make_unique<ktSpace>(0x9000, nullptr));
    for (ktSpace *space : {rig.Current(), other}) {
        ktModule *module = builder.AddModule("kernel", 0x400000, 0x1000);
        const ktRef<MortalType> type(new MortalType(rig.target, ends));
        builder.AddUnit(module, "main.c")->AddType(type.Get());
        builder.Publish(*space, module);
    }
    EXPECT_TRUE(ends.empty());
    rig.session.Disconnect();
    EXPECT_EQ(ends, (std::vector<Calls>{{}, {}})) << "no call, and so no end of the engine, came before";
    EXPECT_EQ(rig.target.Calls(), Calls{"Destroy"});
}

TEST(SessionDisconnect, IsSafeWithoutAConnectionAndTwice) {
    ktSessionRig rig;
    rig.session.Disconnect();
    ExpectNoConnection(rig);
    ASSERT_TRUE(rig.Connect());
    rig.session.Disconnect();
    rig.session.Disconnect();
    ExpectNoConnection(rig);
    EXPECT_EQ(rig.target.Count("Destroy"), 1u);
}

TEST(SessionDisconnect, KeepsTheTypesAndLetsConnectAgain) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.Connect());
    rig.session.Disconnect();
    EXPECT_EQ(rig.session.engineType, uint32_t{ktEngineSable});
    EXPECT_EQ(rig.session.transportType, uint32_t{ktTransportUsb3});
    EXPECT_TRUE(rig.Connect());
    EXPECT_TRUE(rig.session.connected);
}

TEST(SessionDisconnect, ClearsTheRecordsButNotTheirBytes) {
    ktSessionRig rig;
    rig.target.SetCores(3, 4);
    ASSERT_TRUE(rig.Connect());
    const ktSnapshot *published = rig.Published();
    ASSERT_EQ(published->coreCount, 4u);
    rig.session.Disconnect();
    EXPECT_EQ(published->coreCount, 0u);
    EXPECT_EQ(published->currentCore, 0u);
    EXPECT_EQ(published->space, nullptr);
    EXPECT_EQ(published->context.validMask, 0u);
    EXPECT_FALSE(published->context.complete);
    EXPECT_EQ(published->context.values[ktRegIp], ktSessionRig::ip);
    EXPECT_EQ(published->codeAddress.value, ktSessionRig::ip - 256);
    EXPECT_EQ(published->code[0], 0x01);
}

TEST(SessionDisconnect, WaitsForACommandOfTheSetThatStillRuns) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.Connect());
    std::atomic<bool> ended = false;
    ktEvent cancelled;
    ktScriptedCmd &wait = ktRigCmdSet::latest->wait;
    wait.body = [&](ktCmdArg *, uint32_t) {
        cancelled.Wait();
        ended = true;
        return uint32_t{ktCmdCancelled};
    };
    wait.onCancel = [&] {
        cancelled.Set();
        return false;
    };
    ASSERT_EQ(rig.processor.RunLine("wait"), uint32_t{ktCmdQueued});
    rig.session.Disconnect();
    EXPECT_TRUE(ended);
    ExpectNoConnection(rig);
    EXPECT_FALSE(rig.processor.CancelRunning()) << "the command is gone with its set";
}

TEST(SessionDisconnect, HappensWithTheSessionsEnd) {
    ktCmdProcessor processor;
    ktScriptedCmd quit{"q"};
    ktScriptedCmdSet startup{&quit};
    processor.RegisterSet(&startup);
    ktFakeTarget target;
    ktFakeHost host;
    target.SetStop(true, 0);
    {
        ktSession session(host, ktSessionRig::fakes);
        session.cmdProcessor = &processor;
        ASSERT_TRUE(session.Connect(ktEngineSable, ktTransportUsb3, nullptr));
    }
    EXPECT_EQ(processor.CurrentSet(), &startup);
    EXPECT_EQ(target.Calls().back(), "Destroy");
}

TEST(SessionEvents, AnyEventTypesUpdate) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.Connect());
    rig.target.RaiseEvent(4);
    rig.processor.Worker().WaitUntilIdle();
    rig.target.RaiseEvent(0);
    rig.processor.Worker().WaitUntilIdle();
    EXPECT_EQ(ktRigCmdSet::latest->update.runs, 2u);
    EXPECT_EQ(rig.processor.History().size(), 1u);
    EXPECT_STREQ(rig.processor.History()[0], "update");
}

TEST(SessionEvents, WithoutAProcessorAreDropped) {
    ktSessionRig rig;
    rig.session.cmdProcessor = nullptr;
    ASSERT_TRUE(rig.ConnectQuietly());
    rig.target.RaiseEvent(1);
    EXPECT_TRUE(rig.target.Calls().empty());
}

TEST(SessionEvents, WithoutAConnectionAreDropped) {
    ktSessionRig rig;
    ktSession::OnEngineEvent(&rig.session, 1);
    EXPECT_TRUE(rig.processor.History().empty());
    EXPECT_FALSE(rig.processor.IsBusy());
}

TEST(SessionEvents, WhileTheConnectionIsMadeAreTypedOnceWhenItStands) {
    ktSessionRig rig;
    rig.target.Hold("GetCpuInfo"); // in the update
    std::thread connecting([&] { EXPECT_TRUE(rig.Connect()); });
    rig.target.WaitUntilHeld("GetCpuInfo");
    rig.target.RaiseEvent(1);
    rig.target.RaiseEvent(2);
    EXPECT_TRUE(rig.processor.History().empty());
    rig.target.Free("GetCpuInfo");
    connecting.join();
    rig.processor.Worker().WaitUntilIdle();
    EXPECT_EQ(ktRigCmdSet::latest->update.runs, 1u);
}

TEST(SessionEvents, OfAnAttemptThatFailedAreForgotten) {
    ktSessionRig rig;
    rig.target.Hold("GetCpuInfo");
    rig.target.Fail("GetContext", ktFakeTarget::failure, 1);
    std::thread connecting([&] { EXPECT_FALSE(rig.Connect()); });
    rig.target.WaitUntilHeld("GetCpuInfo");
    rig.target.RaiseEvent(1);
    rig.target.Free("GetCpuInfo");
    connecting.join();
    ASSERT_TRUE(rig.Connect());
    EXPECT_TRUE(rig.processor.History().empty());
    EXPECT_EQ(ktRigCmdSet::latest->update.runs, 0u);
}

TEST(SessionEvents, AreDroppedFromTheBeginningOfTheEndOn) {
    ktSessionRig rig;
    ASSERT_TRUE(rig.Connect());
    EXPECT_FALSE(rig.session.IsEnding());
    ktEvent cancelled;
    ktScriptedCmd &wait = ktRigCmdSet::latest->wait;
    wait.body = [&](ktCmdArg *, uint32_t) {
        cancelled.Wait();
        EXPECT_TRUE(rig.session.IsEnding());
        rig.target.RaiseEvent(1);
        return uint32_t{ktCmdCancelled};
    };
    wait.onCancel = [&] {
        cancelled.Set();
        return false;
    };
    ASSERT_EQ(rig.processor.RunLine("wait"), uint32_t{ktCmdQueued});
    rig.session.Disconnect();
    EXPECT_FALSE(rig.session.IsEnding());
    EXPECT_EQ(rig.processor.History().size(), 1u) << "no line but the one typed";
    ASSERT_TRUE(rig.Connect());
    EXPECT_EQ(ktRigCmdSet::latest->update.runs, 0u) << "none was kept";
    rig.target.RaiseEvent(1);
    rig.processor.Worker().WaitUntilIdle();
    EXPECT_EQ(ktRigCmdSet::latest->update.runs, 1u) << "a new connection has its own";
}

TEST(SessionEvents, AreDroppedAlsoWhenAConnectionComesToStandDuringTheEnd) {
    ktSessionRig rig;
    rig.target.Hold("CpuId"); // behind the update
    ktTask connectTask;
    connectTask.argCount = 1;
    connectTask.args[0] = reinterpret_cast<uint64_t>(&rig);
    connectTask.entry = [](ktTask *task) -> uint64_t {
        auto &its = *reinterpret_cast<ktSessionRig *>(task->args[0]);
        EXPECT_TRUE(its.Connect());
        its.target.RaiseEvent(2);
        return 0;
    };
    ASSERT_TRUE(rig.processor.Worker().Submit(&connectTask, nullptr)); // as the command `connect` would run
    rig.target.WaitUntilHeld("CpuId");
    rig.target.RaiseEvent(1); // held until the connection stands
    std::thread ending([&] { rig.session.Disconnect(); });
    while (!rig.session.IsEnding()) YieldThread();
    rig.target.Free("CpuId");
    ending.join();
    ExpectNoConnection(rig);
    EXPECT_TRUE(rig.processor.History().empty());
    EXPECT_EQ(ktRigCmdSet::alive, 0);
}

TEST(SessionEvents, TheSessionsCommandsAreUnknownUntilTheConnectionStands) {
    ktSessionRig rig;
    rig.target.Fail("GetContext", ktFakeTarget::failure, 1);
    rig.target.Hold("GetContext");
    ktTask connectTask;
    connectTask.argCount = 1;
    connectTask.args[0] = reinterpret_cast<uint64_t>(&rig);
    connectTask.entry = [](ktTask *task) -> uint64_t {
        return reinterpret_cast<ktSessionRig *>(task->args[0])->Connect();
    };
    ASSERT_TRUE(rig.processor.Worker().Submit(&connectTask, nullptr)); // as the command `connect` would run
    rig.target.WaitUntilHeld("GetContext");
    EXPECT_EQ(rig.processor.RunLine("wait"), uint32_t{ktCmdUnknown});
    rig.target.Free("GetContext");
    rig.processor.Worker().WaitUntilIdle();
    ExpectNoConnection(rig);
    EXPECT_EQ(ktRigCmdSet::alive, 0);
    ASSERT_TRUE(rig.Connect());
    EXPECT_EQ(rig.processor.RunLine("wait"), uint32_t{ktCmdQueued});
    rig.session.Disconnect();
    EXPECT_EQ(ktRigCmdSet::alive, 0);
}
