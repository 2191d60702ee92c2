#include "app/batch/interrupts.h"

#include "platform/console.h"

#include <atomic>

namespace {

std::atomic<bool> interrupted{false};

void OnInterrupt() { interrupted.store(true, std::memory_order_relaxed); }

} // namespace

ktInterrupts::ktInterrupts() { SetInterruptHandler(OnInterrupt); }

ktInterrupts::~ktInterrupts() { SetInterruptHandler(nullptr); }

bool ktInterrupts::Take() { return interrupted.exchange(false, std::memory_order_relaxed); }
