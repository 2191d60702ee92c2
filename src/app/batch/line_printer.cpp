#include "app/batch/line_printer.h"

#include "app/circular_lines.h"
#include "app/log_lines.h"

#include <algorithm>
#include <cstdio>

namespace {

void PrintRange(ktLines &lines, uint64_t first, uint64_t end, const char *prefix) {
    for (uint64_t i = first; i < end; ++i) {
        const char *text = lines.GetLine(i);
        if (!text) break;
        std::fputs(prefix, stdout);
        std::fputs(text, stdout);
        std::fputc('\n', stdout);
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
    const uint64_t count = lines.GetLineCount();
    const uint64_t fresh = std::min(added - logSeen, count);
    logSeen = added;
    PrintRange(lines, count - fresh, count, "log: ");
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
