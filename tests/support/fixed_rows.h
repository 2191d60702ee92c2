#pragma once

#include "symbols/line_info.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

/// Line information that a test writes down, in stretches of `stretchRows` rows.
class ktFixedRows : public ktRowSource {
public:
    explicit ktFixedRows(ktLineTable givenNames, std::vector<ktLineRecord> givenRows,
                         uint32_t rowsOfAStretch = 3)
        : names(std::move(givenNames)), rows(std::move(givenRows)), stretchRows(rowsOfAStretch) {}

    void AddNames(ktLineTable &table) const override {
        Assign(table.directories, names.directories);
        Assign(table.files, names.files);
        for (size_t i = 0; i < names.fileDirs.size(); ++i) {
            ktLineTable::PlaceAt(table.fileDirs, i) = names.fileDirs[i];
        }
    }
    void AddRows(std::vector<ktLineRecord> &all) const override {
        all.insert(all.end(), rows.begin(), rows.end());
    }
    void AddStretches(std::vector<ktLineStretch> &stretches) const override {
        for (size_t i = 0; i < rows.size(); ++i) {
            const uint64_t address = rows[i].address;
            if (i % stretchRows == 0) stretches.push_back({address, address, 0, 0, i, 0, 0, 0});
            ktLineStretch &stretch = stretches.back();
            stretch.low = std::min(stretch.low, address);
            stretch.high = std::max(stretch.high, address);
            ++stretch.rowCount;
        }
    }
    std::optional<ktLineRecord> FirstRowIn(const ktLineStretch &stretch, uint64_t address) const override {
        const auto first = rows.begin() + static_cast<ptrdiff_t>(stretch.position);
        const auto end = first + stretch.rowCount;
        const auto row =
            std::find_if(first, end, [address](const ktLineRecord &each) { return each.address == address; });
        return row == end ? std::nullopt : std::optional(*row);
    }

private:
    static void Assign(std::vector<ktOwnedText> &places, const std::vector<ktOwnedText> &texts) {
        for (size_t i = 0; i < texts.size(); ++i) {
            ktOwnedText &place = ktLineTable::PlaceAt(places, i);
            if (texts[i].Get()) place.Assign(texts[i].Get());
        }
    }

    const ktLineTable names;
    const std::vector<ktLineRecord> rows;
    const uint32_t stretchRows;
};

inline void AddLines(ktLineInfo &lines, ktLineTable names, std::vector<ktLineRecord> rows) {
    lines.Add(std::make_unique<ktFixedRows>(std::move(names), std::move(rows)));
}

/// Line information as new.
inline void Forget(ktLineInfo &lines) {
    std::destroy_at(&lines);
    std::construct_at(&lines);
}
