#include "app/batch/watchdog.h"

#include "app/batch/batch_options.h"
#include "commands/cmd_processor.h"
#include "platform/console.h"

#include <cstdio>

namespace {

/// What a cancelled command may still take to stop.
constexpr uint32_t graceMilliseconds = 2000;

} // namespace

ktWatchdog::ktWatchdog(ktCmdProcessor &watched, uint32_t limit) : processor(watched), milliseconds(limit) {
    if (milliseconds && !thread.Start(Run, this)) milliseconds = 0;
}

ktWatchdog::~ktWatchdog() {
    if (!thread.IsStarted()) return;
    ending = true;
    armed.Release();
    thread.Join();
}

void ktWatchdog::Arm() {
    if (!milliseconds) return;
    passed = false;
    armed.Release();
}

bool ktWatchdog::Disarm() {
    if (!milliseconds) return false;
    disarmed.Release();
    settled.Wait();
    return passed;
}

void ktWatchdog::Run(void *self) { static_cast<ktWatchdog *>(self)->Watch(); }

void ktWatchdog::Watch() {
    for (;;) {
        armed.Wait();
        if (ending) return;
        if (!disarmed.WaitFor(milliseconds)) {
            passed = true;
            processor.CancelRunning();
            if (!disarmed.WaitFor(graceMilliseconds)) {
                std::fputs("sabledbg-batch: the command passed its time limit and did not stop\n", stderr);
                ExitProcessNow(ktBatchTimedOut);
            }
        }
        settled.Release();
    }
}
