#include "app/batch/busy_sign.h"

#include "platform/clock.h"
#include "platform/console.h"
#include "symbols/load_progress.h"

#include <algorithm>
#include <cstdio>

ktBusySign::ktBusySign() : wanted(StandardErrorIsTerminal()), start(SystemClock().Milliseconds()) {}

ktBusySign::~ktBusySign() {
    if (shownSeconds == 0) return;
    std::fprintf(stderr, "\r%*s\r", shownWidth, "");
    std::fflush(stderr);
}

void ktBusySign::Refresh(const ktLoadProgress &progress) {
    if (!wanted) return;
    const uint64_t seconds = (SystemClock().Milliseconds() - start) / 1000;
    if (seconds == shownSeconds) return;
    shownSeconds = seconds;
    const uint64_t unitsFound = progress.unitsFound.load(std::memory_order_relaxed);
    const uint64_t unitsDone = progress.unitsDone.load(std::memory_order_relaxed);
    int width = std::fprintf(stderr, "\rrunning for %llu s", static_cast<unsigned long long>(seconds));
    if (unitsFound != 0) {
        width += std::fprintf(stderr, ", %llu of %llu units read", static_cast<unsigned long long>(unitsDone),
                              static_cast<unsigned long long>(unitsFound));
    }
    shownWidth = std::max(shownWidth, width);
    std::fflush(stderr);
}
