#include <algorithm>
#include <vector>

#include "core/memory_search.h"
#include "core/page_walk.h"
#include "core/sha1.h"
#include "front/exports.h"
#include "front/place.h"
#include "front/transfer.h"

// Memory by its three kinds of address.

using namespace sable;

namespace {

int32_t ReadMemory(void *engine, const Place &place, void *buffer, uint32_t size, uint32_t *done) {
    return ReadInChunks(
        engine, buffer, size, memoryChunk, done,
        [=](TargetSession &session, uint32_t offset, uint8_t *bytes, uint32_t count, uint32_t &came) {
            return InSpace(session, place.Behind(offset), [&](AddressSpace &space, uint64_t address) {
                return space.Read(address, bytes, count, came);
            });
        });
}

int32_t WriteMemory(void *engine, const Place &place, const void *buffer, uint32_t size, uint32_t *done) {
    return WriteInChunks(
        engine, buffer, size, memoryChunk, done,
        [=](TargetSession &session, uint32_t offset, const uint8_t *bytes, uint32_t count, uint32_t &came) {
            return InSpace(session, place.Behind(offset), [&](AddressSpace &space, uint64_t address) {
                return space.Write(address, bytes, count, came);
            });
        });
}

int32_t FindPattern(void *engine, const Place &start, uint64_t end, const void *pattern, uint32_t patternSize,
                    uint32_t step, uint32_t one, uint64_t *hit) {
    return WithEngine(engine, [&](Engine &found) {
        if (pattern == nullptr || hit == nullptr) return SABLE_BAD_ARGUMENT;
        if (patternSize == 0 || patternSize > maxPatternSize) return SABLE_BAD_ARGUMENT;
        if (step == 0) return SABLE_BAD_ARGUMENT;
        // Only the search for one place is known.
        if (one != 1) return SABLE_NOT_SUPPORTED;
        const uint8_t *const first = static_cast<const uint8_t *>(pattern);
        uint64_t place = 0;
        const int32_t status = found.Ask(place, [=, bytes = std::vector<uint8_t>(first, first + patternSize)](
                                                    TargetSession &session, uint64_t &answer) {
            return InSpace(session, start, [&](AddressSpace &space, uint64_t address) {
                // The range ends where the addresses do.
                const uint64_t last = end < start.address
                                          ? address - std::min(start.address - end, address)
                                          : address + std::min(end - start.address, UINT64_MAX - address);
                const SearchRange range = {address, last, step};
                const int32_t result = SearchMemory(space, range, bytes, session.monitor, answer);
                answer = start.address + (answer - address);
                return result;
            });
        });
        if (status >= 0) *hit = place;
        return status;
    });
}

int32_t Hash(void *engine, const Place &place, uint32_t size, ktSbRawSha1 *digest, uint32_t *done) {
    if (done != nullptr) *done = 0;
    return WithEngine(engine, [&](Engine &found) {
        if (digest == nullptr) return SABLE_BAD_ARGUMENT;
        struct Hashed {
            ktSbRawSha1 digest = {};
            uint32_t done = 0;
        } hashed;
        const int32_t status = found.Ask(hashed, [=](TargetSession &session, Hashed &answer) {
            return InSpace(session, place, [&](AddressSpace &space, uint64_t address) {
                return ComputeSha1(space, address, size, session.monitor, answer.digest, answer.done);
            });
        });
        if (done != nullptr) *done = hashed.done;
        if (status >= 0) *digest = hashed.digest;
        return status;
    });
}

/// The way through the page tables from a place that is not physical.
int32_t Walk(Engine &engine, const Place &place, PageWalk &walk) {
    return engine.Ask(walk, [=](TargetSession &session, PageWalk &answer) {
        return InLinearSpace(session, place, [&](LinearSpace &space, uint64_t address) {
            answer = WalkPages(session.target, space.Facts(), place.root, address);
            return SABLE_OK;
        });
    });
}

int32_t TellWalk(void *engine, const Place &place, ktSbRawPageWalk *result) {
    return WithEngine(engine, [&](Engine &found) {
        if (result == nullptr) return SABLE_BAD_ARGUMENT;
        PageWalk walk;
        const int32_t status = Walk(found, place, walk);
        if (status >= 0) *result = walk.raw;
        return status;
    });
}

int32_t TellPhysical(void *engine, const Place &place, uint64_t *physical) {
    return WithEngine(engine, [&](Engine &found) {
        if (physical == nullptr) return SABLE_BAD_ARGUMENT;
        PageWalk walk;
        const int32_t status = Walk(found, place, walk);
        if (status < 0) return status;
        *physical = walk.raw.isValid != 0 ? walk.physical : UINT64_MAX;
        return walk.raw.isValid != 0 ? SABLE_OK : SABLE_NOT_MAPPED;
    });
}

} // namespace

int32_t SbReadVirtualMemory(void *engine, uint64_t root, uint16_t selector, uint64_t address, void *buffer,
                            uint32_t size, uint32_t *done) {
    return ReadMemory(engine, Place::Segmented(root, selector, address), buffer, size, done);
}

int32_t SbWriteVirtualMemory(void *engine, uint64_t root, uint16_t selector, uint64_t address,
                             const void *buffer, uint32_t size, uint32_t *done) {
    return WriteMemory(engine, Place::Segmented(root, selector, address), buffer, size, done);
}

int32_t SbReadLinearMemory(void *engine, uint64_t root, uint64_t address, void *buffer, uint32_t size,
                           uint32_t *done) {
    return ReadMemory(engine, Place::Linear(root, address), buffer, size, done);
}

int32_t SbWriteLinearMemory(void *engine, uint64_t root, uint64_t address, const void *buffer, uint32_t size,
                            uint32_t *done) {
    return WriteMemory(engine, Place::Linear(root, address), buffer, size, done);
}

int32_t SbReadPhysicalMemory(void *engine, uint64_t address, void *buffer, uint32_t size, uint32_t *done) {
    return ReadMemory(engine, Place::Physical(address), buffer, size, done);
}

int32_t SbWritePhysicalMemory(void *engine, uint64_t address, const void *buffer, uint32_t size,
                              uint32_t *done) {
    return WriteMemory(engine, Place::Physical(address), buffer, size, done);
}

int32_t SbSearchVirtualMemory(void *engine, uint64_t root, uint16_t selector, uint64_t start, uint64_t end,
                              const void *pattern, uint32_t patternSize, uint32_t step, uint32_t one,
                              uint64_t *hit) {
    return FindPattern(engine, Place::Segmented(root, selector, start), end, pattern, patternSize, step, one,
                       hit);
}

int32_t SbSearchLinearMemory(void *engine, uint64_t root, uint64_t start, uint64_t end, const void *pattern,
                             uint32_t patternSize, uint32_t step, uint32_t one, uint64_t *hit) {
    return FindPattern(engine, Place::Linear(root, start), end, pattern, patternSize, step, one, hit);
}

int32_t SbSearchPhysicalMemory(void *engine, uint64_t start, uint64_t end, const void *pattern,
                               uint32_t patternSize, uint32_t step, uint32_t one, uint64_t *hit) {
    return FindPattern(engine, Place::Physical(start), end, pattern, patternSize, step, one, hit);
}

int32_t SbWalkPageVirtual(void *engine, uint64_t root, uint16_t selector, uint64_t address,
                          ktSbRawPageWalk *walk) {
    return TellWalk(engine, Place::Segmented(root, selector, address), walk);
}

int32_t SbWalkPageLinear(void *engine, uint64_t root, uint64_t address, ktSbRawPageWalk *walk) {
    return TellWalk(engine, Place::Linear(root, address), walk);
}

int32_t SbVirtualToPhysical(void *engine, uint64_t root, uint16_t selector, uint64_t address,
                            uint64_t *physical) {
    return TellPhysical(engine, Place::Segmented(root, selector, address), physical);
}

int32_t SbLinearToPhysical(void *engine, uint64_t root, uint64_t address, uint64_t *physical) {
    return TellPhysical(engine, Place::Linear(root, address), physical);
}

int32_t SbComputeSha1Virtual(void *engine, uint64_t root, uint16_t selector, uint64_t address, uint32_t size,
                             ktSbRawSha1 *digest, uint32_t *done) {
    return Hash(engine, Place::Segmented(root, selector, address), size, digest, done);
}

int32_t SbComputeSha1Linear(void *engine, uint64_t root, uint64_t address, uint32_t size, ktSbRawSha1 *digest,
                            uint32_t *done) {
    return Hash(engine, Place::Linear(root, address), size, digest, done);
}

int32_t SbComputeSha1Physical(void *engine, uint64_t address, uint32_t size, ktSbRawSha1 *digest,
                              uint32_t *done) {
    return Hash(engine, Place::Physical(address), size, digest, done);
}
