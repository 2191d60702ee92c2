#include "session/session.h"

#include "app/gui_link.h"
#include "commands/cmd.h"
#include "commands/cmd_processor.h"
#include "commands/cmd_set.h"
#include "disasm/disasm.h"
#include "platform/host.h"
#include "session/break_point_manager.h"
#include "session/dbg_eng.h"
#include "session/private_space_reader.h"
#include "session/sb_break_point_manager.h"
#include "session/sb_data_reader.h"
#include "session/static_break_point_manager.h"
#include "session/static_dbg_eng.h"
#include "symbols/space.h"
#include "symbols/space_list.h"

#include <new>
#include <utility>

namespace {

constexpr uint64_t largeHostBytes = 0x400000000; // 16 GiB

/// Transports that name no interface of their own to fall back on.
bool NeedsAddress(uint32_t transport) { return transport == ktTransportNet || transport == ktTransportPipe; }

template <typename F>
void ForEachCommand(ktCmdSet &set, F &&action) {
    for (uint64_t i = 0; ktCmd *command = set.GetCommand(i); ++i) action(*command);
}

} // namespace

ktSession::ktSession(ktHost &newHost, const ktSessionFactories &newFactories)
    : host(newHost), factories(newFactories) {
    uint64_t bytes = 0;
    if (!host.PhysicalMemory(bytes)) bytes = 0;
    largeHost = bytes > largeHostBytes;
    symbolFactory.indexNames = largeHost;
}

ktSession::~ktSession() { Disconnect(); }

bool ktSession::Connect(uint32_t newEngineType, uint32_t newTransport, const char *address) {
    if (connected) return true;
    engine = CreateEngine(newEngineType, newTransport, address);
    engineType = newEngineType;
    transportType = newTransport;
    if (factories.createDisasm) disasm = factories.createDisasm();
    if (engine && disasm && CreateMembers() && CreateCommands() && Update(0) && cpuIdentity->Read() &&
        ShowCommands()) {
        connected = true;
        SetEvents(Events::typed);
        return true;
    }
    TearDown();
    return false;
}

std::unique_ptr<ktDbgEng> ktSession::CreateEngine(uint32_t type, uint32_t transport, const char *address) {
    if (transport == ktTransportNone) return nullptr;
    if (type == ktEngineStatic) return std::unique_ptr<ktDbgEng>(new (std::nothrow) ktStaticDbgEng(host));
    if (type != ktEngineSable || !factories.createLibraryEngine) return nullptr;
    std::unique_ptr<ktDbgEng> made = factories.createLibraryEngine();
    if (!made || (!address && NeedsAddress(transport))) return nullptr;
    made->SetLogSink(logLines);
    // There is no link yet, so the result tells nothing: Connect registers the callback once more.
    made->SetEventCallback(OnEngineEvent, this);
    if (made->Connect(transport, address) < 0) return nullptr;
    return made;
}

bool ktSession::CreateMembers() {
    spaces.reset(new (std::nothrow) ktSpaceList);
    if (!spaces) return false;
    writeSnapshot = &snapshots[0];
    spareSnapshot = &snapshots[1];
    publishedSnapshot = &snapshots[2];
    heldSnapshot = &snapshots[3];
    hasPublished = false;
    cpuIdentity.reset(new (std::nothrow) ktCpuIdentity);
    if (!cpuIdentity) return false;
    if (!CreateBreakPoints()) return false;
    cpuIdentity->engine = engine.get();
    if (gui) gui->SetSession(this, disasm.get());
    return true;
}

bool ktSession::CreateBreakPoints() {
    if (engine->GetEngineType() == ktEngineSable) {
        breakPoints.reset(new (std::nothrow) ktSbBreakPointManager);
    } else {
        breakPoints.reset(new (std::nothrow) ktStaticBreakPointManager);
    }
    if (breakPoints && !breakPoints->Initialize(engine.get())) breakPoints.reset();
    return breakPoints != nullptr;
}

bool ktSession::CreateCommands() {
    if (!cmdProcessor) return true;
    ktCmdSet *current = cmdProcessor->CurrentSet();
    if (!current || !factories.createCmdSet) return false;
    ktCmdContext context; // what the session does not know, such as the windows, comes from the old set
    ForEachCommand(*current, [&context](ktCmd &command) { command.GetCmdContext(&context); });
    sessionCmdSet = factories.createCmdSet();
    if (!sessionCmdSet) return false;
    previousCmdSet = current;
    context.session = this;
    context.output = outputLines;
    context.pool = taskPool;
    context.processor = cmdProcessor;
    ForEachCommand(*sessionCmdSet, [&context](ktCmd &command) { command.SetCmdContext(context); });
    SetEvents(Events::held);
    return true;
}

/// Lets lines reach the session's commands. It comes last: they run at once on other threads, so they
/// must never see a session that is not whole, or one that a failed attempt takes apart.
bool ktSession::ShowCommands() { return !cmdProcessor || cmdProcessor->RegisterSet(sessionCmdSet.get()); }

void ktSession::Disconnect() {
    SetEnding(true);
    EndQueuedCommands(); // `connect` may be among them, and the connection that it makes goes as well
    TearDown();
    SetEnding(false);
}

void ktSession::EndQueuedCommands() {
    if (cmdProcessor) cmdProcessor->StopCommands();
}

void ktSession::TearDown() {
    SetEvents(Events::dropped);
    {
        ktLockGuard guard(viewLock); // a frame may still be using what goes
        if (gui) gui->SetSession(nullptr, nullptr);
    }
    if (cmdProcessor) cmdProcessor->symbolStore = nullptr;
    spaces.reset();
    cpuIdentity.reset();
    breakPoints.reset();
    disasm.reset();
    engine.reset();
    writeSnapshot = nullptr;
    spareSnapshot = nullptr;
    publishedSnapshot = nullptr;
    heldSnapshot = nullptr;
    stopRoot = 0;
    stopMode = ktModeUnknown;
    for (ktSnapshot &snapshot : snapshots) {
        ktLockGuard guard(snapshot.lock); // a frame may still be drawing from it
        snapshot.Reset();
    }
    if (sessionCmdSet && cmdProcessor) cmdProcessor->RegisterSet(previousCmdSet);
    previousCmdSet = nullptr;
    sessionCmdSet.reset(); // with the command that runs, when that is `disconnect`
    connected = false;
}

bool ktSession::SelectSpace(const ktSnapshot *snapshot) {
    uint64_t key = 0;
    if (engineType == ktEngineSable) {
        if (!snapshot) return false;
        key = snapshot->context.values[ktRegCr3];
    } else if (engineType != ktEngineStatic) {
        return false;
    }
    if (!spaces) return false;
    ktLockGuard guard(selectLock);
    ktSpace *space = nullptr;
    if (const ktSpace *current = spaces->Current()) {
        if (current->Key() == key) return true;
        space = spaces->Find(key);
    }
    if (!space) {
        std::unique_ptr<DataReader> source;
        if (engineType == ktEngineSable) {
            source.reset(new (std::nothrow) ktSbDataReader(engine.get(), SpaceSourceAddress(key)));
            if (!source) return false;
        }
        std::unique_ptr<ktSpace> made(new (std::nothrow) ktSpace(key, std::move(source)));
        if (!made) return false;
        space = spaces->Append(std::move(made));
    }
    spaces->SetCurrent(space);
    if (cmdProcessor) cmdProcessor->symbolStore = space;
    return true;
}

void ktSession::OnEngineEvent(void *session, uint32_t) {
    auto &self = *static_cast<ktSession *>(session);
    ++self.eventCount; // before anything can be known of the event
    ktLockGuard guard(self.eventLock);
    if (self.events == Events::typed && self.cmdProcessor) self.cmdProcessor->RunLine("update");
    if (self.events == Events::held) self.eventHeld = true;
}

/// Without effect on a session that is ending.
void ktSession::SetEvents(Events newEvents) {
    ktLockGuard guard(eventLock);
    events = ending ? Events::dropped : newEvents;
    if (events == Events::typed && eventHeld && cmdProcessor) cmdProcessor->RunLine("update");
    if (events != Events::held) eventHeld = false;
}

/// The end starts with no event on its way, and leaves none held.
void ktSession::SetEnding(bool newEnding) {
    ktLockGuard guard(eventLock);
    ending = newEnding;
    events = Events::dropped;
    eventHeld = false;
}
