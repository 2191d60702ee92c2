#pragma once

#include <cstdint>

namespace sable {

class Cpu;

/// CR0, 2, 3, 4 and 8 exist.
bool IsControlRegister(unsigned number);
uint64_t ReadControl(const Cpu &cpu, unsigned number);
/// Changes the mode with all that follows from it. Values that are not allowed raise #GP; false then.
bool WriteControl(Cpu &cpu, unsigned number, uint64_t value);
bool WriteCr0(Cpu &cpu, uint64_t value);

} // namespace sable
