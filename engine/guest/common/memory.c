#include "common/memory.h"

void *memcpy(void *to, const void *from, size_t size) {
    void *at = to;
    __asm__ volatile("rep movsb" : "+D"(at), "+S"(from), "+c"(size) : : "memory");
    return to;
}

void *memset(void *to, int value, size_t size) {
    void *at = to;
    __asm__ volatile("rep stosb" : "+D"(at), "+c"(size) : "a"(value) : "memory");
    return to;
}
