#include "core/sha1.h"

#include <algorithm>
#include <array>

#include <nettle/sha1.h>

#include "core/address_space.h"

namespace sable {

int32_t ComputeSha1(AddressSpace &space, uint64_t address, uint32_t size, WorkMonitor &monitor,
                    ktSbRawSha1 &digest, uint32_t &done) {
    static_assert(sizeof digest.digest == SHA1_DIGEST_SIZE);
    sha1_ctx hash;
    sha1_init(&hash);
    std::array<uint8_t, 16384> chunk;
    done = 0;
    while (done < size) {
        if (!monitor.GoOn()) return SABLE_FAILED;
        const uint32_t wanted = std::min(size - done, uint32_t(chunk.size()));
        uint32_t came = 0;
        const int32_t status = space.Read(address + done, chunk.data(), wanted, came);
        sha1_update(&hash, came, chunk.data());
        done += came;
        if (status < 0) return status;
        // Behind the highest address there is none.
        if (came < wanted || (done < size && address + done < address)) return SABLE_FAILED;
    }
    sha1_digest(&hash, sizeof digest.digest, digest.digest);
    return SABLE_OK;
}

} // namespace sable
