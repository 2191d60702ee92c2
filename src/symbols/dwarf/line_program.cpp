#include "symbols/dwarf/line_program.h"

#include <algorithm>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "app/log_batch.h"
#include "symbols/dwarf/line_header.h"
#include "symbols/dwarf/line_run.h"
#include "symbols/dwarf/line_tables.h"
#include "symbols/dwarf/work_budget.h"
#include "symbols/line_info.h"

namespace {

/// Counts the rows and tells what there is to tell.
struct RowCounter {
    ktLogBatch &log;
    uint64_t count = 0;

    void Row(uint64_t, uint64_t, uint64_t) { ++count; }
    void Unexpected(const char *text) { log.Add(text); }
};

/// Appends the rows; what there is to tell was told by the first run.
struct RowStore {
    std::vector<ktLineRecord> &rows;
    const uint64_t bias;

    void Row(uint64_t address, uint64_t line, uint64_t file) {
        rows.push_back({address + bias, line - 1, file});
    }
    void Unexpected(const char *) {}
};

/// Bytes that were looked at since `start`: a cursor that fails has searched all that was left.
uint64_t Passed(const ktByteCursor &cursor, uint64_t start) {
    return cursor.Position() - start + (cursor.Failed() ? cursor.Remaining() : 0);
}

/// One program in its sections.
class LineProgram final : public ktLineSource {
public:
    LineProgram(const ktLineSections &sectionsToUse, uint64_t offsetOfHeader, bool is32Unit,
                uint64_t biasToAdd)
        : sections(sectionsToUse), offset(offsetOfHeader), bias(biasToAdd), is32(is32Unit) {}

    /// To be called once. False when nothing of the program can be used; `ran` tells whether it came to its
    /// end.
    bool Check(ktWorkBudget &budget, ktLogBatch &log, bool &ran) {
        ktByteCursor cursor(sections.line);
        if (!budget.Take(0) || !cursor.Seek(offset)) return false;
        ktLineHeader header;
        const bool read = header.Read(cursor) &&
                          ktLineTablesReader(sections, is32, budget, log).Read(cursor, header.version);
        if (!budget.Take(Passed(cursor, offset)) || !read) return false;

        const uint64_t start = cursor.Position();
        const uint64_t end = std::min<uint64_t>(header.end, sections.line.size());
        const uint64_t size = end > start ? end - start : 0;
        if (!budget.Take(size)) return false;
        RowCounter counter{log};
        ran = ktLineRun<RowCounter>(header, counter).Run(cursor);
        rowCount = counter.count;
        const uint64_t passed = Passed(cursor, start);
        if (passed > size) budget.Take(passed - size); // the last instruction may reach beyond the end
        return true;
    }

    void AddTo(ktLineTable &table) const override {
        ktByteCursor cursor(sections.line);
        ktLineHeader header;
        if (!cursor.Seek(offset) || !header.Read(cursor)) return;
        if (!ktLineTablesReader(sections, is32, table).Read(cursor, header.version)) return;
        table.rows.reserve(table.rows.size() + rowCount);
        RowStore store{table.rows, bias};
        ktLineRun<RowStore>(header, store).Run(cursor);
    }

private:
    const ktLineSections sections;
    const uint64_t offset;
    const uint64_t bias;
    uint64_t rowCount = 0;
    const bool is32;
};

} // namespace

bool ParseLineProgram(const ktLineSections &sections, uint64_t offset, bool is32, uint64_t bias,
                      ktWorkBudget &budget, ktLogBatch &log, ktLineInfo &lines) {
    try {
        auto program = std::make_unique<LineProgram>(sections, offset, is32, bias);
        bool ran = false;
        if (!program->Check(budget, log, ran)) return false;
        lines.Add(std::move(program));
        return ran;
    } catch (const std::bad_alloc &) {
        return false;
    }
}
