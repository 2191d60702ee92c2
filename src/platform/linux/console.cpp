#include "platform/console.h"

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <unistd.h>

namespace {

std::atomic<void (*)()> interruptHandler{nullptr};

void OnSignal(int) {
    if (auto *handler = interruptHandler.load(std::memory_order_relaxed)) handler();
}

} // namespace

bool StandardInputIsTerminal() { return isatty(STDIN_FILENO) != 0; }

bool StandardErrorIsTerminal() { return isatty(STDERR_FILENO) != 0; }

void SetInterruptHandler(void (*handler)()) {
    interruptHandler.store(handler, std::memory_order_relaxed);
    struct sigaction action = {};
    action.sa_handler = handler ? OnSignal : SIG_DFL;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
}

void ExitProcessNow(int code) { std::_Exit(code); }
