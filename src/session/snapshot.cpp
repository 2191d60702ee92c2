#include "session/snapshot.h"

void ktSnapshotState::Reset() {
    coreCount = 0;
    currentCore = 0;
    space = nullptr;
    codeSize = ktSnapshotCodeSize;
    stackSize = ktSnapshotStackSize;
    context.validMask = 0;
    context.complete = false;
}
