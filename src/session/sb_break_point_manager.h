#pragma once

#include "session/break_point_ids.h"
#include "session/break_point_manager.h"
#include "session/dbg_eng.h"
#include "session/sb_break_point.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

class ktCodeBreakPoints;
struct ktSbRawBreakPoint;
struct ktSbRawFilter;

/// Breakpoints over an engine library, which keeps them on physical addresses. There is one of the library's
/// for a physical address; those who use it are told apart by filters on page-table root and address. A
/// breakpoint that was given as a physical address overrides filters at it.
class ktSbBreakPointManager final : public ktBreakPointManager {
public:
    /// Accepts an engine over a library, and forgets what it knew of the one before.
    bool Initialize(ktDbgEng *newEngine) override;
    bool Add(ktAddress &address, uint32_t *id) override;
    bool Get(uint32_t id, ktBreakPoint **out) override;
    bool Remove(uint32_t id) override;
    void List(std::vector<ktBreakPoint *> &list) override;
    /// When a call of the library fails or what it lists contradicts itself (a number or an address twice,
    /// another count of filters than it says) nothing changes; without a free id the rest is left out.
    bool Reload() override;
    bool ClearAll() override;

    const ktBreakPointIds &Ids() const { return ids; }
    /// The library's breakpoint at `physical`, or null.
    const ktSbPhysBreak *FindPhysBreak(uint64_t physical) const;

private:
    struct Listed;

    ktSbBreakPoint *Find(uint32_t id);
    ktSbPhysBreak *PhysBreakAt(uint64_t physical);
    std::unique_ptr<ktSbBreakPoint> Make(const ktAddress &address);
    void GiveIdBack(const ktSbBreakPoint &breakPoint);
    bool Activate(ktSbBreakPoint &breakPoint);
    bool Create(ktSbBreakPoint &breakPoint);
    bool SetUp(ktSbBreakPoint &breakPoint, ktSbPhysBreak &made);
    bool Attach(ktSbBreakPoint &breakPoint, ktSbPhysBreak &existing);
    bool AttachPhysical(ktSbBreakPoint &breakPoint, ktSbPhysBreak &existing);
    ktSbBreakPoint *OwnerOf(const ktSbPhysBreak &entry);
    bool AddFilter(ktSbBreakPoint &breakPoint, ktSbPhysBreak &at);
    bool SharesFilter(const ktSbBreakPoint &breakPoint, const ktSbPhysBreak &at);
    bool TakeOut(ktSbBreakPoint &breakPoint);
    bool TakeOutWhole(ktSbPhysBreak &whole);
    void Forget(uint64_t physical);

    bool FetchList(std::vector<Listed> &listed);
    bool FetchFilters(const ktSbRawBreakPoint &record, std::vector<ktSbRawFilter> &filters);
    bool FindLost(const std::vector<Listed> &listed, std::vector<uint32_t> &lost);
    void Renumber(const std::vector<Listed> &listed);
    void Lose(uint32_t id);
    bool Adopt(const Listed &listed);
    bool AdoptFilter(const ktSbRawFilter &filter, ktSbPhysBreak &at);
    void NumberFilters(const std::vector<ktSbRawFilter> &filters, ktSbPhysBreak &at);
    bool AdoptPhysical(ktSbPhysBreak &at);
    ktSbBreakPoint *FindOrMake(const ktAddress &address);

    ktDbgEng *engine = nullptr;
    ktCodeBreakPoints *library = nullptr; ///< the engine's; null when it has none
    ktBreakPointIds ids;
    std::map<uint16_t, ktSbPhysBreak> byEngineId;
    std::map<uint32_t, std::unique_ptr<ktSbBreakPoint>> byId;
    std::map<uint64_t, uint16_t> byPhysical; ///< engine id
};
