// Where things lie, in physical and in linear memory. Numbers only: C, assembler and linker scripts read it.
#pragma once

// What a loader without a BIOS leaves: LOADER_MAGIC and the amount of memory in KiB, 32 bits each. The magic
// says that the whole image lies at BOOT_ADDRESS, so that the boot sector has nothing to load.
#define LOADER_NOTE 0x500
#define LOADER_MAGIC 0x44424C53
#define DEFAULT_RAM_KIB 0x10000

// The image of sectors, its upper limit, and what the boot code works with beyond it.
#define BOOT_ADDRESS 0x7C00
#define BOOT_LIMIT 0x80000
#define BOOT_WORK 0x80000
#define BOOT_WORK_LIMIT 0x90000

// A page below 1 MiB where the second core starts; its number is what wakes the core.
#define START_PAGE 0x1000

// The kernel's part of physical memory, and where pages for tables, stacks and processes are taken from.
#define IMAGE_PHYSICAL 0x100000
#define KERNEL_PHYSICAL 0x110000
#define KERNEL_LIMIT 0x200000
#define FRAMES_PHYSICAL 0x200000

// Linear addresses in long mode.
#define HIGH_HALF 0xFFFFFFFF80000000
#define IMAGE_ADDRESS (HIGH_HALF + IMAGE_PHYSICAL)
#define KERNEL_ADDRESS (HIGH_HALF + KERNEL_PHYSICAL)
#define DIRECT_MAP 0xFFFF800000000000
#define GIGABYTE_PAGE 0xFFFFC00000000000
#define APIC_ADDRESS 0xFFFFFFFFFEE00000
#define APIC_PHYSICAL 0xFEE00000

// A process: each has pages of its own at the same addresses.
#define PROCESS_TEXT 0x400000
#define PROCESS_STEP 0x400100
#define PROCESS_DATA 0x404000
#define PROCESS_DATA_END 0x406000
#define PROCESS_STACK 0x40E000
#define PROCESS_STACK_TOP 0x410000

// Selectors of the kernel's descriptor table, in the order that SYSRET asks for.
#define KERNEL_CODE 0x08
#define KERNEL_DATA 0x10
#define USER_BASE 0x18
#define USER_DATA 0x20
#define USER_CODE 0x28
#define FIRST_TASK_STATE 0x30
#define SECOND_TASK_STATE 0x40
