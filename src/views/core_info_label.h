#pragma once

#include "gui/label.h"

struct ktSnapshotState;

/// Whether the target runs, and on how many cores, or which core it has stopped on.
class ktCoreInfoLabel final : public ktLabel {
public:
    bool Draw(ktDrawList &list) override;

    const ktSnapshotState *snapshot = nullptr; ///< render thread; null for none

private:
    void Refresh();
};
