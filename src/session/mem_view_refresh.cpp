#include "session/session.h"

#include "session/dbg_eng.h"
#include "session/mem_view_request.h"
#include "session/private_space_reader.h"
#include "symbols/space.h"
#include "symbols/space_list.h"

#include <algorithm>

namespace {

constexpr uint64_t pageBytes = 4096;

bool HasPageTables(const ktAddress &address) {
    return address.kind == ktAddress::kindVirtual || address.kind == ktAddress::kindLinear;
}

/// Tries `read` from the start of the range, then from the next page boundary on: the first page may be
/// absent. `read` takes the bytes to skip and the size, and sets the bytes that came.
template <typename Read>
bool FillRequest(ktMemViewRequest &request, const ktAddress &address, Read &&read) {
    if (!request.buffer) return false;
    for (const uint64_t skip : {uint64_t{0}, pageBytes - address.value % pageBytes}) {
        if (skip > request.size) continue;
        const uint32_t size = request.size - static_cast<uint32_t>(skip);
        uint64_t got = 0;
        if (!read(skip, size, got)) continue;
        request.gotSize = static_cast<uint32_t>(std::min<uint64_t>(got, size));
        request.skipped = static_cast<uint32_t>(skip);
        return true;
    }
    return false;
}

} // namespace

bool ktSession::RefreshMemViews() {
    ktLockGuard guard(refreshLock);
    for (ktMemViewRequest *request : memViewRequests) {
        if (!RefreshMemView(*request)) return false;
    }
    return true;
}

bool ktSession::RefreshMemView(ktMemViewRequest &request) {
    if (request.paused || request.pending == 0) return true;
    ktLockGuard content(request.contentLock);
    ktAddress address;
    {
        ktLockGuard guard(request.addressLock);
        address = request.address;
    }
    ktSpace *space = nullptr;
    if (HasPageTables(address) && spaces) {
        space = address.root ? spaces->Find(address.root) : spaces->Current();
    }
    bool filled = false;
    if (space) {
        ktPrivateSpaceReader reader(*space, engine.get());
        filled = FillRequest(request, address, [&](uint64_t skip, uint32_t size, uint64_t &got) {
            uint32_t came = 0;
            const bool read = reader.ReadAt(address.value + skip, request.buffer, size, came);
            got = came;
            return read;
        });
    }
    if (!filled && engine) {
        if (HasPageTables(address) && address.root == 0) address.root = ktPageTableRoot(stopRoot);
        filled = FillRequest(request, address, [&](uint64_t skip, uint32_t size, uint64_t &got) {
            ktAddress from = address;
            from.value += skip;
            return engine->ReadTarget(from, request.buffer, size, &got) >= 0;
        });
    }
    if (!filled) {
        request.gotSize = 0;
        request.skipped = 0;
    }
    --request.pending;
    return filled;
}
