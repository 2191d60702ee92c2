#pragma once

#include <cstdint>

namespace sable {

class AddressSpace;
class Target;
class WorkMonitor;

/// Accesses of `width` bytes each, made one after the other until `size` bytes are done. A read whose size is
/// no multiple of the width makes its last access whole and keeps the low bytes; a write of such a size is
/// SABLE_BAD_ARGUMENT, as are widths that there are not. When an access fails the status is a success if
/// others were done before it, and `done` counts their bytes.
///
/// Ports take widths 1, 2 and 4, and the port stays the same.
int32_t ReadPort(Target &target, uint16_t port, uint8_t width, void *buffer, uint32_t size,
                 WorkMonitor &monitor, uint32_t &done);
int32_t WritePort(Target &target, uint16_t port, uint8_t width, const void *buffer, uint32_t size,
                  WorkMonitor &monitor, uint32_t &done);
/// Memory-mapped devices take widths 1, 2, 4 and 8, from an address that is a multiple of the width.
int32_t ReadDevice(AddressSpace &space, uint64_t address, uint8_t width, void *buffer, uint32_t size,
                   WorkMonitor &monitor, uint32_t &done);
int32_t WriteDevice(AddressSpace &space, uint64_t address, uint8_t width, const void *buffer, uint32_t size,
                    WorkMonitor &monitor, uint32_t &done);

} // namespace sable
