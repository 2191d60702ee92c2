#pragma once

#include "platform/sync.h"
#include "session/cpu_identity.h"
#include "session/snapshot.h"
#include "symbols/load_progress.h"
#include "symbols/symbol_factory.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <memory>

class ktBreakPointManager;
class ktCmdProcessor;
class ktCmdSet;
class ktDbgEng;
class ktDisasm;
class ktGfxCapture;
class ktGuiLink;
class ktHost;
class ktLines;
class ktPciAccess;
class ktSpace;
class ktSpaceList;
class ktSymbolLocator;
class ktTaskPool;
struct ktMemViewRequest;

/// Bits of ktSession::Update.
enum ktUpdateFlag : uint32_t {
    ktUpdateAssumeRunning = 1, ///< do not ask the engine for its state: the target runs
    ktUpdateSkipCpuInfo = 2,
    ktUpdateSkipContext = 4,
    ktUpdateSkipCode = 8,
    ktUpdateSkipStack = 16,
    ktUpdateSkipMemViews = 32,
    ktUpdateDropCache = 64, ///< empty the current space's page cache and read code anew
};

/// Makes what the session owns but does not know. Each may return null.
struct ktSessionFactories {
    std::unique_ptr<ktDisasm> (*createDisasm)() = nullptr;
    std::unique_ptr<ktCmdSet> (*createCmdSet)() = nullptr;
    /// The engine over a library; null as long as none is bound.
    std::unique_ptr<ktDbgEng> (*createLibraryEngine)() = nullptr;
};

/// The one object that knows the current target. Members are null outside a connection. Every engine
/// call and every Update comes from a command thread; views read snapshots and never the engine.
class ktSession {
public:
    /// Asks `host`, which must outlive the session, for its memory once.
    ktSession(ktHost &host, const ktSessionFactories &factories);
    ~ktSession();
    ktSession(const ktSession &) = delete;
    ktSession &operator=(const ktSession &) = delete;

    /// One attempt. True when connected, also when that was so before. `address` may be null.
    bool Connect(uint32_t newEngineType, uint32_t newTransport, const char *address);
    /// Undoes any connection, whole or partial; safe to call again. A queued command that still runs is
    /// cancelled and waited for, so this is not for the processor's own worker; one thread at a time. Events
    /// are dropped from its beginning on: each would queue one command more to wait for.
    void Disconnect();
    /// True while Disconnect is at work. Any thread.
    bool IsEnding() const { return ending; }
    /// Takes the target's state into a new published snapshot. Never waits for a reader. True when the
    /// state was taken or the target runs; on failure the published snapshot stays.
    bool Update(uint32_t flags);
    /// Makes the space of the snapshot's page-table root current (of the static engine without one).
    bool SelectSpace(const ktSnapshot *snapshot);
    /// Empties the page cache of the current space, if there is one.
    void DropPageCache();
    /// One round over the memory views' requests, in order, up to the first failure.
    bool RefreshMemViews();
    /// Engine events, on the engine's thread: types "update". The code is not looked at. What comes while
    /// a connection is being made is typed once when it stands; what comes without one is dropped.
    static void OnEngineEvent(void *session, uint32_t event);
    /// Events that have come. Any thread.
    uint64_t EventCount() const { return eventCount; }

    bool connected = false;
    bool useSpaceCache = true; ///< chooses how code bytes are read
    bool largeHost = false;    ///< the host has more than 16 GiB of physical memory
    uint32_t engineType = 0;
    uint32_t transportType = 0;
    std::unique_ptr<ktSpaceList> spaces; ///< its presence tells commands that a session exists
    std::unique_ptr<ktDbgEng> engine;
    std::atomic<ktSnapshot *> writeSnapshot{nullptr};
    std::atomic<ktSnapshot *> spareSnapshot{nullptr};
    std::atomic<ktSnapshot *> publishedSnapshot{nullptr}; ///< newest complete state
    std::atomic<ktSnapshot *> heldSnapshot{nullptr};      ///< locked by the render thread at this moment
    /// Whether publishedSnapshot is a state of this session: it points at a record from the start, which may
    /// hold something of the session before, and with the static engine nothing is ever published.
    std::atomic<bool> hasPublished{false};
    /// cr3 of the published snapshot; while the target runs, of the stop before. It is here for commands,
    /// which must not wait for the snapshot's lock.
    std::atomic<uint64_t> stopRoot{0};
    std::atomic<uint32_t> stopMode{0}; ///< the processor's mode there, likewise
    std::unique_ptr<ktCmdSet> sessionCmdSet;
    ktCmdSet *previousCmdSet = nullptr; ///< restored by Disconnect
    ktCmdProcessor *cmdProcessor = nullptr;
    ktGuiLink *gui = nullptr;
    ktLines *outputLines = nullptr; ///< store of command output
    ktLines *logLines = nullptr;    ///< sink of target text, handed to the engine
    ktTaskPool *taskPool = nullptr;
    std::unique_ptr<ktDisasm> disasm;
    ktCriticalSection disasmLock; ///< held by whoever uses `disasm`, from setting it up to its last result
    /// Held by the render thread while a frame uses what the session owns (disassembler, spaces and their
    /// modules), and by whoever takes some of that away; those wait for one frame at most. The render thread
    /// only tries to enter. Taken before every other lock.
    ktCriticalSection viewLock;
    ktSymbolLocator *symbolStore = nullptr;
    std::unique_ptr<ktBreakPointManager> breakPoints;
    std::unique_ptr<ktCpuIdentity> cpuIdentity;
    ktPciAccess *pci = nullptr;
    ktGfxCapture *gfx = nullptr;
    std::list<ktMemViewRequest *> memViewRequests;
    ktSymbolFactory symbolFactory;
    ktLoadProgress loadProgress; ///< of the load that runs; both 0 between loads

private:
    enum class Events { dropped, held, typed };

    std::unique_ptr<ktDbgEng> CreateEngine(uint32_t type, uint32_t transport, const char *address);
    bool CreateMembers();
    bool CreateBreakPoints();
    bool CreateCommands();
    bool ShowCommands();
    void EndQueuedCommands();
    void TearDown();
    void SetEvents(Events newEvents);
    void SetEnding(bool newEnding);

    ktSnapshot *TakeWriteSnapshot(uint64_t &number);
    void PublishSnapshot(ktSnapshot *snapshot, uint64_t number);
    bool TakeTargetState(ktSnapshot &snapshot, uint32_t flags);
    bool ReadCode(ktSnapshot &snapshot, bool force);
    bool ReadStack(ktSnapshot &snapshot);
    void RefreshForNewStop();
    bool RefreshMemView(ktMemViewRequest &request);

    ktHost &host;
    ktSessionFactories factories;
    ktSnapshot snapshots[4];
    /// Over the roles of the snapshots and the two below. Held for a few instructions, by writers only.
    ktCriticalSection rotationLock;
    uint64_t updatesBegun = 0;
    uint64_t numberToPublish = 0; ///< the lowest of an update that may still be published
    std::atomic<uint64_t> eventCount{0};
    ktCriticalSection selectLock;  ///< one SelectSpace at a time
    ktCriticalSection refreshLock; ///< one round at a time: it fills the requests' buffers
    ktCriticalSection eventLock;   ///< over the three below; `ending` is read without it, too
    Events events = Events::dropped;
    bool eventHeld = false;
    std::atomic<bool> ending{false};
};
