#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// Exit codes of the batch program.
enum ktBatchExit : int {
    ktBatchDone = 0,
    ktBatchStopped = 1,  ///< --stop-on-error met a failing line, or start-up failed
    ktBatchBadUsage = 2, ///< unusable arguments or scripts
    ktBatchTimedOut = 3,
};

/// What the command line of the batch program asks for.
struct ktBatchOptions {
    std::vector<std::string> execute; ///< lines to run before the scripts
    std::vector<std::string> scripts; ///< in order; "-" is standard input; none means standard input
    bool echo = false;
    bool status = false;
    bool log = false;
    bool remote = false;
    bool stopOnError = false;
    uint32_t timeoutMilliseconds = 0; ///< 0 for none
};

enum class ktBatchStart { run, exit };

/// Fills `options`. With `exit` the program ends at once with `exitCode`: help and version went to
/// standard output, a complaint to standard error.
ktBatchStart ParseBatchOptions(int argc, const char *const *argv, ktBatchOptions &options, int &exitCode);
