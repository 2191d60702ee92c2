#include "session/sb_dbg_eng.h"

#include "support/engine_fixture.h"
#include "support/recording_lines.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

using Calls = std::vector<std::string>;

class SbDbgEngConnect : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(library.Table(), nullptr);
        engine = std::make_unique<ktSbDbgEng>(*library.Table());
    }
    void ExpectClosed() {
        EXPECT_FALSE(engine->IsOpen());
        EXPECT_FALSE(engine->IsAutoInterface());
        EXPECT_EQ(engine->InterfaceName(), nullptr);
        EXPECT_EQ(library->LiveHandles(), 0u);
    }

    ktTestEngineLibrary library;
    std::unique_ptr<ktSbDbgEng> engine;
};

struct FailingStep {
    const char *function;
    size_t callsBefore; ///< of ktConnectCalls, and this one
    Calls closing;
};

const FailingStep failingSteps[] = {
    {"TransportCreate", 1, {}},
    {"TransportSetInterfaceName", 3, {"TransportDestroy T1"}},
    {"TransportSetRawDataCallback", 4, {"TransportDestroy T1"}},
    {"EngCreateEngine", 5, {"TransportDestroy T1"}},
    {"EngAssignTransport", 6, {"EngDestroyEngine E1", "TransportDestroy T1"}},
    {"SbSetEventCallback", 7, {"EngDestroyEngine E1", "TransportDestroy T1"}},
    {"EngStart", 8, {"EngDestroyEngine E1", "TransportDestroy T1"}},
};

class SbDbgEngFailingStep : public SbDbgEngConnect, public testing::WithParamInterface<FailingStep> {};

} // namespace

TEST_F(SbDbgEngConnect, CallsTheLibraryInOrder) {
    EXPECT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    EXPECT_EQ(library->Calls(), ktConnectCalls);
    EXPECT_TRUE(engine->IsOpen());
    EXPECT_TRUE(engine->IsAutoInterface());
    EXPECT_STREQ(engine->InterfaceName(), "demo");
}

TEST_F(SbDbgEngConnect, CloseDestroysTheEngineAndThenTheTransport) {
    ASSERT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    library->ForgetCalls();
    engine.reset();
    EXPECT_EQ(library->Calls(), (Calls{"EngDestroyEngine E1", "TransportDestroy T1"}));
    EXPECT_EQ(library->LiveHandles(), 0u);
}

TEST_F(SbDbgEngConnect, ClosingWhatWasNeverOpenCallsNothing) {
    engine.reset();
    EXPECT_TRUE(library->Calls().empty());
}

TEST_F(SbDbgEngConnect, AnAddressIsTheInterfaceName) {
    EXPECT_EQ(engine->Connect(ktTransportNet, "10.0.0.1:50000"), 0);
    EXPECT_EQ(library->Count("TransportGetInterfaceName"), 0u);
    EXPECT_EQ(library->Calls()[0], "TransportCreate 6");
    EXPECT_EQ(library->Calls()[1], "TransportSetInterfaceName T1 \"10.0.0.1:50000\"");
    EXPECT_FALSE(engine->IsAutoInterface());
    EXPECT_STREQ(engine->InterfaceName(), "10.0.0.1:50000");
}

TEST_F(SbDbgEngConnect, AnEmptyAddressIsAnAddress) {
    EXPECT_EQ(engine->Connect(ktTransportNet, ""), 0);
    EXPECT_EQ(library->Calls()[1], "TransportSetInterfaceName T1 \"\"");
}

TEST_F(SbDbgEngConnect, TransportsPassAsTheyAreAndOthersAreNone) {
    const std::pair<uint32_t, const char *> cases[] = {
        {0, "0"}, {1, "1"}, {2, "2"}, {3, "3"},  {4, "4"},  {5, "5"},           {6, "6"},
        {7, "7"}, {8, "8"}, {9, "9"}, {10, "A"}, {11, "0"}, {4294967295u, "0"},
    };
    for (const auto &[transport, passed] : cases) {
        library->ForgetCalls();
        EXPECT_EQ(engine->Connect(transport, "x"), 0);
        const Calls calls = library->Calls();
        EXPECT_NE(std::find(calls.begin(), calls.end(), std::string("TransportCreate ") + passed),
                  calls.end())
            << transport;
    }
}

TEST_F(SbDbgEngConnect, WithoutAnInterfaceTheLibraryGetsNullAndDecides) {
    library->With([](ktTestEngine::Machine &m) { m.interfaces.clear(); });
    EXPECT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    EXPECT_EQ(library->Calls()[2], "TransportSetInterfaceName T1 null");
    EXPECT_EQ(engine->InterfaceName(), nullptr);
    EXPECT_TRUE(engine->IsAutoInterface());

    library->Fail("TransportSetInterfaceName", -7);
    EXPECT_EQ(engine->Connect(ktTransportLocal, nullptr), -7);
    ExpectClosed();
}

TEST_F(SbDbgEngConnect, AnInterfaceOfEmptyNameIsPassedAsItIs) {
    library->With([](ktTestEngine::Machine &m) { m.interfaces = {""}; });
    EXPECT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    EXPECT_EQ(library->Calls()[2], "TransportSetInterfaceName T1 \"\"");
    EXPECT_STREQ(engine->InterfaceName(), "");
}

TEST_F(SbDbgEngConnect, AnInterfaceNameThatIsNotWrittenIsEmpty) {
    library->With([](ktTestEngine::Machine &m) { m.interfaces = {std::string(500, 'x')}; });
    ASSERT_EQ(engine->Connect(ktTransportLocal, nullptr), 0); // fills the buffer
    library->ForgetCalls();
    library->Fail("TransportGetInterfaceName", 0);
    EXPECT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    EXPECT_EQ(library->Calls()[4], "TransportSetInterfaceName T2 \"\"") << "and not null";
    EXPECT_STREQ(engine->InterfaceName(), "");
}

TEST_F(SbDbgEngConnect, AnInterfaceNameWithoutAnEndIsCutAtTheBuffer) {
    library->With([](ktTestEngine::Machine &m) { m.interfaces = {std::string(500, 'x')}; });
    EXPECT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    EXPECT_EQ(engine->InterfaceName(), std::string(128, 'x'));
}

TEST_P(SbDbgEngFailingStep, ClosesAndReturnsTheStatus) {
    const FailingStep &step = GetParam();
    library->Fail(step.function, -42);
    EXPECT_EQ(engine->Connect(ktTransportLocal, nullptr), -42);
    Calls expected(ktConnectCalls.begin(), ktConnectCalls.begin() + static_cast<ptrdiff_t>(step.callsBefore));
    expected.insert(expected.end(), step.closing.begin(), step.closing.end());
    EXPECT_EQ(library->Calls(), expected);
    ExpectClosed();
}

INSTANTIATE_TEST_SUITE_P(Steps, SbDbgEngFailingStep, testing::ValuesIn(failingSteps),
                         [](const auto &test) { return test.param.function; });

TEST_F(SbDbgEngConnect, PositiveStatusesAreSuccessAndTheLastIsReturned) {
    library->Fail("TransportSetInterfaceName", 3);
    library->Fail("EngStart", 5);
    EXPECT_EQ(engine->Connect(ktTransportLocal, nullptr), 5);
    EXPECT_TRUE(engine->IsOpen());
}

TEST_F(SbDbgEngConnect, TimeoutAndRetriesMayFail) {
    library->Fail("EngSetRequestTimeout");
    library->Fail("EngSetRequestRetryCount");
    EXPECT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    EXPECT_TRUE(engine->IsOpen());
    EXPECT_EQ(library->Calls(), ktConnectCalls);
}

TEST_F(SbDbgEngConnect, ConnectOnAnOpenEngineClosesItFirst) {
    ASSERT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    library->ForgetCalls();
    EXPECT_EQ(engine->Connect(ktTransportNet, "x"), 0);
    const Calls calls = library->Calls();
    EXPECT_EQ(calls[0], "EngDestroyEngine E1");
    EXPECT_EQ(calls[1], "TransportDestroy T1");
    EXPECT_EQ(calls[2], "TransportCreate 6");
    EXPECT_EQ(calls[3], "TransportSetInterfaceName T2 \"x\"");
    EXPECT_EQ(library->LiveHandles(), 2u);
}

TEST_F(SbDbgEngConnect, AFailedEndIsAnEnd) {
    ASSERT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    library->Fail("EngDestroyEngine");
    library->Fail("TransportDestroy");
    library->ForgetCalls();
    engine.reset();
    EXPECT_EQ(library->Calls(), (Calls{"EngDestroyEngine E1", "TransportDestroy T1"}));
}

TEST_F(SbDbgEngConnect, TheCallbackIsRegisteredAlsoWithoutAHandle) {
    EXPECT_EQ(engine->SetEventCallback([](void *, uint32_t) {}, nullptr), SABLE_BAD_ARGUMENT);
    EXPECT_EQ(library->Calls(), Calls{"SbSetEventCallback null"});
    ASSERT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    library->ForgetCalls();
    EXPECT_EQ(engine->SetEventCallback(nullptr, nullptr), 0);
    EXPECT_EQ(library->Calls(), Calls{"SbSetEventCallback E1"});
}

TEST_F(SbDbgEngConnect, EventCodesAreMapped) {
    std::vector<uint32_t> codes;
    engine->SetEventCallback(
        [](void *context, uint32_t code) { static_cast<std::vector<uint32_t> *>(context)->push_back(code); },
        &codes);
    ASSERT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    for (const int event : {0, 1, 2, 3, 4, 5, 6, 128, 255}) library->RaiseEvent(static_cast<uint8_t>(event));
    EXPECT_EQ(codes, (std::vector<uint32_t>{1, 0, 2, 4, 3, 5, 0, 0, 0}));
}

TEST_F(SbDbgEngConnect, WithoutACallbackEventsAreDropped) {
    ASSERT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    library->RaiseEvent(3);
    EXPECT_TRUE(engine->IsOpen());
}

TEST_F(SbDbgEngConnect, RawDataGoesToTheSinkUnderItsLock) {
    class Sink final : public ktRecordingLines {
    public:
        bool Append(const char *bytes, uint64_t size) override {
            text.append(bytes, size);
            appendedUnderLock = exclusiveHeld;
            return true;
        }
        std::string text;
        bool appendedUnderLock = false;
    } sink;
    EXPECT_EQ(engine->SetLogSink(&sink), 0);
    ASSERT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    const std::string bytes("no end\0\r\nnext", 13);
    library->SendRawData(bytes);
    EXPECT_EQ(sink.text, bytes);
    EXPECT_TRUE(sink.appendedUnderLock);
    EXPECT_FALSE(sink.exclusiveHeld);
    EXPECT_EQ(engine->SetLogSink(nullptr), 0);
    library->SendRawData("dropped");
    EXPECT_EQ(sink.text, bytes);
}

TEST_F(SbDbgEngConnect, CallbacksDuringTheEndAreSafe) {
    ktRecordingLines sink;
    int events = 0;
    engine->SetLogSink(&sink);
    engine->SetEventCallback([](void *context, uint32_t) { ++*static_cast<int *>(context); }, &events);
    ASSERT_EQ(engine->Connect(ktTransportLocal, nullptr), 0);
    library->SetHook([&](const std::string &function) {
        if (function != "EngDestroyEngine" && function != "TransportDestroy") return;
        std::thread([&] {
            library->RaiseEvent(2);
            library->SendRawData("bye\n");
        }).join();
    });
    engine.reset();
    EXPECT_EQ(events, 1) << "the engine's end ends its events";
}
