#include "core/device_access.h"
#include "front/exports.h"
#include "front/place.h"
#include "front/transfer.h"

// Ports and memory-mapped devices. This library has no use for the attribute of an access: it stays as it is.

using namespace sable;

namespace {

int32_t ReadMmio(void *engine, const Place &place, uint8_t width, void *buffer, uint32_t size,
                 uint32_t *done) {
    return ReadInChunks(
        engine, buffer, size, deviceChunk, done,
        [=](TargetSession &session, uint32_t offset, uint8_t *bytes, uint32_t count, uint32_t &came) {
            return InSpace(session, place.Behind(offset), [&](AddressSpace &space, uint64_t address) {
                return ReadDevice(space, address, width, bytes, count, session.monitor, came);
            });
        });
}

int32_t WriteMmio(void *engine, const Place &place, uint8_t width, const void *buffer, uint32_t size,
                  uint32_t *done) {
    return WriteInChunks(
        engine, buffer, size, deviceChunk, done,
        [=](TargetSession &session, uint32_t offset, const uint8_t *bytes, uint32_t count, uint32_t &came) {
            return InSpace(session, place.Behind(offset), [&](AddressSpace &space, uint64_t address) {
                return WriteDevice(space, address, width, bytes, count, session.monitor, came);
            });
        });
}

} // namespace

int32_t SbReadIo(void *engine, uint16_t port, uint8_t width, void *buffer, uint32_t size, uint32_t *done) {
    return ReadInChunks(
        engine, buffer, size, deviceChunk, done,
        [=](TargetSession &session, uint32_t, uint8_t *bytes, uint32_t count, uint32_t &came) {
            return ReadPort(session.target, port, width, bytes, count, session.monitor, came);
        });
}

int32_t SbWriteIo(void *engine, uint16_t port, uint8_t width, const void *buffer, uint32_t size,
                  uint32_t *done) {
    return WriteInChunks(
        engine, buffer, size, deviceChunk, done,
        [=](TargetSession &session, uint32_t, const uint8_t *bytes, uint32_t count, uint32_t &came) {
            return WritePort(session.target, port, width, bytes, count, session.monitor, came);
        });
}

int32_t SbReadMmioVirtual(void *engine, uint64_t root, uint16_t selector, uint64_t address, uint8_t width,
                          uint32_t *, void *buffer, uint32_t size, uint32_t *done) {
    return ReadMmio(engine, Place::Segmented(root, selector, address), width, buffer, size, done);
}

int32_t SbWriteMmioVirtual(void *engine, uint64_t root, uint16_t selector, uint64_t address, uint8_t width,
                           uint32_t *, const void *buffer, uint32_t size, uint32_t *done) {
    return WriteMmio(engine, Place::Segmented(root, selector, address), width, buffer, size, done);
}

int32_t SbReadMmioLinear(void *engine, uint64_t root, uint64_t address, uint8_t width, uint32_t *,
                         void *buffer, uint32_t size, uint32_t *done) {
    return ReadMmio(engine, Place::Linear(root, address), width, buffer, size, done);
}

int32_t SbWriteMmioLinear(void *engine, uint64_t root, uint64_t address, uint8_t width, uint32_t *,
                          const void *buffer, uint32_t size, uint32_t *done) {
    return WriteMmio(engine, Place::Linear(root, address), width, buffer, size, done);
}

int32_t SbReadMmioPhysical(void *engine, uint64_t address, uint8_t width, uint32_t *, void *buffer,
                           uint32_t size, uint32_t *done) {
    return ReadMmio(engine, Place::Physical(address), width, buffer, size, done);
}

int32_t SbWriteMmioPhysical(void *engine, uint64_t address, uint8_t width, uint32_t *, const void *buffer,
                            uint32_t size, uint32_t *done) {
    return WriteMmio(engine, Place::Physical(address), width, buffer, size, done);
}
