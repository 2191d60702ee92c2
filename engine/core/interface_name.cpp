#include "core/interface_name.h"

#include <array>
#include <charconv>

namespace sable {

namespace {

/// The text up to the next `separator`, which is taken from `text` with it.
std::string_view TakeUntil(std::string_view &text, char separator) {
    const size_t length = text.find(separator);
    const std::string_view part = text.substr(0, length);
    text.remove_prefix(length == std::string_view::npos ? text.size() : length + 1);
    return part;
}

bool ParseSize(std::string_view text, uint64_t &bytes) {
    if (text.empty()) return false;
    const unsigned shift = text.back() == 'M' ? 20 : text.back() == 'G' ? 30 : 0;
    text.remove_suffix(1);
    uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (shift == 0 || error != std::errc() || end != text.data() + text.size()) return false;
    bytes = uint64_t(number) << shift;
    return true;
}

bool ParseRam(std::string_view text, MachineSettings &settings) {
    constexpr uint64_t least = uint64_t(16) << 20, most = uint64_t(2) << 30;
    return ParseSize(text, settings.ramBytes) && settings.ramBytes >= least && settings.ramBytes <= most;
}

bool ParseGuest(std::string_view text, MachineSettings &settings) {
    constexpr std::string_view guests[] = {"demo", "demo32", "demopae"};
    for (const std::string_view guest : guests) {
        if (guest != text) continue;
        settings.guest = guest;
        return true;
    }
    return false;
}

struct Setting {
    std::string_view name;
    bool (*parse)(std::string_view text, MachineSettings &settings);
};

constexpr std::array allSettings = {Setting{"ram", ParseRam}, Setting{"guest", ParseGuest}};

} // namespace

bool ParseInterfaceName(std::string_view text, MachineSettings &settings) {
    // A comma at the end announces a setting that is not there.
    if (text.ends_with(',') || TakeUntil(text, ',') != demoInterface) return false;
    MachineSettings result;
    std::array<bool, allSettings.size()> isSet = {};
    while (!text.empty()) {
        std::string_view value = TakeUntil(text, ',');
        const std::string_view name = TakeUntil(value, '=');
        size_t index = 0;
        while (index < allSettings.size() && allSettings[index].name != name) ++index;
        if (index == allSettings.size() || isSet[index]) return false;
        if (!allSettings[index].parse(value, result)) return false;
        isSet[index] = true;
    }
    settings = result;
    return true;
}

} // namespace sable
