#pragma once

#include "gui/label.h"
#include "symbols/location.h"
#include "symbols/location_format.h"

#include <cstdint>

struct ktSnapshotState;

/// The source location of the instruction pointer. Looking it up is slow, so that happens when the pointer
/// moves.
class ktLocationLabel final : public ktLabel {
public:
    bool Draw(ktDrawList &list) override;
    /// Drops what was looked up for another connection.
    void Forget();

    const ktSnapshotState *snapshot = nullptr; ///< render thread; null for none
    bool may_look_up = false;                  ///< in this frame spaces and modules may be used
    ktLocationList found;           ///< valid while their space and its modules are as `found_stamp` says
    uint64_t found_stamp = 0;       ///< ktSpace::RemovalStamp
    ktLocationFormat location_text; ///< its text is the location of `shown_ip`; empty for none
    uint64_t shown_ip = 0;
    bool is_looked_up =
        false; ///< `shown_ip` was looked up, and not just seen while there was nothing to look in

private:
    const char *Refresh();
    void LookUp(uint64_t pointer);
    bool Find(uint64_t pointer);
};
