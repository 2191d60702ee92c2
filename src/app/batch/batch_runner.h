#pragma once

#include "app/batch/batch_options.h"
#include "app/batch/line_printer.h"
#include "app/batch/watchdog.h"

#include <cstdint>
#include <string>

class ktApp;
class ktLineSource;

/// Runs the lines of a source on a started application and prints what they print.
class ktBatchRunner {
public:
    ktBatchRunner(ktApp &startedApp, const ktBatchOptions &givenOptions);

    /// Runs until `q`, the end of input, or a reason to stop; returns the exit code.
    int Run(ktLineSource &source);

private:
    enum class Next { line, stop };

    Next RunOne(const std::string &line, const std::string &place);
    Next RunCommand(const std::string &line);
    Next RunDirective(const std::string &line, const std::string &place);
    Next Sleep(uint32_t milliseconds);
    Next WaitForStop(uint32_t milliseconds);
    bool TargetIsStopped() const;
    bool IsQuit(const std::string &line);
    void WaitUntilIdle();
    void PrintNewLines(bool flush);

    ktApp &app;
    const ktBatchOptions &options;
    ktLinePrinter printer;
    ktWatchdog watchdog;
    int exitCode = ktBatchDone;
};
