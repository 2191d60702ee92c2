#include "app/batch/batch_runner.h"

#include "app/app.h"
#include "app/batch/busy_sign.h"
#include "app/batch/line_source.h"
#include "app/log_lines.h"
#include "commands/cmd.h"
#include "commands/cmd_processor.h"
#include "platform/clock.h"
#include "platform/console.h"
#include "platform/thread.h"
#include "session/session.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>

namespace {

constexpr uint32_t defaultWaitMilliseconds = 10000;
constexpr uint32_t pollMilliseconds = 1;

constexpr char blanks[] = " \t";

/// Splits "WORD REST" at blanks.
void SplitDirective(const std::string &line, std::string &word, std::string &rest) {
    const size_t wordEnd = std::min(line.find_first_of(blanks), line.size());
    word = line.substr(0, wordEnd);
    const size_t restStart = line.find_first_not_of(blanks, wordEnd);
    rest = restStart == std::string::npos ? std::string() : line.substr(restStart);
    rest.erase(rest.find_last_not_of(blanks) + 1);
}

bool ParseMilliseconds(const std::string &text, uint32_t &out) {
    const char *end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, out);
    return result.ec == std::errc() && result.ptr == end;
}

} // namespace

ktBatchRunner::ktBatchRunner(ktApp &startedApp, const ktBatchOptions &givenOptions)
    : app(startedApp), options(givenOptions), watchdog(*app.processor, options.timeoutMilliseconds) {}

int ktBatchRunner::Run(ktLineSource &source) {
    NoteInterrupts(true);
    PrintNewLines(false);
    std::string line;
    while (source.Next(line)) {
        if (RunOne(line, source.Place()) == Next::stop) break;
    }
    if (!source.Failure().empty()) {
        std::fprintf(stderr, "sabledbg-batch: %s\n", source.Failure().c_str());
        exitCode = ktBatchBadUsage;
    }
    PrintNewLines(true);
    if (std::ferror(stdout)) {
        std::fputs("sabledbg-batch: the output could not be written\n", stderr);
        exitCode = ktBatchStopped;
    }
    NoteInterrupts(false);
    return exitCode;
}

ktBatchRunner::Next ktBatchRunner::RunOne(const std::string &line, const std::string &place) {
    if (line.starts_with('#')) return Next::line;
    TakeInterrupt(); // one that came between two lines has nothing to stop
    if (options.echo) {
        std::printf("> %s\n", line.c_str());
        std::fflush(stdout);
    }
    return line.starts_with('.') ? RunDirective(line, place) : RunCommand(line);
}

ktBatchRunner::Next ktBatchRunner::RunCommand(const std::string &line) {
    const bool quit = IsQuit(line);
    watchdog.Arm();
    uint64_t status = app.processor->RunLine(line.c_str());
    WaitUntilIdle();
    const bool timedOut = watchdog.Disarm();
    if (status == ktCmdQueued) status = app.processor->LastQueuedStatus();
    PrintNewLines(false);
    if (options.status) std::printf("[%llu]\n", static_cast<unsigned long long>(status));
    std::fflush(stdout);
    if (timedOut) {
        exitCode = ktBatchTimedOut;
        return Next::stop;
    }
    if (quit) return Next::stop;
    // An empty line asks for nothing, so it cannot fail.
    const bool empty = line.find_first_not_of(blanks) == std::string::npos;
    const bool failed = status != ktCmdOk && status != ktCmdCleared && !empty;
    if (!failed || !options.stopOnError) return Next::line;
    exitCode = ktBatchStopped;
    return Next::stop;
}

bool ktBatchRunner::IsQuit(const std::string &line) {
    ktCmdLine parsed = {};
    parsed.cursor = line.c_str();
    parsed.length = static_cast<uint32_t>(std::strlen(line.c_str()));
    const bool isQuit =
        app.processor->ParseLine(line.c_str(), &parsed) && std::strcmp(parsed.command->GetName(), "q") == 0;
    ktCmdProcessor::ReleaseArgs(&parsed);
    return isQuit;
}

void ktBatchRunner::WaitUntilIdle() {
    ktBusySign sign;
    while (app.processor->IsBusy()) {
        if (InterruptIsNoted()) app.processor->CancelRunning();
        sign.Refresh(app.session->loadProgress);
        SleepMilliseconds(pollMilliseconds);
    }
    TakeInterrupt(); // not before: while the command goes on, one more ends the program
}

ktBatchRunner::Next ktBatchRunner::RunDirective(const std::string &line, const std::string &place) {
    std::string word;
    std::string rest;
    SplitDirective(line, word, rest);
    uint32_t milliseconds = defaultWaitMilliseconds;
    const bool numberGiven = !rest.empty();
    const bool numberGood = !numberGiven || ParseMilliseconds(rest, milliseconds);
    if (word == ".wait" && numberGood) return WaitForStop(milliseconds);
    if (word == ".sleep" && numberGiven && numberGood) {
        return Sleep(milliseconds);
    }
    if (word == ".cancel" && !numberGiven) {
        app.processor->CancelRunning();
        WaitUntilIdle();
        PrintNewLines(false);
        return Next::line;
    }
    std::fprintf(stderr, "sabledbg-batch: %s: not understood: %s\n", place.c_str(), line.c_str());
    exitCode = ktBatchBadUsage;
    return Next::stop;
}

ktBatchRunner::Next ktBatchRunner::Sleep(uint32_t milliseconds) {
    ktClock &clock = SystemClock();
    const uint64_t start = clock.Milliseconds();
    while (clock.Milliseconds() - start < milliseconds && !TakeInterrupt()) clock.Sleep(pollMilliseconds);
    PrintNewLines(false);
    return Next::line;
}

ktBatchRunner::Next ktBatchRunner::WaitForStop(uint32_t milliseconds) {
    ktClock &clock = SystemClock();
    const uint64_t start = clock.Milliseconds();
    while (!TargetIsStopped() && !TakeInterrupt()) {
        if (clock.Milliseconds() - start >= milliseconds) {
            exitCode = ktBatchTimedOut;
            return Next::stop;
        }
        clock.Sleep(pollMilliseconds);
    }
    PrintNewLines(false);
    return Next::line;
}

bool ktBatchRunner::TargetIsStopped() const {
    if (app.processor->IsBusy()) return false;
    ktSnapshot *snapshot = app.session->publishedSnapshot;
    if (!snapshot) return false;
    ktLockGuard guard(snapshot->lock);
    return !snapshot->stop.running && snapshot->context.validMask != 0;
}

void ktBatchRunner::PrintNewLines(bool flush) {
    ktLinePrinter::PrintOutput(*app.outputLines);
    if (options.log) printer.PrintLog(*app.logLines);
    if (options.remote) printer.PrintRemote(*app.remoteLines, flush);
    std::fflush(stdout);
}
