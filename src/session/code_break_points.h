#pragma once

#include "session/dbg_eng.h"

#include <cstdint>

struct ktSbRawBreakPoint;
struct ktSbRawFilter;

/// The code breakpoints of an engine: one for a physical address, known by a number. One without filters
/// stops always, one with filters only at their page-table roots and addresses. Results are statuses.
class ktCodeBreakPoints {
public:
    virtual ktStatus Set(uint64_t physical, uint16_t &number) = 0;
    virtual ktStatus Remove(uint16_t number) = 0;
    virtual ktStatus Clear() = 0;
    virtual ktStatus AddFilter(uint16_t number, const ktSbRawFilter &filter, uint16_t &filterNumber) = 0;
    virtual ktStatus RemoveFilter(uint16_t number, uint16_t filterNumber) = 0;
    virtual ktStatus ClearFilters(uint16_t number) = 0;
    /// Fills up to `count` of the ktSbInfoCount `records`, from the breakpoint at index `first` on; `count`
    /// becomes how many came, `total` how many there are.
    virtual ktStatus GetInfo(ktSbRawBreakPoint *records, uint16_t first, uint16_t &count,
                             uint16_t &total) = 0;
    /// The same for the filters of breakpoint `number`.
    virtual ktStatus GetFilterInfo(ktSbRawFilter *records, uint16_t number, uint16_t first,
                                   uint16_t &count) = 0;

protected:
    ~ktCodeBreakPoints() = default;
};
