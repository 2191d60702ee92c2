#include "session/sb_break_point.h"

void ktSbBreakPoint::Disable() {
    enabled = false;
    hasFilter = false;
    engineId = 0;
    filterId = 0;
    savedByte = 0;
}

bool ktSbBreakPoint::IsAt(const ktAddress &other) const {
    if (address.kind != other.kind || address.value != other.value) return false;
    switch (address.kind) {
    case ktAddress::kindVirtual:
        return address.selector == other.selector && address.root == other.root;
    case ktAddress::kindLinear:
        return address.root == other.root;
    case ktAddress::kindPhysical:
        return true;
    default:
        return false;
    }
}
