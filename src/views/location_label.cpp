#include "views/location_label.h"

#include "session/snapshot.h"
#include "symbols/space.h"

bool ktLocationLabel::Draw(ktDrawList &list) {
    if (!visible) return false;
    SetText(Refresh());
    return ktLabel::Draw(list);
}

void ktLocationLabel::Forget() {
    found.clear();
    location_text.text.clear();
    is_looked_up = false;
}

/// Brings the location to the snapshot; the text to show.
const char *ktLocationLabel::Refresh() {
    if (!snapshot) {
        Forget();
        return "";
    }
    const uint64_t pointer = snapshot->context.values[ktRegIp];
    if (pointer != shown_ip || !is_looked_up) LookUp(pointer);
    return snapshot->stop.running ? "" : location_text.text.c_str();
}

/// In a frame that must not look up everything stays, and the next one tries again.
void ktLocationLabel::LookUp(uint64_t pointer) {
    const bool canLookUp = snapshot->space && !snapshot->stop.running;
    if (canLookUp && !may_look_up) return;
    if (!canLookUp || !Find(pointer)) {
        location_text.text.clear();
    } else {
        location_text.Format(found.front());
    }
    shown_ip = pointer;
    is_looked_up = canLookUp;
}

bool ktLocationLabel::Find(uint64_t pointer) {
    const ktSpace &space = *snapshot->space;
    if (found_stamp != space.RemovalStamp()) {
        found.clear();
        found_stamp = space.RemovalStamp();
    }
    if (UpdateAll(space, &found, pointer)) return true;
    found.clear();
    return FindByAddress(space, found, pointer);
}
