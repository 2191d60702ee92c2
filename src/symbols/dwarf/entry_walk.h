#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "symbols/dwarf/abbreviations.h"
#include "symbols/dwarf/byte_cursor.h"
#include "symbols/dwarf/dwarf_format.h"
#include "symbols/dwarf/text_section.h"

/// The value of one attribute.
struct ktDieValue {
    uint64_t number = 0; ///< 0 for signed numbers, blocks and texts
    std::string_view text;
    bool textLasts = false; ///< it stands in a section that is kept, with a zero behind it
};

/// How strings are cut: to the size of a buffer that starts at 4096 bytes and grows with the blocks that were
/// read before. Growth is noted with its place, for entries are looked at again, out of order.
class ktTextLimit {
public:
    void NoteBlock(uint64_t size, uint64_t position) {
        if (size > largest) {
            largest = (size + 7) / 8 * 8;
            growths.emplace_back(position, largest);
        }
    }
    /// Bytes that a text at `position` may have.
    uint64_t At(uint64_t position) const {
        const auto behind =
            std::upper_bound(growths.begin(), growths.end(), std::pair(position, ~uint64_t(0)));
        return (behind == growths.begin() ? initialSize : std::prev(behind)->second) - 1;
    }
    std::string_view Cut(std::string_view text, uint64_t position) const {
        return text.size() < initialSize ? text : text.substr(0, At(position));
    }

private:
    static constexpr uint64_t initialSize = 4096;

    uint64_t largest = initialSize;
    std::vector<std::pair<uint64_t, uint64_t>> growths; // position and size, both ascending
};

/// What reading the entries of one unit takes.
struct ktEntryContext {
    ktFormSizes sizes;
    uint64_t unitStart = 0; ///< offset of the unit in .debug_info, which local references are relative to
    uint64_t bias = 0;
    ktTextSection texts;
    ktTextSection lineTexts;
    ktTextLimit textLimit;
};

/// Passes `size` bytes of a block whose length was just read.
inline bool PassBlock(ktByteCursor &cursor, uint64_t size, ktTextLimit &limit) {
    const uint64_t position = cursor.Position();
    if (cursor.Failed() || !cursor.Skip(size)) return false;
    limit.NoteBlock(size, position);
    return true;
}

inline bool PassText(ktByteCursor &cursor, uint64_t offsetSize, const ktTextSection &section) {
    const uint64_t offset = cursor.Number(offsetSize);
    return !cursor.Failed() && section.Holds(offset);
}

/// Passes the attributes of an entry without a look at them. False when one cannot be read.
inline bool PassEntry(ktByteCursor &cursor, std::span<const ktSkipStep> skips, ktEntryContext &context) {
    for (const ktSkipStep &skip : skips) {
        switch (skip.step) {
        case ktFormStep::fixed:
            if (!cursor.Skip(skip.size)) return false;
            break;
        case ktFormStep::leb:
            cursor.SkipLeb();
            if (cursor.Failed()) return false;
            break;
        case ktFormStep::block1:
            if (!PassBlock(cursor, cursor.U8(), context.textLimit)) return false;
            break;
        case ktFormStep::block2:
            if (!PassBlock(cursor, cursor.U16(), context.textLimit)) return false;
            break;
        case ktFormStep::block4:
            if (!PassBlock(cursor, cursor.U32(), context.textLimit)) return false;
            break;
        case ktFormStep::blockLeb:
            if (!PassBlock(cursor, cursor.Uleb(), context.textLimit)) return false;
            break;
        case ktFormStep::string:
            cursor.String();
            if (cursor.Failed()) return false;
            break;
        case ktFormStep::text:
            if (!PassText(cursor, skip.size, context.texts)) return false;
            break;
        case ktFormStep::lineText:
            if (!PassText(cursor, skip.size, context.lineTexts)) return false;
            break;
        case ktFormStep::refused:
            return false;
        }
    }
    return true;
}

/// Reads the value of one attribute; false when that cannot be done.
inline bool ReadValue(ktByteCursor &cursor, const ktAttributeSpec &spec, ktEntryContext &context,
                      ktDieValue &value) {
    value = {};
    const auto readBlock = [&](uint64_t size) {
        const uint64_t position = cursor.Position();
        ktByteCursor block = cursor;
        if (!PassBlock(cursor, size, context.textLimit)) return false;
        const std::string_view bytes = block.Text(size);
        value.text = context.textLimit.Cut(bytes.substr(0, bytes.find('\0')), position);
        return true;
    };
    const auto readText = [&](const ktTextSection &section) {
        const uint64_t position = cursor.Position();
        const uint64_t offset = cursor.Number(spec.size);
        if (cursor.Failed() || !section.Holds(offset)) return false;
        value.text = section.At(offset, context.textLimit.At(position));
        value.textLasts = section.EndsBehind(value.text);
        return true;
    };
    switch (spec.step) {
    case ktFormStep::fixed:
        value.number = cursor.Number(spec.size);
        break;
    case ktFormStep::leb:
        if (spec.form == ktDwFormSdata) {
            cursor.SkipLeb(); // signed numbers are not looked at
        } else {
            value.number = cursor.Uleb();
        }
        break;
    case ktFormStep::block1:
        return readBlock(cursor.U8());
    case ktFormStep::block2:
        return readBlock(cursor.U16());
    case ktFormStep::block4:
        return readBlock(cursor.U32());
    case ktFormStep::blockLeb:
        return readBlock(cursor.Uleb());
    case ktFormStep::string: {
        const uint64_t position = cursor.Position();
        value.text = context.textLimit.Cut(cursor.String(), position);
        break;
    }
    case ktFormStep::text:
        return readText(context.texts);
    case ktFormStep::lineText:
        return readText(context.lineTexts);
    case ktFormStep::refused:
        return false;
    }
    if (cursor.Failed()) return false;
    switch (spec.form) {
    case ktDwFormAddr:
        value.number += context.bias;
        break;
    case ktDwFormRef1:
    case ktDwFormRef2:
    case ktDwFormRef4:
    case ktDwFormRef8:
        value.number += context.unitStart;
        break;
    case ktDwFormFlagPresent:
        value.number = 1;
        break;
    default:
        break;
    }
    return true;
}
