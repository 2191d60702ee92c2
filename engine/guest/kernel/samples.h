// Functions and data of many shapes, for whoever looks at types and calls.
#pragma once

#include <stdint.h>

enum color { colorRed, colorGreen = 5, colorBlue, colorNone = -1 };

typedef int64_t (*operation)(int64_t left, int64_t right);

struct operationRow {
    const char *name;
    operation run;
};

struct deviceStatus {
    uint32_t isReady : 1;
    uint32_t mode : 3;
    int32_t offset : 6;
    uint32_t : 0;
    uint64_t position : 40;
};

union registerView {
    uint64_t whole;
    uint32_t halves[2];
    uint8_t bytes[8];
    struct {
        uint16_t low, high;
    } words;
};

struct point {
    int32_t x, y;
};

struct shape {
    enum color color;
    struct point corners[2][3];
    union {
        struct point center;
        uint64_t packed;
    };
    const char *name;
    volatile uint32_t *counter;
    struct shape *inner;
};

struct samples {
    struct deviceStatus device;
    union registerView view;
    struct shape shapes[2];
    enum color color;
    uint32_t counter;
    int64_t lastResult;
};

extern struct samples samples;
extern const struct operationRow operations[];

uint64_t fibonacci(uint64_t n);
uint64_t ackermann(uint64_t m, uint64_t n);
int64_t callOperation(uint64_t which, int64_t left, int64_t right);
// Changes the samples by the round's number.
void samplesChange(uint64_t round);
