#include "core/device_access.h"

#include <algorithm>
#include <cstring>

#include "abi/records.h"
#include "core/address_space.h"

namespace sable {

namespace {

constexpr uint32_t accessesBetweenPolls = 16;

bool IsWidth(uint8_t width, uint8_t widest) {
    return (width == 1 || width == 2 || width == 4 || width == 8) && width <= widest;
}

/// `access(offset, count)` for each access, `count` being the bytes of the caller's buffer it is about.
template <typename Access>
int32_t ForEachAccess(uint8_t width, uint32_t size, WorkMonitor &monitor, uint32_t &done, Access access) {
    done = 0;
    for (uint32_t number = 1; done < size; ++number) {
        const uint32_t count = std::min<uint32_t>(width, size - done);
        const int32_t status = access(done, count);
        if (status < 0) return done != 0 ? SABLE_OK : status;
        done += count;
        if (number % accessesBetweenPolls == 0 && !monitor.GoOn()) return SABLE_FAILED;
    }
    return SABLE_OK;
}

/// Where the access at `offset` of a device's range goes.
bool Place(AddressSpace &space, uint64_t address, uint32_t offset, uint64_t &physical) {
    return address + offset >= address && space.Translate(address + offset, physical);
}

} // namespace

int32_t ReadPort(Target &target, uint16_t port, uint8_t width, void *buffer, uint32_t size,
                 WorkMonitor &monitor, uint32_t &done) {
    done = 0;
    if (!IsWidth(width, 4)) return SABLE_BAD_ARGUMENT;
    return ForEachAccess(width, size, monitor, done, [&](uint32_t offset, uint32_t count) {
        uint32_t value = 0;
        const int32_t status = target.ReadIo(port, width, value);
        if (status >= 0) std::memcpy(static_cast<uint8_t *>(buffer) + offset, &value, count);
        return status;
    });
}

int32_t WritePort(Target &target, uint16_t port, uint8_t width, const void *buffer, uint32_t size,
                  WorkMonitor &monitor, uint32_t &done) {
    done = 0;
    if (!IsWidth(width, 4) || size % width != 0) return SABLE_BAD_ARGUMENT;
    return ForEachAccess(width, size, monitor, done, [&](uint32_t offset, uint32_t count) {
        uint32_t value = 0;
        std::memcpy(&value, static_cast<const uint8_t *>(buffer) + offset, count);
        return target.WriteIo(port, width, value);
    });
}

int32_t ReadDevice(AddressSpace &space, uint64_t address, uint8_t width, void *buffer, uint32_t size,
                   WorkMonitor &monitor, uint32_t &done) {
    done = 0;
    if (!IsWidth(width, 8) || address % width != 0) return SABLE_BAD_ARGUMENT;
    return ForEachAccess(width, size, monitor, done, [&](uint32_t offset, uint32_t count) {
        uint64_t physical = 0;
        uint64_t value = 0;
        if (!Place(space, address, offset, physical)) return SABLE_FAILED;
        const int32_t status = space.target.ReadMmio(physical, width, value);
        if (status >= 0) std::memcpy(static_cast<uint8_t *>(buffer) + offset, &value, count);
        return status;
    });
}

int32_t WriteDevice(AddressSpace &space, uint64_t address, uint8_t width, const void *buffer, uint32_t size,
                    WorkMonitor &monitor, uint32_t &done) {
    done = 0;
    if (!IsWidth(width, 8) || address % width != 0 || size % width != 0) return SABLE_BAD_ARGUMENT;
    return ForEachAccess(width, size, monitor, done, [&](uint32_t offset, uint32_t count) {
        uint64_t physical = 0;
        uint64_t value = 0;
        if (!Place(space, address, offset, physical)) return SABLE_FAILED;
        std::memcpy(&value, static_cast<const uint8_t *>(buffer) + offset, count);
        return space.target.WriteMmio(physical, width, value);
    });
}

} // namespace sable
