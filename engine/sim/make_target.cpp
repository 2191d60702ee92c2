#include "core/interface_name.h"
#include "core/target_factory.h"
#include "guest/guest_image.h"
#include "sim/sim_target.h"

namespace sable {

std::unique_ptr<Target> MakeTarget(const MachineSettings &settings, RawDataSink &sink) {
    return std::make_unique<SimTarget>(settings.ramBytes, FindGuestImage(settings.guest), sink);
}

} // namespace sable
