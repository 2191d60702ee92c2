#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "abi/records.h"
#include "front/engine.h"
#include "front/exports.h"

namespace sable {

/// Most that one request moves of memory, and of what goes access by access. Both are multiples of each
/// width.
constexpr uint32_t memoryChunk = 256 * 1024;
constexpr uint32_t deviceChunk = 4096;

/// What a request of a transfer finds.
struct Transferred {
    uint32_t done = 0;
    std::vector<uint8_t> bytes; // of a read
};

/// `step(offset, count, came)` for each chunk, until one ends early. At least once, so that the status of
/// nothing is a status too. A failure after bytes were done is a success that is short of bytes.
template <typename Step>
int32_t InChunks(uint32_t size, uint32_t chunk, uint32_t *done, Step step) {
    uint32_t total = 0;
    int32_t status;
    uint32_t came;
    uint32_t count;
    do {
        count = std::min(size - total, chunk);
        came = 0;
        status = step(total, count, came);
        total += came;
    } while (status >= 0 && came == count && total < size);
    if (done != nullptr) *done = total;
    return status < 0 && total != 0 ? SABLE_OK : status;
}

/// Reads in requests of up to `chunk` bytes. `operation(session, offset, bytes, count, done)` runs on the
/// target's thread.
template <typename Operation>
int32_t ReadInChunks(void *handle, void *buffer, uint32_t size, uint32_t chunk, uint32_t *done,
                     Operation operation) {
    if (done != nullptr) *done = 0;
    return WithEngine(handle, [&](Engine &engine) {
        if (buffer == nullptr && size != 0) return SABLE_BAD_ARGUMENT;
        return InChunks(size, chunk, done, [&](uint32_t offset, uint32_t count, uint32_t &came) {
            Transferred transferred;
            const int32_t status = engine.Ask(transferred, [=](TargetSession &session, Transferred &answer) {
                answer.bytes.resize(count);
                return operation(session, offset, answer.bytes.data(), count, answer.done);
            });
            came = transferred.done;
            if (came != 0)
                std::memcpy(static_cast<uint8_t *>(buffer) + offset, transferred.bytes.data(), came);
            return status;
        });
    });
}

/// The same for writes.
template <typename Operation>
int32_t WriteInChunks(void *handle, const void *buffer, uint32_t size, uint32_t chunk, uint32_t *done,
                      Operation operation) {
    if (done != nullptr) *done = 0;
    return WithEngine(handle, [&](Engine &engine) {
        if (buffer == nullptr && size != 0) return SABLE_BAD_ARGUMENT;
        return InChunks(size, chunk, done, [&](uint32_t offset, uint32_t count, uint32_t &came) {
            const uint8_t *const first = static_cast<const uint8_t *>(buffer) + offset;
            std::vector<uint8_t> bytes;
            if (count != 0) bytes.assign(first, first + count);
            Transferred transferred;
            const int32_t status = engine.Ask(
                transferred, [=, bytes = std::move(bytes)](TargetSession &session, Transferred &answer) {
                    return operation(session, offset, bytes.data(), count, answer.done);
                });
            came = transferred.done;
            return status;
        });
    });
}

} // namespace sable
