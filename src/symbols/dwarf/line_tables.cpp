#include "symbols/dwarf/line_tables.h"

#include <algorithm>
#include <new>

#include "app/log_batch.h"
#include "symbols/dwarf/work_budget.h"
#include "symbols/line_info.h"

namespace {

constexpr uint64_t maxEntries = 1024;
constexpr size_t maxText = 4095; ///< longer texts are cut

enum Content : uint64_t { contentPath = 1, contentDirectory, contentTime, contentSize, contentMd5 };

enum Form : uint64_t {
    formData2 = 0x05,
    formData4 = 0x06,
    formData8 = 0x07,
    formString = 0x08,
    formBlock = 0x09,
    formData1 = 0x0B,
    formStrp = 0x0E,
    formUdata = 0x0F,
    formStrpSup = 0x1D,
    formData16 = 0x1E,
    formLineStrp = 0x1F,
};

/// Which forms a number of `content` may have.
bool IsNumberForm(uint64_t content, uint64_t form) {
    switch (form) {
    case formData1:
    case formData2:
        return content == contentDirectory || content == contentSize;
    case formData4:
    case formData8:
        return content == contentTime || content == contentSize;
    case formBlock:
        return content == contentTime;
    default:
        return form == formUdata;
    }
}

/// A number, or 0 for a block, which is passed over. False for a block that is longer than what is left.
bool ReadNumber(ktByteCursor &cursor, uint64_t form, uint64_t &value) {
    value = 0;
    switch (form) {
    case formData1:
        value = cursor.U8();
        break;
    case formData2:
        value = cursor.U16();
        break;
    case formData4:
        value = cursor.U32();
        break;
    case formData8:
        value = cursor.U64();
        break;
    case formUdata:
        value = cursor.Uleb();
        break;
    default:
        const uint64_t size = cursor.Uleb();
        return size <= cursor.Remaining() && cursor.Skip(size);
    }
    return true;
}

} // namespace

bool ktLineTablesReader::Read(ktByteCursor &cursor, uint16_t version) {
    const bool formatted = version == 5;
    for (const Kind kind : {directories, files}) {
        if (!(formatted ? ReadFormatted(cursor, kind) : ReadList(cursor, kind))) return false;
    }
    if (table) StoreDirectories();
    return true;
}

/// The table of other versions than 5: an empty text ends it.
bool ktLineTablesReader::ReadList(ktByteCursor &cursor, Kind kind) {
    for (uint64_t number = 0;; ++number) {
        const std::string_view text = cursor.String();
        if (cursor.Failed()) return false;
        if (text.empty()) return true;
        if (number >= maxEntries) TellDropped(kind, number + 1);
        if (!StoreText(kind, number, text)) return false;
        if (kind == directories) continue;
        StoreDirectoryOf(number, cursor.Uleb());
        cursor.SkipLeb(); // time
        cursor.SkipLeb(); // size
        if (cursor.Failed()) return false;
    }
}

/// There is no place for the entry that makes `count`: the log is told, and the list goes on.
void ktLineTablesReader::TellDropped(Kind kind, uint64_t count) {
    if (!log) return;
    const auto entries = static_cast<long long>(count);
    const auto most = static_cast<long long>(maxEntries);
    if (kind == directories) {
        log->Format("Directories count (%lld) exceeds maximum (%lld)", entries, most);
    } else {
        log->Format("Files count (%lld) exceeds maximum (%lld)", entries, most);
    }
}

/// The table of version 5: what its entries consist of, their count, and the entries.
bool ktLineTablesReader::ReadFormatted(ktByteCursor &cursor, Kind kind) {
    formats.clear();
    for (uint32_t left = cursor.U8(); left != 0 && !cursor.Failed(); --left) {
        const uint64_t content = cursor.Uleb();
        const uint64_t form = cursor.Uleb();
        // Other contents read nothing. They do not stay, so that each round over the formats reads a byte.
        if (content >= contentPath && content <= contentMd5) formats.push_back({content, form});
    }
    uint64_t count = cursor.Uleb() & 0xFFFF; // more of it is not looked at
    if (cursor.Failed()) return false;
    if (formats.empty()) { // nothing is read for any number of entries
        count = std::min(count, maxEntries);
        if (budget && !budget->Take(count)) return false;
    }
    for (uint64_t number = 0; number < count; ++number) {
        if (!StoreText(kind, number, "")) return false;
        for (const Format &format : formats) {
            if (!ReadField(cursor, format, kind, number) || cursor.Failed()) return false;
        }
    }
    return true;
}

bool ktLineTablesReader::ReadField(ktByteCursor &cursor, const Format &format, Kind kind, uint64_t number) {
    switch (format.content) {
    case contentPath:
        return ReadPath(cursor, format.form, kind, number);
    case contentMd5:
        return format.form == formData16 && cursor.Skip(16);
    default:
        uint64_t value = 0;
        if (!IsNumberForm(format.content, format.form) || !ReadNumber(cursor, format.form, value))
            return false;
        // Also from the table of directories: the number goes to the file of the same number.
        if (format.content == contentDirectory) StoreDirectoryOf(number, value);
        return true;
    }
}

bool ktLineTablesReader::ReadPath(ktByteCursor &cursor, uint64_t form, Kind kind, uint64_t number) {
    switch (form) {
    case formString: {
        const std::string_view text = cursor.String();
        return !cursor.Failed() && StoreText(kind, number, text);
    }
    case formStrp:
        return ReadPathAt(sections.str, cursor.Offset(is32), kind, number);
    case formStrpSup:
        return ReadPathAt(sections.strDwo, cursor.Offset(is32), kind, number);
    case formLineStrp:
        return ReadPathAt(sections.lineStr, cursor.Offset(is32), kind, number);
    default:
        return false;
    }
}

bool ktLineTablesReader::ReadPathAt(std::span<const uint8_t> section, uint64_t offset, Kind kind,
                                    uint64_t number) {
    ktByteCursor cursor(section);
    if (!cursor.Seek(offset)) return false;
    const std::string_view text = cursor.String();
    if (!cursor.Failed()) return StoreText(kind, number, text);
    if (budget) budget->Take(cursor.Remaining()); // all of it was searched for the end of the text
    return false;
}

/// Sets entry `number`, when it has a place, to `text`, behind which stands a zero. False when the budget is
/// used up.
bool ktLineTablesReader::StoreText(Kind kind, uint64_t number, std::string_view text) {
    // Short texts are paid for with the bytes that name them.
    if (budget && text.size() > maxText && !budget->Take(text.size())) return false;
    if (number >= maxEntries) return true;
    if (kind == files) fileCount = number + 1;
    if (!table) return true;
    ktOwnedText &place = ktLineTable::PlaceAt(kind == files ? table->files : table->directories, number + 1);
    if (text.size() <= maxText) {
        place.Lend(text.empty() ? "" : &text.front());
    } else if (!place.Assign(text.substr(0, maxText))) {
        throw std::bad_alloc();
    }
    return true;
}

void ktLineTablesReader::StoreDirectoryOf(uint64_t number, uint64_t directory) {
    if (!table || number >= maxEntries) return;
    if (number >= directoryOf.size()) directoryOf.resize(number + 1);
    directoryOf[number] = directory;
}

void ktLineTablesReader::StoreDirectories() {
    directoryOf.resize(std::max<uint64_t>(directoryOf.size(), fileCount));
    for (uint64_t number = 0; number < fileCount; ++number)
        ktLineTable::PlaceAt(table->fileDirs, number + 1) = directoryOf[number];
}
