#pragma once

#include <cstdint>
#include <vector>

class ktBreakPoint;
class ktDbgEng;
struct ktAddress;

/// The breakpoints of one connection. All calls come on the command thread.
class ktBreakPointManager {
public:
    virtual ~ktBreakPointManager() = default;
    /// False for an engine that it cannot serve. The engine outlives the manager.
    virtual bool Initialize(ktDbgEng *engine) = 0;
    /// Makes a breakpoint at `address`, which is reset in any case. `id` may be null. A failure leaves
    /// nothing behind; a second breakpoint at the same address is one.
    virtual bool Add(ktAddress &address, uint32_t *id) = 0;
    /// False for an id that nobody has. `out` may be null.
    virtual bool Get(uint32_t id, ktBreakPoint **out) = 0;
    virtual bool Remove(uint32_t id) = 0;
    /// Appends the breakpoints in the order of their ids. Each lives until the next call of anything else.
    virtual void List(std::vector<ktBreakPoint *> &list) = 0;
    /// Brings the breakpoints in line with those of the engine.
    virtual bool Reload() = 0;
    virtual bool ClearAll() = 0;
};
