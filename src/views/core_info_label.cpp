#include "views/core_info_label.h"

#include <cinttypes>
#include <cstdio>

#include "session/snapshot.h"

bool ktCoreInfoLabel::Draw(ktDrawList &list) {
    if (!visible) return false;
    Refresh();
    return ktLabel::Draw(list);
}

void ktCoreInfoLabel::Refresh() {
    if (!snapshot) return SetText("No cores present");
    if (snapshot->stop.running && snapshot->coreCount == 0) return SetText("Running on all cores");
    char line[textSize];
    if (snapshot->stop.running) {
        std::snprintf(line, sizeof(line), "Running on %" PRId64 " cores",
                      static_cast<int64_t>(snapshot->coreCount));
    } else {
        std::snprintf(line, sizeof(line), "Stopped on core %" PRId64,
                      static_cast<int64_t>(snapshot->currentCore));
    }
    SetText(line);
}
