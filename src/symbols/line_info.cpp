#include "symbols/line_info.h"

#include <algorithm>
#include <utility>

namespace {

/// A stretch of row numbers whose addresses do not fall.
struct Run {
    uint64_t first;
    uint64_t end;
};

/// The rows as runs. A wide step starts a new one as well: it leads to other code, with room for a third.
std::vector<Run> RunsOf(std::span<const ktLineRecord> rows) {
    constexpr uint64_t wideStep = 256; // bytes; hardly any line has as much code
    std::vector<Run> runs;
    uint64_t before = 0;
    for (uint64_t row = 0; row < rows.size(); ++row) {
        const uint64_t address = rows[row].address;
        if (row == 0 || address < before || address - before > wideStep) runs.push_back({row, row});
        runs.back().end = row + 1;
        before = address;
    }
    return runs;
}

/// Fills `order` with the row numbers, by address and then by number. The sequences of a line program rise,
/// and most stand apart: only those that touch or overlap have to be sorted. Many of the latter are what a
/// linker left of functions that it dropped, all from address 0 on.
void OrderRows(std::span<const ktLineRecord> rows, std::vector<uint64_t> &order) {
    const auto isBefore = [rows](uint64_t a, uint64_t b) {
        return rows[a].address != rows[b].address ? rows[a].address < rows[b].address : a < b;
    };
    std::vector<Run> runs = RunsOf(rows);
    std::sort(runs.begin(), runs.end(),
              [isBefore](const Run &a, const Run &b) { return isBefore(a.first, b.first); });
    order.reserve(rows.size());
    auto group = order.begin(); // runs that come behind all before it
    uint64_t last = 0;          // the last row of the group
    bool isGroupSorted = true;
    const auto endGroup = [&] {
        if (!isGroupSorted) std::sort(group, order.end(), isBefore);
        group = order.end();
        isGroupSorted = true;
    };
    for (const Run &run : runs) {
        if (group != order.end()) {
            if (isBefore(last, run.first)) {
                endGroup();
            } else {
                isGroupSorted = false;
            }
        }
        if (group == order.end() || isBefore(last, run.end - 1)) last = run.end - 1;
        for (uint64_t row = run.first; row < run.end; ++row) order.push_back(row);
    }
    endGroup();
}

} // namespace

const char *ktLineTable::DirectoryOf(uint64_t file, const char *compDir) const {
    const uint64_t number = file < fileDirs.size() ? fileDirs[file] : 0;
    if (number == 0) return compDir;
    return number < directories.size() ? directories[number].Get() : nullptr;
}

void ktLineInfo::Add(std::unique_ptr<const ktLineSource> source) {
    sources.push_back(std::move(source));
    table.Drop();
    rowOrder.Drop();
}

void ktLineInfo::SetTable(ktLineTable newTable) {
    table.Set(std::make_unique<ktLineTable>(std::move(newTable)));
    rowOrder.Drop();
    sources.clear();
}

const ktLineTable &ktLineInfo::Table() const {
    static const ktLineTable empty;
    const ktLineTable *made = table.Get([this](ktLineTable &fresh) {
        for (const auto &source : sources) source->AddTo(fresh);
    });
    return made ? *made : empty;
}

const ktLineRecord *ktLineInfo::FirstRowAt(uint64_t address) const {
    const std::span<const ktLineRecord> rows = Rows();
    const RowOrder *order = rowOrder.Get([rows](RowOrder &fresh) { OrderRows(rows, fresh); });
    if (!order) return nullptr;
    const auto found =
        std::lower_bound(order->begin(), order->end(), address,
                         [rows](uint64_t row, uint64_t wanted) { return rows[row].address < wanted; });
    return found != order->end() && rows[*found].address == address ? &rows[*found] : nullptr;
}
