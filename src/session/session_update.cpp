#include "session/session.h"

#include "session/code_read.h"
#include "session/dbg_eng.h"
#include "session/mem_view_request.h"
#include "symbols/space.h"
#include "symbols/space_list.h"

#include <algorithm>
#include <utility>

bool ktSession::Update(uint32_t flags) {
    uint64_t number = 0;
    ktSnapshot *snapshot = TakeWriteSnapshot(number);
    if (!snapshot) return false;
    if (engineType == ktEngineStatic) {
        snapshot->Reset();
        snapshot->lock.Leave();
        return SelectSpace(nullptr);
    }
    if (TakeTargetState(*snapshot, flags)) {
        PublishSnapshot(snapshot, number);
        return true;
    }
    snapshot->Reset();
    snapshot->lock.Leave();
    return false;
}

/// The write snapshot with its lock entered, or the spare one while a reader holds it. Null without a
/// connection. `number` is the update's, for PublishSnapshot.
ktSnapshot *ktSession::TakeWriteSnapshot(uint64_t &number) {
    for (;;) {
        ktLockGuard guard(rotationLock);
        number = updatesBegun;
        ktSnapshot *snapshot = writeSnapshot;
        if (!snapshot) return nullptr;
        if (snapshot->lock.TryEnter()) {
            ++updatesBegun;
            return snapshot;
        }
        writeSnapshot = spareSnapshot.load();
        spareSnapshot = snapshot;
    }
}

/// Leaves the snapshot's lock and gives it the published role; the old published one takes its role. A state
/// is not published over that of an update which began later: it would hide that the target runs again, or
/// which core was chosen meanwhile.
void ktSession::PublishSnapshot(ktSnapshot *snapshot, uint64_t number) {
    ktLockGuard guard(rotationLock);
    const bool isNewest = number >= numberToPublish;
    const bool hasRoot = (snapshot->context.validMask >> ktRegCr3 & 1) != 0;
    if (isNewest && hasRoot) stopRoot = snapshot->context.values[ktRegCr3];
    if (isNewest) stopMode = snapshot->context.mode;
    snapshot->lock.Leave();
    if (!isNewest) return;
    numberToPublish = number + 1;
    ktSnapshot *old = publishedSnapshot.exchange(snapshot);
    hasPublished = true;
    // It is the spare one when another command thread's update turned the roles meanwhile.
    if (writeSnapshot == snapshot)
        writeSnapshot = old;
    else
        spareSnapshot = old;
}

/// Fills `snapshot` with what the target is at. False when it has to be dropped.
bool ktSession::TakeTargetState(ktSnapshot &snapshot, uint32_t flags) {
    if (!engine) return false;
    const bool assumeRunning = (flags & ktUpdateAssumeRunning) != 0;
    if (!assumeRunning && engine->GetStateInfo(&snapshot.stop) < 0) return false;
    if (assumeRunning || snapshot.stop.running) {
        snapshot.stop.running = true;
        snapshot.stop.reason = 0;
        snapshot.context.validMask = 0;
        snapshot.context.complete = false;
        return true;
    }
    bool taken = true;
    if (!(flags & ktUpdateSkipCpuInfo)) {
        taken = engine->GetCpuInfo(&snapshot.currentCore, &snapshot.coreCount) >= 0;
    }
    if (!(flags & ktUpdateSkipContext) && engine->GetContext(&snapshot.context) < 0) taken = false;
    if (taken) taken = SelectSpace(&snapshot);
    const bool dropCache = (flags & ktUpdateDropCache) != 0;
    if (dropCache) DropPageCache();
    if (!taken) return false;
    if (!(flags & ktUpdateSkipCode) && !ReadCode(snapshot, dropCache)) return false;
    if (!(flags & ktUpdateSkipStack) && !ReadStack(snapshot)) return false;
    if (!(flags & ktUpdateSkipMemViews)) RefreshForNewStop();
    snapshot.space = spaces->Current();
    return true;
}

void ktSession::DropPageCache() {
    ktSpace *space = spaces ? spaces->Current() : nullptr;
    if (!space) return;
    ktExclusiveGuard guard(space->Pages().lock);
    space->Pages().Clear();
}

bool ktSession::ReadCode(ktSnapshot &snapshot, bool force) {
    if (!useSpaceCache) return ReadCodeDirectly(snapshot, *engine);
    return ReadCodeThroughCache(snapshot, *spaces->Current(), engine.get(), force);
}

bool ktSession::ReadStack(ktSnapshot &snapshot) {
    ktAddress address;
    address.value = snapshot.context.values[ktRegSp];
    address.root = snapshot.PageTableRoot();
    address.selector = static_cast<uint16_t>(snapshot.context.values[ktRegSs]);
    address.attribute = 9;
    address.kind = ktAddress::kindVirtual;
    uint64_t done = 0;
    if (engine->ReadTarget(address, snapshot.stack, ktSnapshotStackSize, &done) < 0) return false;
    snapshot.stackAddress = address;
    snapshot.stackSize = std::min(done, ktSnapshotStackSize);
    return true;
}

/// Pages of earlier stops become stale, and the memory views get fresh bytes as far as they can be read.
void ktSession::RefreshForNewStop() {
    ktSpace *space = spaces->Current();
    if (!space->TargetReader()) return;
    {
        ktExclusiveGuard guard(space->Pages().lock);
        space->Pages().RaiseGeneration();
    }
    for (ktMemViewRequest *request : memViewRequests) ++request->pending;
    RefreshMemViews();
}
