#pragma once

#include <cstdint>

namespace sable {

class Cpu;

/// False when there is no such register.
bool ReadMsr(const Cpu &cpu, uint32_t number, uint64_t now, uint64_t &value);
/// False when there is no such register or it does not take the value. Privileges are the caller's affair.
bool WriteMsr(Cpu &cpu, uint32_t number, uint64_t now, uint64_t value);

} // namespace sable
