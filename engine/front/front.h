#pragma once

#include "core/target_factory.h"
#include "front/engine.h"
#include "front/handle_table.h"
#include "front/transport.h"

namespace sable {

/// What stands behind the handles of this process. What its callers have left open ends with the library.
struct Front {
    HandleTable<Transport> transports;
    HandleTable<Engine> engines;
    TargetFactory makeTarget = MakeTarget; ///< replaceable in tests, before engines are made
};

Front &TheFront();

} // namespace sable
