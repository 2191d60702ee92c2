#include "session/code_read.h"

#include "session/page_cache.h"
#include "session/private_space_reader.h"
#include "session/snapshot.h"
#include "symbols/space.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint64_t bytesBehind = 256; ///< code wanted in front of the instruction pointer
constexpr uint64_t bytesKept = ktSnapshotCodeSize / 4 * 3;
constexpr uint64_t pageMask = ktPageSize - 1;
constexpr uint32_t pageShift = 12;

/// The address of code at `value`, in the segment and space of the snapshot's instruction pointer.
ktAddress CodeAddress(const ktSnapshot &snapshot, uint64_t value) {
    ktAddress address;
    address.value = value;
    address.root = snapshot.PageTableRoot();
    address.selector = static_cast<uint16_t>(snapshot.context.values[ktRegCs]);
    address.kind = ktAddress::kindVirtual;
    return address;
}

bool HasCodeAt(const ktAddress &have, const ktAddress &ip) {
    return have.root == ip.root && have.selector == ip.selector && ip.value >= have.value &&
           ip.value - have.value < bytesKept;
}

/// Keeps the pages of [start, start + size) through later stops. False when one of them is not cached.
bool PinPages(ktPageCache &pages, uint64_t start, uint64_t size) {
    const uint64_t first = start >> pageShift;
    const uint64_t last = (start + size - 1) >> pageShift;
    ktExclusiveGuard guard(pages.lock);
    for (uint64_t number = first; number <= last; ++number) {
        if (ktCachedPage *page = pages.FindPage(number)) {
            page->generation = ktPinnedGeneration;
            continue;
        }
        // The range counts from the first page, by the missing page's number: what was pinned above goes
        // with it, so that no page stays pinned for code that is not on show.
        if (number > 0) pages.StampPages(first, first + number - 1, pages.CurrentStamp());
        return false;
    }
    return true;
}

} // namespace

bool ReadCodeThroughCache(ktSnapshot &snapshot, ktSpace &space, ktDbgEng *engine, bool force) {
    const uint64_t ip = snapshot.context.values[ktRegIp];
    const uint64_t base = snapshot.context.values[ktRegCsBase];
    if (!force && HasCodeAt(snapshot.codeAddress, CodeAddress(snapshot, ip))) return true;

    ktPrivateSpaceReader reader(space, engine);
    uint8_t bytes[ktSnapshotCodeSize];
    uint32_t got = 0;
    uint64_t start = ip + base - bytesBehind;
    if (!reader.ReadAt(start, bytes, sizeof(bytes), got)) {
        // The page before the pointer's may be absent: begin at the pointer's own.
        start = (ip & ~pageMask) + base;
        if (!reader.ReadAt(start, bytes, sizeof(bytes), got)) return false;
    }
    if (!PinPages(space.Pages(), start, got)) return false;
    std::memcpy(snapshot.code, bytes, got);
    snapshot.codeAddress = CodeAddress(snapshot, start - base);
    snapshot.codeSize = got;
    return true;
}

bool ReadCodeDirectly(ktSnapshot &snapshot, ktDbgEng &engine) {
    const uint64_t ip = snapshot.context.values[ktRegIp];
    ktAddress address = CodeAddress(snapshot, ip - bytesBehind);
    uint64_t done = 0;
    // Any result but plain 0 keeps what came, a failure as well; 0 reads once more from the page's start.
    if (engine.ReadTarget(address, snapshot.code, ktSnapshotCodeSize, &done) == 0) {
        address.value = ip & ~pageMask;
        done = 0;
        if (engine.ReadTarget(address, snapshot.code, ktSnapshotCodeSize, &done) < 0) return false;
    }
    snapshot.codeAddress = address;
    snapshot.codeSize = std::min(done, ktSnapshotCodeSize);
    return true;
}
