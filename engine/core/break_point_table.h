#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <unordered_map>
#include <vector>

#include "core/target.h"

namespace sable {

/// The code breakpoints of one target: places in physical memory, each with filters that say for whom it
/// counts. A breakpoint without filters counts for everybody, a filter of root 0 under any root. Numbers
/// begin at 1, the lowest free one is given first. A number that is not in use is SABLE_BAD_ARGUMENT.
/// Target's thread.
class BreakPointTable final : public StopQuery {
public:
    static constexpr size_t maxBreakPoints = 4096;
    static constexpr size_t maxFilters = 16384; ///< of all breakpoints together

    explicit BreakPointTable(Target &machine) : target(machine) { target.SetStopQuery(this); }
    BreakPointTable(const BreakPointTable &) = delete;
    BreakPointTable &operator=(const BreakPointTable &) = delete;
    ~BreakPointTable() { target.SetStopQuery(nullptr); }

    /// SABLE_FAILED where a breakpoint is already, where there is no memory, and when all numbers are in use.
    int32_t Set(uint64_t physical, uint16_t &number);
    /// Its filters go with it.
    int32_t Remove(uint16_t number);
    /// All of them. A failure leaves those that the target did not let go.
    int32_t Clear();

    /// SABLE_NOT_SUPPORTED for a type other than ktSbFilterRootAndAddress. Equal filters may stand side by
    /// side.
    int32_t AddFilter(uint16_t number, const ktSbRawFilter &filter, uint16_t &filterNumber);
    int32_t RemoveFilter(uint16_t number, uint16_t filterNumber);
    int32_t ClearFilters(uint16_t number);

    size_t Count() const { return byNumber.size(); }
    /// The breakpoints from index `first` on, in the order of their numbers, as many as `records` takes;
    /// returns how many that are.
    size_t List(size_t first, std::span<ktSbRawBreakPoint> records) const;
    /// The same for the filters of one breakpoint, `count` being how many.
    int32_t ListFilters(uint16_t number, size_t first, std::span<ktSbRawFilter> records, size_t &count) const;

    bool ShouldStop(uint64_t root, uint64_t linear, uint64_t physical, uint64_t offset) override;

private:
    struct Filter {
        uint16_t number;
        uint64_t root; // as it was given
        uint64_t address;
    };
    struct BreakPoint {
        uint64_t physical = 0;
        uint8_t savedByte = 0;
        std::vector<Filter> filters; // by number
    };

    Target &target;
    std::map<uint16_t, BreakPoint> byNumber;
    std::unordered_map<uint64_t, const BreakPoint *> byPhysical;
    size_t filterCount = 0;
};

} // namespace sable
