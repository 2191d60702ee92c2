#include "symbols/dwarf/line_program.h"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "app/log_batch.h"
#include "symbols/dwarf/line_header.h"
#include "symbols/dwarf/line_run.h"
#include "symbols/dwarf/line_tables.h"
#include "symbols/dwarf/work_budget.h"
#include "symbols/line_info.h"

namespace {

/// Appends the rows; what there is to tell was told by the first run.
struct RowStore {
    std::vector<ktLineRecord> &rows;
    const uint64_t bias;

    void Row(uint64_t address, uint64_t line, uint64_t file) {
        rows.push_back({address + bias, line - 1, file});
    }
    void Unexpected(const char *) {}
};

/// Appends stretches of rows. Rows of a stretch stand near each other, so that few hold an address that is
/// not one of their rows'.
class StretchStore {
public:
    StretchStore(std::vector<ktLineStretch> &stretchesToFill, uint64_t biasToAdd, ktLogBatch &logToUse)
        : stretches(stretchesToFill), bias(biasToAdd), log(logToUse) {}

    /// The next instruction, and the state before it.
    void Begin(uint64_t position, const ktLineRegisters &registers) {
        next.position = position;
        next.address = registers.address;
        next.opIndex = static_cast<uint32_t>(registers.opIndex);
        next.file = registers.file;
        next.line = registers.line;
    }
    void Row(uint64_t address, uint64_t, uint64_t) {
        const uint64_t at = address + bias;
        if (!isOpen || !Grow(stretches.back(), at)) {
            next.low = next.high = at;
            next.rowCount = 1;
            stretches.push_back(next);
            isOpen = true;
        }
    }
    void Unexpected(const char *text) { log.Add(text); }

private:
    static constexpr uint32_t mostRows = 64;    // run again for each look-up
    static constexpr uint64_t mostBytes = 1024; // of instructions, most of which may make no row
    static constexpr uint32_t fewestRows = 4;   // a bound for the memory that an odd program takes
    static constexpr uint64_t wideStep = 4096;

    /// Takes a row at `address` into `stretch`, unless that is full or the row far away.
    bool Grow(ktLineStretch &stretch, uint64_t address) const {
        if (stretch.rowCount == mostRows || next.position - stretch.position > mostBytes) return false;
        const uint64_t step = address < stretch.low    ? stretch.low - address
                              : address > stretch.high ? address - stretch.high
                                                       : 0;
        if (step > wideStep && stretch.rowCount >= fewestRows) return false;
        stretch.low = std::min(stretch.low, address);
        stretch.high = std::max(stretch.high, address);
        ++stretch.rowCount;
        return true;
    }

    std::vector<ktLineStretch> &stretches;
    const uint64_t bias;
    ktLogBatch &log;
    ktLineStretch next{}; ///< one that would begin at the present instruction
    bool isOpen = false;  ///< the last stretch may grow
};

/// Takes the first of so many rows that stands for `wanted`. To be asked after each instruction, which makes
/// one row at most.
struct RowFinder {
    const uint64_t wanted; ///< without the load bias
    uint32_t rowsLeft;
    std::optional<ktLineRecord> row{};

    void Row(uint64_t address, uint64_t line, uint64_t file) {
        --rowsLeft;
        if (address == wanted) row = {address, line - 1, file};
    }
    void Unexpected(const char *) {}
    bool IsDone() const { return row || rowsLeft == 0; }
};

/// Bytes that were looked at since `start`: a cursor that fails has searched all that was left.
uint64_t Passed(const ktByteCursor &cursor, uint64_t start) {
    return cursor.Position() - start + (cursor.Failed() ? cursor.Remaining() : 0);
}

/// One program in its sections.
class LineProgram final : public ktRowSource {
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

        firstInstruction = cursor.Position();
        const uint64_t end = std::min<uint64_t>(header.end, sections.line.size());
        const uint64_t size = end > firstInstruction ? end - firstInstruction : 0;
        if (!budget.Take(size)) return false;
        StretchStore store(stretches, bias, log);
        ktLineRun<StretchStore> run(header, store);
        ran = true;
        while (ran && run.HasMore(cursor)) {
            store.Begin(cursor.Position(), run.Registers());
            ran = run.Step(cursor);
        }
        stretches.shrink_to_fit();
        const uint64_t passed = Passed(cursor, firstInstruction);
        if (passed > size) budget.Take(passed - size); // the last instruction may reach beyond the end
        return true;
    }

    void AddNames(ktLineTable &table) const override {
        ktByteCursor cursor(sections.line);
        ktLineHeader header;
        if (!cursor.Seek(offset) || !header.Read(cursor)) return;
        ktLineTablesReader(sections, is32, table).Read(cursor, header.version);
    }

    void AddRows(std::vector<ktLineRecord> &rows) const override {
        ktByteCursor cursor(sections.line);
        ktLineHeader header;
        if (!Open(cursor, header, firstInstruction)) return;
        RowStore store{rows, bias};
        ktLineRun<RowStore>(header, store).Run(cursor);
    }

    void AddStretches(std::vector<ktLineStretch> &all) const override {
        all.insert(all.end(), stretches.begin(), stretches.end());
    }

    std::optional<ktLineRecord> FirstRowIn(const ktLineStretch &stretch, uint64_t address) const override {
        ktByteCursor cursor(sections.line);
        ktLineHeader header;
        if (!Open(cursor, header, stretch.position)) return std::nullopt;
        RowFinder finder{address - bias, stretch.rowCount};
        ktLineRun<RowFinder> run(header, finder,
                                 {stretch.address, stretch.opIndex, stretch.file, stretch.line});
        while (!finder.IsDone() && run.HasMore(cursor) && run.Step(cursor)) {
        }
        if (finder.row) finder.row->address = address;
        return finder.row;
    }

private:
    /// Reads the header and brings `cursor` to the instruction at `position`.
    bool Open(ktByteCursor &cursor, ktLineHeader &header, uint64_t position) const {
        return cursor.Seek(offset) && header.Read(cursor) && cursor.Seek(position);
    }

    const ktLineSections sections;
    const uint64_t offset;
    const uint64_t bias;
    uint64_t firstInstruction = 0; ///< its position
    std::vector<ktLineStretch> stretches;
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
