#include "core/break_point_table.h"

#include <algorithm>

#include "core/address_space.h"

namespace sable {

namespace {

constexpr uint64_t rootMask = 0x000FFFFFFFFFF000;

} // namespace

int32_t BreakPointTable::Set(uint64_t physical, uint16_t &number) {
    if (byPhysical.contains(physical) || byNumber.size() >= maxBreakPoints) return SABLE_FAILED;
    uint8_t savedByte = 0;
    uint32_t done = 0;
    PhysicalSpace memory(target);
    if (const int32_t status = memory.Read(physical, &savedByte, 1, done); status < 0) return status;
    if (const int32_t status = target.AddFetchStop(physical); status < 0) return status;

    uint16_t free = 1;
    for (auto place = byNumber.begin(); place != byNumber.end() && place->first == free; ++place) ++free;
    BreakPoint &added = byNumber[free];
    added.physical = physical;
    added.savedByte = savedByte;
    byPhysical[physical] = &added;
    number = free;
    return SABLE_OK;
}

int32_t BreakPointTable::Remove(uint16_t number) {
    const auto place = byNumber.find(number);
    if (place == byNumber.end()) return SABLE_BAD_ARGUMENT;
    if (const int32_t status = target.RemoveFetchStop(place->second.physical); status < 0) return status;
    filterCount -= place->second.filters.size();
    byPhysical.erase(place->second.physical);
    byNumber.erase(place);
    return SABLE_OK;
}

int32_t BreakPointTable::Clear() {
    int32_t result = SABLE_OK;
    for (auto place = byNumber.begin(); place != byNumber.end();) {
        const uint16_t number = place->first;
        ++place;
        if (const int32_t status = Remove(number); status < 0) result = status;
    }
    return result;
}

int32_t BreakPointTable::AddFilter(uint16_t number, const ktSbRawFilter &filter, uint16_t &filterNumber) {
    const auto place = byNumber.find(number);
    if (place == byNumber.end()) return SABLE_BAD_ARGUMENT;
    if (filter.typeOrNumber != ktSbFilterRootAndAddress) return SABLE_NOT_SUPPORTED;
    if (filterCount >= maxFilters) return SABLE_FAILED;
    std::vector<Filter> &filters = place->second.filters;
    uint16_t free = 1;
    auto before = filters.begin();
    for (; before != filters.end() && before->number == free; ++before) ++free;
    filters.insert(before, {free, filter.root, filter.address});
    ++filterCount;
    filterNumber = free;
    return SABLE_OK;
}

int32_t BreakPointTable::RemoveFilter(uint16_t number, uint16_t filterNumber) {
    const auto place = byNumber.find(number);
    if (place == byNumber.end()) return SABLE_BAD_ARGUMENT;
    const size_t removed = std::erase_if(place->second.filters,
                                         [&](const Filter &filter) { return filter.number == filterNumber; });
    filterCount -= removed;
    return removed != 0 ? SABLE_OK : SABLE_BAD_ARGUMENT;
}

int32_t BreakPointTable::ClearFilters(uint16_t number) {
    const auto place = byNumber.find(number);
    if (place == byNumber.end()) return SABLE_BAD_ARGUMENT;
    filterCount -= place->second.filters.size();
    place->second.filters.clear();
    return SABLE_OK;
}

size_t BreakPointTable::List(size_t first, std::span<ktSbRawBreakPoint> records) const {
    if (first >= byNumber.size()) return 0;
    const size_t count = std::min(records.size(), byNumber.size() - first);
    auto place = std::next(byNumber.begin(), std::ptrdiff_t(first));
    for (size_t index = 0; index < count; ++index, ++place) {
        ktSbRawBreakPoint &record = records[index];
        record = {};
        record.number = place->first;
        record.savedByte = place->second.savedByte;
        record.filterCount = uint16_t(place->second.filters.size());
        record.physical = place->second.physical;
    }
    return count;
}

int32_t BreakPointTable::ListFilters(uint16_t number, size_t first, std::span<ktSbRawFilter> records,
                                     size_t &count) const {
    count = 0;
    const auto place = byNumber.find(number);
    if (place == byNumber.end()) return SABLE_BAD_ARGUMENT;
    const std::vector<Filter> &filters = place->second.filters;
    if (first >= filters.size()) return SABLE_OK;
    count = std::min(records.size(), filters.size() - first);
    for (size_t index = 0; index < count; ++index) {
        const Filter &filter = filters[first + index];
        records[index] = {};
        records[index].typeOrNumber = filter.number;
        records[index].root = filter.root;
        records[index].address = filter.address;
    }
    return SABLE_OK;
}

bool BreakPointTable::ShouldStop(uint64_t root, uint64_t linear, uint64_t physical, uint64_t offset) {
    const auto place = byPhysical.find(physical);
    if (place == byPhysical.end()) return false;
    const std::vector<Filter> &filters = place->second->filters;
    return filters.empty() || std::ranges::any_of(filters, [&](const Filter &filter) {
               return (filter.root == 0 || ((filter.root ^ root) & rootMask) == 0) &&
                      (filter.address == linear || filter.address == offset);
           });
}

} // namespace sable
