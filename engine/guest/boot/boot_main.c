// The 32-bit part: shows each kind of paging for a moment, then hands over to the kernel in long mode.
#include <stdbool.h>

#include "boot/boot_console.h"
#include "boot/boot_info.h"
#include "boot/paging.h"
#include "common/console.h"
#include "common/layout.h"
#include "common/memory.h"

extern const uint8_t kernelBytes[], kernelBytesEnd[], imageBytes[], imageBytesEnd[];

void enterLongMode(uint32_t root, const struct bootInfo *info);
void bootMain(void);

static struct bootInfo info;

static uint64_t ramBytes(void) {
    const volatile uint32_t *note = (const volatile uint32_t *)LOADER_NOTE;
    const uint32_t kib = note[0] == LOADER_MAGIC ? note[1] : DEFAULT_RAM_KIB;
    return (uint64_t)kib << 10;
}

static bool hasLongMode(void) {
    uint32_t eax = 0x80000000, ebx, ecx, edx;
    __asm__ volatile("cpuid" : "+a"(eax), "=b"(ebx), "=c"(ecx), "=d"(edx));
    if (eax < 0x80000001) return false;
    eax = 0x80000001;
    __asm__ volatile("cpuid" : "+a"(eax), "=b"(ebx), "=c"(ecx), "=d"(edx));
    return (edx & 1u << 29) != 0;
}

// A word written through one mapping is read through another.
static bool isShown(void) {
    volatile uint32_t *direct = (volatile uint32_t *)SHOWN_PHYSICAL,
                      *shown = (volatile uint32_t *)SHOWN_LINEAR;
    *direct = 0x12345678;
    if (*shown != 0x12345678) return false;
    *shown = 0x87654321;
    return *direct == 0x87654321;
}

void bootMain(void) {
    consoleInit();
    bootLine("boot: 32-bit protected mode");
    startPaging32();
    bootLine("boot: 32-bit paging, page of 4 MiB %s", isShown() ? "works" : "fails");
    stopPaging();
    startPagingPAE();
    bootLine("boot: PAE paging, page of 2 MiB %s", isShown() ? "works" : "fails");
    stopPaging();
    if (!hasLongMode()) {
        bootLine("boot: this processor has no long mode");
        return;
    }
    info.ramBytes = ramBytes();
    memcpy((void *)IMAGE_PHYSICAL, imageBytes, (uint32_t)(imageBytesEnd - imageBytes));
    memcpy((void *)KERNEL_PHYSICAL, kernelBytes, (uint32_t)(kernelBytesEnd - kernelBytes));
    bootLine("boot: long mode");
    enterLongMode(makeLongTables(), &info);
}
