#include <stdarg.h>
#include <stdint.h>

enum signal { signal_lost = -3, signal_none, signal_weak = 2, signal_strong = 300 };
enum level { level_low, level_high = 70000 };

struct flags {
    unsigned int ready : 1;
    unsigned int mode : 3;
    signed int trim : 7;
    unsigned long long wide : 40;
};

struct point {
    int x, y;
};

struct record {
    char tag;
    double weight;
    struct flags flags;
    union {
        uint64_t whole;
        struct {
            uint32_t low, high;
        };
        uint8_t bytes[8];
    };
    struct {
        short first;
        long second;
    } named;
    struct point corners[2][3];
    enum signal signal;
    enum level level;
    const char *text;
    struct record *next;
    int (*act)(struct record *, int);
    volatile int *const port;
};

union word {
    float real;
    int whole;
    struct point point;
};

typedef int (*action)(struct record *, int);
typedef struct point corner;

int grid[3][4][5];
union word words[2];
corner origin;

static inline __attribute__((always_inline)) int square(int value) { return value * value; }

__attribute__((noinline)) int sum_of(int count, ...) {
    va_list list;
    int sum = 0;
    va_start(list, count);
    for (int i = 0; i < count; ++i) {
        int item = va_arg(list, int);
        sum += item;
    }
    va_end(list);
    return sum;
}

__attribute__((noinline)) static int touch(struct record *record, int by) {
    record->named.first += by;
    if (by > 2) {
        int doubled = square(by);
        record->corners[1][2].y += doubled;
    }
    return record->named.first;
}

__attribute__((noinline)) int shape(struct record *record, enum signal signal) {
    action actions[2] = {touch, record->act};
    switch (signal) {
    case signal_lost:
        return square(record->corners[0][0].x);
    case signal_strong:
        return actions[1](record, 3);
    default:
        return actions[0](record, sum_of(3, 1, 2, grid[1][2][3]));
    }
}

static int noisy(int count) { return count & 1 ? signal_strong : signal_lost; }

/* The inlined call ends up in two pieces. */
int in_pieces(int count) { return count > 9 ? sum_of(4, 5, noisy(count), 7, grid[0][0][0]) : 0; }
