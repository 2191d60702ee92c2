/* What crosses the boundary between a debugger and an engine library: records, numbers, callbacks.
   Plain C. Numbers are little-endian, records have no padding of the compiler's own. */
#pragma once

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

/* A status is a signed 32-bit number: negative is failure, 0 or positive success. */
#define SABLE_OK ((int32_t)0)
#define SABLE_NOT_MAPPED ((int32_t)1) /* of a translation: there is none, and the address is all ones */
#define SABLE_FAILED ((int32_t)0xC0000001)
#define SABLE_NOT_SUPPORTED ((int32_t)0xC000000D)
#define SABLE_BAD_ARGUMENT ((int32_t)0xC000000E)

/* The same number serves events and the stop code of ktSbRawState. Each stop is an event but one that SbStep
   has waited for, which is told by its return. */
enum ktSbStop {
    ktSbStopBreakIn = 0,    /* a break-in was asked for, or the engine has just found the target stopped */
    ktSbStopStep = 2,       /* a single step ended */
    ktSbStopBreakPoint = 3, /* a code breakpoint was reached */
    ktSbStopException = 4,  /* the target stopped by itself: a fault that it cannot handle, a halt for good */
    ktSbStopReset = 5       /* the target was reset and waits at its first instruction */
};

/* Processor mode of SbGetContext. */
enum ktSbMode {
    ktSbModeReal = 0,
    ktSbModeVirtual8086 = 2,
    ktSbModeProtected32 = 3,
    ktSbModeProtected16 = 4,
    ktSbModeLong64 = 5,
    ktSbModeLong32 = 6,
    ktSbModeLong16 = 7
};

/* ktSbRawPageWalk::mode */
enum ktSbPaging {
    ktSbPagingNone = 0,
    ktSbPaging32 = 1,
    ktSbPagingPae = 2,
    ktSbPaging4Level = 3,
    ktSbPagingOther = 4
};

/* Segment registers in the order of the arrays of ktRawContext. */
enum ktSbSegment { ktSbCs, ktSbDs, ktSbSs, ktSbEs, ktSbFs, ktSbGs, ktSbSegmentCount };

typedef struct ktRawContext {
    uint64_t rip, cr3, rsp, rax, rbx, rcx, rdx, rsi, rdi, rbp, rflags;
    uint64_t r8, r9, r10, r11, r12, r13, r14, r15;
    uint16_t selector[6]; /* ktSbSegment */
    uint32_t access[6];   /* the descriptor's bits 40 to 55 without the limit: type, S, DPL, P in 0 to 7, AVL,
                             L, D, G in 12 to 15 */
    uint32_t limit[6];    /* in bytes, the last that may be reached */
    uint32_t reserved;
    uint64_t base[6];
    uint64_t cr0, cr2, cr4, cr8;
    uint64_t gdtBase, idtBase;
    uint16_t gdtLimit, idtLimit;
    uint16_t ldt, tss;
    uint32_t ldtAccess, ldtLimit;
    uint64_t ldtBase;
    uint32_t tssAccess, tssLimit;
    uint64_t tssBase;
    uint64_t dr0, dr1, dr2, dr3, dr6, dr7;
} ktRawContext;

static_assert(offsetof(ktRawContext, selector) == 152, "layout");
static_assert(offsetof(ktRawContext, access) == 164, "layout");
static_assert(offsetof(ktRawContext, limit) == 188, "layout");
static_assert(offsetof(ktRawContext, reserved) == 212, "layout");
static_assert(offsetof(ktRawContext, base) == 216, "layout");
static_assert(offsetof(ktRawContext, cr0) == 264, "layout");
static_assert(offsetof(ktRawContext, gdtBase) == 296, "layout");
static_assert(offsetof(ktRawContext, idtBase) == 304, "layout");
static_assert(offsetof(ktRawContext, gdtLimit) == 312, "layout");
static_assert(offsetof(ktRawContext, idtLimit) == 314, "layout");
static_assert(offsetof(ktRawContext, ldt) == 316, "layout");
static_assert(offsetof(ktRawContext, tss) == 318, "layout");
static_assert(offsetof(ktRawContext, ldtAccess) == 320, "layout");
static_assert(offsetof(ktRawContext, ldtLimit) == 324, "layout");
static_assert(offsetof(ktRawContext, ldtBase) == 328, "layout");
static_assert(offsetof(ktRawContext, tssAccess) == 336, "layout");
static_assert(offsetof(ktRawContext, tssLimit) == 340, "layout");
static_assert(offsetof(ktRawContext, tssBase) == 344, "layout");
static_assert(offsetof(ktRawContext, dr0) == 352, "layout");
static_assert(sizeof(ktRawContext) == 400, "layout");

/* Which registers SbGetContext and SbSetContext are about: bit n of the mask stands for register n. */
enum ktSbRegister {
    ktSbRegRip = 0,
    ktSbRegCr3 = 1,
    ktSbRegRsp = 2,
    ktSbRegRax = 3, /* 3 to 9: rax, rbx, rcx, rdx, rsi, rdi, rbp */
    ktSbRegRflags = 10,
    ktSbRegR8 = 11,  /* 11 to 18: r8 to r15 */
    ktSbRegCs = 19,  /* 19 to 42: selector, access, base, limit of cs, ds, ss, es, fs, gs */
    ktSbRegCr0 = 43, /* 43 to 46: cr0, cr2, cr4, cr8 */
    ktSbRegGdtBase = 47,
    ktSbRegGdtLimit = 48,
    ktSbRegIdtBase = 49,
    ktSbRegIdtLimit = 50,
    ktSbRegLdt = 51,    /* 51 to 54: selector, access, base, limit */
    ktSbRegTss = 55,    /* 55 to 58: the same */
    ktSbRegDr0 = 59,    /* 59 to 62: dr0 to dr3 */
    ktSbRegDr6And7 = 63 /* dr6 and dr7 share a bit */
};

typedef struct ktSbRawPageWalk {
    uint16_t entryCount; /* entries that are filled */
    uint16_t reserved1;
    uint16_t mode; /* ktSbPaging */
    uint8_t reserved2;
    uint8_t isValid;     /* not 0: there is a translation */
    uint64_t entries[4]; /* as they stand in memory, from the top level down */
} ktSbRawPageWalk;

static_assert(offsetof(ktSbRawPageWalk, mode) == 4, "layout");
static_assert(offsetof(ktSbRawPageWalk, isValid) == 7, "layout");
static_assert(offsetof(ktSbRawPageWalk, entries) == 8, "layout");
static_assert(sizeof(ktSbRawPageWalk) == 40, "layout");

typedef struct ktSbRawState {
    uint8_t isRunning; /* not 0: the target runs */
    uint8_t stopCode;  /* ktSbStop */
} ktSbRawState;

static_assert(sizeof(ktSbRawState) == 2, "layout");

typedef struct ktSbRawCpuId {
    uint32_t eax, ebx, ecx, edx;
} ktSbRawCpuId;

static_assert(sizeof(ktSbRawCpuId) == 16, "layout");

typedef struct ktSbRawSha1 {
    uint8_t digest[20];
} ktSbRawSha1;

static_assert(sizeof(ktSbRawSha1) == 20, "layout");

typedef struct ktSbRawBreakPoint {
    uint16_t number;
    uint16_t reserved1;
    uint8_t savedByte; /* what stood at the address when the breakpoint was set */
    uint8_t reserved2[3];
    uint16_t filterCount;
    uint16_t reserved3[3];
    uint64_t physical;
} ktSbRawBreakPoint;

static_assert(offsetof(ktSbRawBreakPoint, savedByte) == 4, "layout");
static_assert(offsetof(ktSbRawBreakPoint, filterCount) == 8, "layout");
static_assert(offsetof(ktSbRawBreakPoint, physical) == 16, "layout");
static_assert(sizeof(ktSbRawBreakPoint) == 24, "layout");

enum ktSbFilterType { ktSbFilterRootAndAddress = 3 };

typedef struct ktSbRawFilter {
    uint16_t typeOrNumber; /* ktSbFilterType when added, the filter's number when returned */
    uint16_t reserved1[3];
    uint64_t root;    /* page-table root: bits 0 to 11 and 52 to 63 do not count */
    uint64_t address; /* linear, or the instruction pointer where the code segment has a base */
    uint64_t reserved2[2];
} ktSbRawFilter;

static_assert(offsetof(ktSbRawFilter, root) == 8, "layout");
static_assert(offsetof(ktSbRawFilter, address) == 16, "layout");
static_assert(sizeof(ktSbRawFilter) == 40, "layout");

/* SbGetBreakPointInfo and SbGetBreakPointFilterInfo fill at most this many records a call. */
enum { ktSbInfoCount = 64 };

/* Both are called on threads of the library. */
typedef void (*ktSbEventCallback)(void *context, uint8_t event);
typedef void (*ktSbRawDataCallback)(void *context, const void *bytes, uint32_t size);
