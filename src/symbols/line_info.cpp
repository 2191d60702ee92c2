#include "symbols/line_info.h"

#include <algorithm>
#include <numeric>
#include <utility>

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
    const RowOrder *order = rowOrder.Get([rows](RowOrder &fresh) {
        fresh.resize(rows.size());
        std::iota(fresh.begin(), fresh.end(), uint64_t(0));
        std::sort(fresh.begin(), fresh.end(), [rows](uint64_t a, uint64_t b) {
            return rows[a].address != rows[b].address ? rows[a].address < rows[b].address : a < b;
        });
    });
    if (!order) return nullptr;
    const auto found =
        std::lower_bound(order->begin(), order->end(), address,
                         [rows](uint64_t row, uint64_t wanted) { return rows[row].address < wanted; });
    return found != order->end() && rows[*found].address == address ? &rows[*found] : nullptr;
}
