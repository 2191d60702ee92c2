#pragma once

#include <cstdint>
#include <string_view>

namespace sable {

/// The one interface that this library has.
inline constexpr std::string_view demoInterface = "demo";

/// What an interface name may say about the machine behind it.
struct MachineSettings {
    uint64_t ramBytes = uint64_t(64) << 20; ///< 16 MiB to 2 GiB
    std::string_view guest = "demo";        ///< what runs on it: "demo", "demo32" or "demopae", no copies
};

/// Reads "demo", which may be followed by settings such as in "demo,ram=128M,guest=demopae". A size is a
/// decimal number of MiB ("M") or GiB ("G"). False, with `settings` as they were, for another name, a setting
/// that there is not or that stands twice, or a value that is out of range.
bool ParseInterfaceName(std::string_view text, MachineSettings &settings);

} // namespace sable
