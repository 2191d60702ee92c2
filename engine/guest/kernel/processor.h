// Instructions that C has no words for.
#pragma once

#include <stdint.h>

enum {
    msrEfer = 0xC0000080,
    msrStar = 0xC0000081,
    msrSyscallTarget = 0xC0000082,
    msrSyscallMask = 0xC0000084,
    msrKernelGsBase = 0xC0000102
};

enum { eferSyscall = 0x001, eferNoExecute = 0x800 };
enum { cr4Global = 0x80 };
enum { flagInterrupt = 0x200 };

static inline uint64_t msrRead(uint32_t number) {
    uint32_t low, high;
    __asm__ volatile("rdmsr" : "=a"(low), "=d"(high) : "c"(number));
    return (uint64_t)high << 32 | low;
}

static inline void msrWrite(uint32_t number, uint64_t value) {
    __asm__ volatile("wrmsr" : : "c"(number), "a"((uint32_t)value), "d"((uint32_t)(value >> 32)) : "memory");
}

static inline uint64_t rootRead(void) {
    uint64_t value;
    __asm__ volatile("mov %%cr3, %0" : "=r"(value));
    return value;
}

static inline void rootWrite(uint64_t value) { __asm__ volatile("mov %0, %%cr3" : : "r"(value) : "memory"); }

static inline uint64_t faultAddress(void) {
    uint64_t value;
    __asm__ volatile("mov %%cr2, %0" : "=r"(value));
    return value;
}

static inline void cr4Set(uint64_t bits) {
    uint64_t value;
    __asm__ volatile("mov %%cr4, %0" : "=r"(value));
    __asm__ volatile("mov %0, %%cr4" : : "r"(value | bits) : "memory");
}

static inline uint64_t interruptsOff(void) {
    uint64_t flags;
    __asm__ volatile("pushfq\n\tpop %0\n\tcli" : "=r"(flags) : : "memory");
    return flags;
}

static inline void interruptsRestore(uint64_t flags) {
    if ((flags & flagInterrupt) != 0) __asm__ volatile("sti" : : : "memory");
}
