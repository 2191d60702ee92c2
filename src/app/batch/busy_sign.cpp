#include "app/batch/busy_sign.h"

#include "platform/clock.h"
#include "platform/console.h"

#include <cstdio>

ktBusySign::ktBusySign() : wanted(StandardErrorIsTerminal()), start(SystemClock().Milliseconds()) {}

ktBusySign::~ktBusySign() {
    if (shownSeconds == 0) return;
    std::fputs("\r                    \r", stderr);
    std::fflush(stderr);
}

void ktBusySign::Refresh() {
    if (!wanted) return;
    const uint64_t seconds = (SystemClock().Milliseconds() - start) / 1000;
    if (seconds == shownSeconds) return;
    shownSeconds = seconds;
    std::fprintf(stderr, "\rrunning for %llu s", static_cast<unsigned long long>(seconds));
    std::fflush(stderr);
}
