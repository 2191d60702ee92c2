#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace sable {

/// How a machine without a BIOS starts a guest: the image lies at `loadAddress`, the note at `noteAddress`,
/// and the first core starts in real mode at 0000:`loadAddress` with interrupts off.
struct GuestStart {
    static constexpr uint32_t loadAddress = 0x7C00;
    static constexpr uint32_t noteAddress = 0x500;
    /// The first word of the note; the second is the amount of memory in KiB. Each has 4 bytes, low byte
    /// first.
    static constexpr uint32_t noteMagic = 0x44424C53;
};

/// The bytes of the guest "demo", "demo32" or "demopae", a multiple of 512; empty when there is none of that
/// name. They live as long as the program.
std::span<const uint8_t> FindGuestImage(std::string_view name);

} // namespace sable
