#pragma once

#include <cstdint>

class ktCircularLines;
class ktLogLines;

/// Prints what is new in the line stores to standard output.
class ktLinePrinter {
public:
    /// Prints and removes all lines of the store of command output, exactly as stored. No command runs
    /// meanwhile, so nobody adds to it.
    static void PrintOutput(ktLogLines &lines);
    /// Prints the log's lines since the last call as "log: TEXT"; those overwritten by then are lost.
    void PrintLog(ktCircularLines &lines);
    /// Prints the remote log's lines since the last call as "remote: TEXT". A line without its end waits
    /// for it, or for `flush`.
    void PrintRemote(ktLogLines &lines, bool flush);

private:
    uint64_t logSeen = 0;
    uint64_t remoteSeen = 0;
};
