/* A program without a runtime library, with data behind relocations. */
static int values[4] = {1, 2, 3, 4};
int *volatile table[2] = {&values[0], &values[2]};

__attribute__((noinline)) static int add(int left, int right) { return left + right; }

int entry(void) { return add(*table[0], *table[1]); }
