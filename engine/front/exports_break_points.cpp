#include <algorithm>
#include <span>
#include <vector>

#include "front/engine.h"
#include "front/exports.h"

// Code breakpoints and their filters.

using namespace sable;

namespace {

/// One call's worth of records.
template <typename Record>
struct Listed {
    std::vector<Record> records;
    size_t count = 0;
    size_t total = 0;
};

/// Asks for up to `*count` records, but no more than ktSbInfoCount, and gives them to the caller.
template <typename Record, typename Operation>
int32_t List(void *handle, Record *records, uint16_t *count, uint16_t *total, Operation operation) {
    return WithEngine(handle, [&](Engine &engine) {
        if (count == nullptr || (records == nullptr && *count != 0)) return SABLE_BAD_ARGUMENT;
        const size_t room = std::min<size_t>(*count, ktSbInfoCount);
        Listed<Record> listed;
        const int32_t status = engine.Ask(listed, [=](TargetSession &session, Listed<Record> &answer) {
            answer.records.resize(room);
            return operation(session, answer);
        });
        if (status < 0) return status;
        std::copy_n(listed.records.begin(), listed.count, records);
        *count = uint16_t(listed.count);
        if (total != nullptr) *total = uint16_t(listed.total);
        return status;
    });
}

} // namespace

int32_t SbSetBreakPoint(void *engine, uint64_t physical, uint16_t *number) {
    return WithEngine(engine, [&](Engine &found) {
        if (number == nullptr) return SABLE_BAD_ARGUMENT;
        uint16_t given = 0;
        const int32_t status = found.Ask(given, [=](TargetSession &session, uint16_t &answer) {
            return session.breakPoints.Set(physical, answer);
        });
        if (status >= 0) *number = given;
        return status;
    });
}

int32_t SbRemoveBreakPoint(void *engine, uint16_t number) {
    return WithEngine(engine, [=](Engine &found) {
        return found.Tell([=](TargetSession &session) { return session.breakPoints.Remove(number); });
    });
}

int32_t SbClearBreakPoints(void *engine) {
    return WithEngine(engine, [](Engine &found) {
        return found.Tell([](TargetSession &session) { return session.breakPoints.Clear(); });
    });
}

int32_t SbAddBreakPointFilter(void *engine, uint16_t number, const ktSbRawFilter *filter,
                              uint16_t *filterNumber) {
    return WithEngine(engine, [&](Engine &found) {
        if (filter == nullptr || filterNumber == nullptr) return SABLE_BAD_ARGUMENT;
        uint16_t given = 0;
        const int32_t status =
            found.Ask(given, [=, added = *filter](TargetSession &session, uint16_t &answer) {
                return session.breakPoints.AddFilter(number, added, answer);
            });
        if (status >= 0) *filterNumber = given;
        return status;
    });
}

int32_t SbRemoveBreakPointFilter(void *engine, uint16_t number, uint16_t filterNumber) {
    return WithEngine(engine, [=](Engine &found) {
        return found.Tell(
            [=](TargetSession &session) { return session.breakPoints.RemoveFilter(number, filterNumber); });
    });
}

int32_t SbClearBreakPointFilters(void *engine, uint16_t number) {
    return WithEngine(engine, [=](Engine &found) {
        return found.Tell([=](TargetSession &session) { return session.breakPoints.ClearFilters(number); });
    });
}

int32_t SbGetBreakPointInfo(void *engine, ktSbRawBreakPoint *records, uint16_t first, uint16_t *count,
                            uint16_t *total) {
    return List(engine, records, count, total,
                [=](TargetSession &session, Listed<ktSbRawBreakPoint> &answer) {
                    answer.count = session.breakPoints.List(first, answer.records);
                    answer.total = session.breakPoints.Count();
                    return SABLE_OK;
                });
}

int32_t SbGetBreakPointFilterInfo(void *engine, ktSbRawFilter *records, uint16_t number, uint16_t first,
                                  uint16_t *count) {
    return List(engine, records, count, nullptr, [=](TargetSession &session, Listed<ktSbRawFilter> &answer) {
        return session.breakPoints.ListFilters(number, first, answer.records, answer.count);
    });
}
