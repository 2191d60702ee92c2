#include "app/batch/line_printer.h"

#include "app/circular_lines.h"
#include "app/log_lines.h"

#include <cstdio>

namespace {

void PrintLine(const char *prefix, const char *text) {
    std::fputs(prefix, stdout);
    std::fputs(text, stdout);
    std::fputc('\n', stdout);
}

void PrintRange(ktLines &lines, uint64_t first, uint64_t end, const char *prefix) {
    for (uint64_t i = first; i < end; ++i) {
        const char *text = lines.GetLine(i);
        if (!text) break;
        PrintLine(prefix, text);
    }
}

} // namespace

void ktLinePrinter::PrintOutput(ktLogLines &lines) {
    lines.LockExclusive();
    PrintRange(lines, 0, lines.GetLineCount(), "");
    lines.Clear();
    lines.UnlockExclusive();
}

void ktLinePrinter::PrintLog(ktCircularLines &lines) {
    lines.LockShared();
    const uint64_t added = lines.GetAddedCount();
    for (; logSeen < added; ++logSeen) {
        if (const char *text = lines.GetAddedLine(logSeen)) PrintLine("log: ", text);
    }
    lines.UnlockShared();
}

void ktLinePrinter::PrintRemote(ktLogLines &lines, bool flush) {
    lines.LockShared();
    uint64_t end = lines.GetLineCount();
    if (!flush && end > remoteSeen && lines.HasOpenLine()) --end;
    PrintRange(lines, remoteSeen, end, "remote: ");
    remoteSeen = end;
    lines.UnlockShared();
}
