#include "front/transport.h"

namespace sable {

bool Transport::SetInterface(std::string_view name) {
    MachineSettings settings;
    if (!ParseInterfaceName(name, settings)) return false;
    const std::lock_guard guard(lock);
    chosen = settings;
    return true;
}

std::optional<MachineSettings> Transport::Settings() const {
    const std::lock_guard guard(lock);
    return chosen;
}

bool Transport::Take() {
    const std::lock_guard guard(lock);
    if (isTaken) return false;
    isTaken = true;
    return true;
}

void Transport::GiveBack() {
    const std::lock_guard guard(lock);
    isTaken = false;
}

} // namespace sable
