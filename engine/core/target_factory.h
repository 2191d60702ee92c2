#pragma once

#include <functional>
#include <memory>

namespace sable {

class RawDataSink;
class Target;
struct MachineSettings;

/// Makes what an engine talks to, on the thread that owns it; null when there is none. The sink outlives the
/// target.
using TargetFactory = std::function<std::unique_ptr<Target>(const MachineSettings &, RawDataSink &)>;

/// The targets of this library.
std::unique_ptr<Target> MakeTarget(const MachineSettings &settings, RawDataSink &sink);

} // namespace sable
