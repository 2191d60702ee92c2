// What the compiler calls for copies and fills.
#pragma once

#include <stddef.h>

void *memcpy(void *to, const void *from, size_t size);
void *memset(void *to, int value, size_t size);
