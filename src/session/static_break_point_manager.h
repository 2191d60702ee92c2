#pragma once

#include "session/break_point_manager.h"

/// What stands in for breakpoints where there is no target.
class ktStaticBreakPointManager final : public ktBreakPointManager {
public:
    bool Initialize(ktDbgEng *) override { return true; }
    bool Add(ktAddress &address, uint32_t *id) override;
    bool Get(uint32_t, ktBreakPoint **) override { return false; }
    bool Remove(uint32_t) override { return false; }
    void List(std::vector<ktBreakPoint *> &) override {}
    bool Reload() override { return false; }
    bool ClearAll() override { return false; }
};
