#pragma once

#include "app/log.h"
#include "app/log_batch.h"
#include "support/fixed_rows.h"
#include "support/line_program_builder.h"
#include "support/recording_lines.h"
#include "symbols/dwarf/line_program.h"
#include "symbols/dwarf/work_budget.h"
#include "symbols/line_info.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

inline void PrintTo(const ktLineRecord &row, std::ostream *out) {
    *out << "{0x" << std::hex << row.address << std::dec << ", " << row.line << ", " << row.file << "}";
}

using ktLineRows = std::vector<ktLineRecord>;

/// Reads line programs, as a unit's, and keeps what the log was told.
class ktLineFixture : public testing::Test {
protected:
    ktLineFixture() { SetLogSink(&log); }
    ~ktLineFixture() override { ClearLogSink(); }

    bool Parse(const ktBytes &section, uint64_t offset = 0) {
        kept.push_back(std::make_unique<ktBytes>(section)); // the tables refer to it
        sections.line = *kept.back();
        ktLogBatch batch;
        return ParseLineProgram(sections, offset, is32, bias, budget, batch, lines);
    }
    bool Parse(const ktLineProgramBuilder &builder) { return Parse(builder.Build()); }
    /// The rows of a version 4 program that consists of `code`.
    ktLineRows RowsOf(const ktLineBytes &code) {
        program.code = code;
        EXPECT_TRUE(Parse(program));
        return Rows();
    }

    ktLineRows Rows() const { return lines.Rows(); }
    /// A table of names with "-" for places that hold nothing.
    static std::vector<std::string> TextsOf(const std::vector<ktOwnedText> &places) {
        std::vector<std::string> texts;
        for (const ktOwnedText &place : places) texts.push_back(place.Get() ? place.Get() : "-");
        return texts;
    }
    /// The first `count` places.
    static std::vector<std::string> TextsOf(const std::vector<ktOwnedText> &places, size_t count) {
        std::vector<std::string> texts = TextsOf(places);
        texts.resize(count, "no such place");
        return texts;
    }
    std::vector<std::string> Files(size_t count) const { return TextsOf(lines.Table().files, count); }
    std::vector<std::string> Directories(size_t count) const {
        return TextsOf(lines.Table().directories, count);
    }
    std::vector<uint64_t> FileDirs(size_t count) const {
        std::vector<uint64_t> dirs = lines.Table().fileDirs;
        dirs.resize(count, ~uint64_t(0));
        return dirs;
    }

    ktRecordingLines log;
    ktLineProgramBuilder program;
    ktLineSections sections;
    bool is32 = true;
    uint64_t bias = 0;
    ktWorkBudget budget{uint64_t(1) << 40};
    ktLineInfo lines;

private:
    std::vector<std::unique_ptr<ktBytes>> kept;
};
