#include "app/log_batch.h"

#include "app/log.h"

#include <cstdarg>
#include <cstdio>

ktLogBatch::ktLogBatch() { lines.reserve(runLength); }

ktLogBatch::~ktLogBatch() { Flush(); }

void ktLogBatch::Format(const char *format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    if (lines.size() == runLength) Flush(); // before there is a copy that it would drop
    copies.emplace_back(text);
    Add(copies.back().c_str());
}

void ktLogBatch::Flush() {
    ktLogLinesAtOnce(lines);
    lines.clear();
    copies.clear();
}
