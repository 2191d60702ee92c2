#include "kernel/samples.h"

static int64_t addUp(int64_t left, int64_t right) { return left + right; }
static int64_t takeAway(int64_t left, int64_t right) { return left - right; }
static int64_t multiply(int64_t left, int64_t right) { return left * right; }
static int64_t mix(int64_t left, int64_t right) { return left ^ right << 7; }

const struct operationRow operations[] = {
    {"add", &addUp}, {"subtract", &takeAway}, {"multiply", &multiply}, {"mix", &mix}};

enum { operationCount = sizeof operations / sizeof *operations };

struct samples samples = {.device = {.isReady = 1, .mode = 5, .offset = -3, .position = 0x123456789A},
                          .view = {.whole = 0x1122334455667788},
                          .shapes = {{.color = colorGreen,
                                      .corners = {{{1, 2}, {3, 4}, {5, 6}}, {{-1, -2}, {-3, -4}, {-5, -6}}},
                                      .center = {7, 8},
                                      .name = "triangle",
                                      .counter = &samples.counter,
                                      .inner = &samples.shapes[1]},
                                     {.color = colorNone, .name = "nothing"}},
                          .color = colorRed};

uint64_t fibonacci(uint64_t n) {
    if (n < 2) return n;
    return fibonacci(n - 1) + fibonacci(n - 2);
}

uint64_t ackermann(uint64_t m, uint64_t n) {
    if (m == 0) return n + 1;
    if (n == 0) return ackermann(m - 1, 1);
    return ackermann(m - 1, ackermann(m, n - 1));
}

int64_t callOperation(uint64_t which, int64_t left, int64_t right) {
    return operations[which % operationCount].run(left, right);
}

void samplesChange(uint64_t round) {
    static const enum color colors[] = {colorRed, colorGreen, colorBlue, colorNone};
    samples.color = colors[round % 4];
    samples.device.mode = round & 7;
    samples.device.position = round & 0xFFFFFFFFFF;
    samples.view.halves[1] = (uint32_t)round;
    samples.shapes[0].corners[1][2].y -= 1;
    ++*samples.shapes[0].counter;
    samples.lastResult = callOperation(round, (int64_t)round, 3);
}
