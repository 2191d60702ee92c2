// The second process: writes where nothing is mapped, then computes until the timer takes the processor away.
#include "common/calls.h"
#include "common/layout.h"
#include "process/process.h"

enum { busyRounds = 20000 };

static uint64_t *const nowhere = (uint64_t *)0x5000000010;
static volatile uint64_t mixed = 1;
static struct account account = {.owner = "second"};

static void writeNowhere(void) { *(volatile uint64_t *)nowhere = 1; }

static void busyWork(unsigned rounds) {
    for (unsigned n = 0; n < rounds; ++n) mixed = mixed * 25214903917u + 11;
}

STEP_FUNCTION void processStep(struct account *mine) {
    busyWork(busyRounds);
    mine->lastChange = -3;
    mine->total += 3;
    ++mine->steps;
}

void processMain(void) {
    sayLine(systemCall(CALL_ID, 0, 0, 0) == 2 ? "second: hello" : "second: wrong number");
    sayLine(attempt(&writeNowhere) == 15 ? "second: went on after a page fault" : "second: no page fault");
    sayLine(systemCall(CALL_WRITE, KERNEL_ADDRESS, 8, 0) == CALL_FAILED
                ? "second: the kernel's memory is not written"
                : "second: the kernel's memory was written");
    for (;;) {
        processStep(&account);
        if (isPowerOfTwo(account.steps)) sayAccount(&account);
        systemCall(CALL_YIELD, 0, 0, 0);
    }
}
