#include "symbols/line_info.h"

#include <algorithm>
#include <new>
#include <utility>

#include "symbols/interval_index.h"

/// The stretches of all sources, with numbers in their order.
struct ktLineInfo::Index {
    struct Part {
        const ktRowSource *source;
        size_t end; ///< number behind its last stretch
    };
    std::vector<Part> parts;
    std::vector<ktLineStretch> stretches;
    ktIntervalIndex byAddress{{}};
};

struct ktLineInfo::NumberedRow {
    ktLineRecord row;
    uint64_t number;
};

ktLineInfo::ktLineInfo() = default;
ktLineInfo::~ktLineInfo() = default;

const char *ktLineTable::DirectoryOf(uint64_t file, const char *compDir) const {
    const uint64_t number = file < fileDirs.size() ? fileDirs[file] : 0;
    if (number == 0) return compDir;
    return number < directories.size() ? directories[number].Get() : nullptr;
}

void ktLineInfo::Add(std::unique_ptr<const ktRowSource> source) {
    sources.push_back(std::move(source));
    table.Drop();
    index.Drop();
    rowsByAddress.Drop();
}

const ktLineTable &ktLineInfo::Table() const {
    static const ktLineTable empty;
    const ktLineTable *made = table.Get([this](ktLineTable &fresh) {
        for (const auto &source : sources) source->AddNames(fresh);
    });
    return made ? *made : empty;
}

std::vector<ktLineRecord> ktLineInfo::Rows() const {
    std::vector<ktLineRecord> rows;
    for (const auto &source : sources) source->AddRows(rows);
    return rows;
}

void ktLineInfo::FillIndex(Index &fresh) const {
    for (const auto &source : sources) {
        source->AddStretches(fresh.stretches);
        fresh.parts.push_back({source.get(), fresh.stretches.size()});
    }
    std::vector<ktInterval> intervals;
    intervals.reserve(fresh.stretches.size());
    for (const ktLineStretch &stretch : fresh.stretches) {
        intervals.push_back({stretch.low, stretch.high, static_cast<uint32_t>(intervals.size())});
    }
    fresh.byAddress = ktIntervalIndex(std::move(intervals));
}

std::optional<ktLineRecord> ktLineInfo::FirstRowInOrder(uint64_t address) const {
    const auto *rows = rowsByAddress.Get([this](std::vector<NumberedRow> &fresh) {
        for (const ktLineRecord &row : Rows()) fresh.push_back({row, fresh.size()});
        std::sort(fresh.begin(), fresh.end(), [](const NumberedRow &a, const NumberedRow &b) {
            return a.row.address != b.row.address ? a.row.address < b.row.address : a.number < b.number;
        });
    });
    if (!rows) return std::nullopt;
    const auto found =
        std::lower_bound(rows->begin(), rows->end(), address,
                         [](const NumberedRow &each, uint64_t wanted) { return each.row.address < wanted; });
    if (found == rows->end() || found->row.address != address) return std::nullopt;
    return found->row;
}

std::optional<ktLineRecord> ktLineInfo::FirstRowAt(uint64_t address) const {
    constexpr size_t manyHits = 256; // no compiler's program comes near
    const Index *ready = index.Get([this](Index &fresh) { FillIndex(fresh); });
    if (!ready) return std::nullopt;
    try {
        std::vector<uint32_t> hits;
        ready->byAddress.VisitAt(address, [&hits](uint32_t number) { hits.push_back(number); });
        if (hits.size() > manyHits) return FirstRowInOrder(address);
        std::sort(hits.begin(), hits.end());
        for (const uint32_t number : hits) {
            const auto part =
                std::upper_bound(ready->parts.begin(), ready->parts.end(), number,
                                 [](size_t wanted, const Index::Part &each) { return wanted < each.end; });
            if (const auto row = part->source->FirstRowIn(ready->stretches[number], address)) return row;
        }
        return std::nullopt;
    } catch (const std::bad_alloc &) {
        return std::nullopt;
    }
}
