// The first process: divides by zero once, then adds and sleeps.
#include "common/calls.h"
#include "process/process.h"

static volatile int divisor;
static volatile int quotient;
static struct account account = {.owner = "first"};

static void divideByZero(void) { quotient = 7 / divisor; }

STEP_FUNCTION void processStep(struct account *mine) {
    ++mine->steps;
    mine->lastChange = (int32_t)(mine->steps % 7);
    mine->total += (uint64_t)mine->lastChange;
}

void processMain(void) {
    sayLine(systemCall(CALL_ID, 0, 0, 0) == 1 ? "first: hello" : "first: wrong number");
    sayLine(attempt(&divideByZero) == 1 ? "first: went on after a divide error" : "first: no divide error");
    for (;;) {
        processStep(&account);
        if (isPowerOfTwo(account.steps)) sayAccount(&account);
        systemCall(CALL_SLEEP, 2, 0, 0);
    }
}
