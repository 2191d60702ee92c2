#include "platform/console.h"

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace {

// Counts the interrupts that were noted and not taken. A descriptor, so that a wait for input also ends on an
// interrupt that comes just before the wait begins. Never closed: a handler may still be running.
int notedInterrupts = -1;

constexpr int interruptedExitCode = 130; // what shells make of an end by this signal

// No more than signal handlers may call, here and in InterruptIsNoted.
void OnInterrupt(int) {
    const int errorBefore = errno;
    if (InterruptIsNoted()) _exit(interruptedExitCode);
    const uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(notedInterrupts, &one, sizeof one);
    errno = errorBefore;
}

} // namespace

bool StandardInputIsTerminal() { return isatty(STDIN_FILENO) != 0; }

bool StandardErrorIsTerminal() { return isatty(STDERR_FILENO) != 0; }

void NoteInterrupts(bool on) {
    if (notedInterrupts == -1) notedInterrupts = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (notedInterrupts == -1) return;
    struct sigaction action = {};
    action.sa_handler = on ? OnInterrupt : SIG_DFL;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
}

bool InterruptIsNoted() {
    pollfd noted = {notedInterrupts, POLLIN, 0};
    return poll(&noted, 1, 0) == 1;
}

bool TakeInterrupt() {
    uint64_t count = 0;
    return read(notedInterrupts, &count, sizeof count) == sizeof count;
}

int ReadInputByte() {
    pollfd sources[] = {{notedInterrupts, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    do {
        sources[0].revents = sources[1].revents = 0;
    } while (poll(sources, 2, -1) == -1 && errno == EINTR);
    if (sources[0].revents != 0) return -1;
    unsigned char byte;
    ssize_t got;
    do {
        got = read(STDIN_FILENO, &byte, 1);
    } while (got == -1 && errno == EINTR);
    return got == 1 ? byte : -1;
}

void ExitProcessNow(int code) { std::_Exit(code); }
