#pragma once

#include "platform/compiler.h"

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

/// Lines for the log that come by the million, as when a reader tells what it passes over: they are handed on
/// in runs, so that the log's lock is not what a load waits for. Order is kept; what is added last shows when
/// the batch ends. One thread.
class ktLogBatch {
public:
    ktLogBatch();
    /// Hands on what is left.
    ~ktLogBatch();
    ktLogBatch(const ktLogBatch &) = delete;
    ktLogBatch &operator=(const ktLogBatch &) = delete;

    /// One line, which outlives the batch: mostly a literal.
    void Add(const char *lastingText) {
        if (lines.size() == runLength) Flush();
        lines.push_back(lastingText);
    }
    /// One line, formatted like printf and cut to 511 bytes.
    void Format(const char *format, ...) KT_PRINTF_FORMAT(2, 3);
    void Flush();

private:
    static constexpr size_t runLength = 512;

    std::vector<const char *> lines;
    std::deque<std::string> copies; // texts of `lines` that were formatted
};
