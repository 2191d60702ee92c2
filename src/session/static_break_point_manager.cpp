#include "session/static_break_point_manager.h"

#include "session/address.h"

bool ktStaticBreakPointManager::Add(ktAddress &address, uint32_t *) {
    address.Reset();
    return false;
}
