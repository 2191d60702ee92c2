// The kinds of paging of 32-bit code. In both, the first part of memory is mapped to itself by small pages
// and the part behind it by large ones; SHOWN_LINEAR is a large page that shows SHOWN_PHYSICAL.
#pragma once

#include <stdint.h>

#define SHOWN_LINEAR 0xC0000000u
#define SHOWN_PHYSICAL 0x800000u

void startPaging32(void);
void startPagingPAE(void);
void stopPaging(void);
// Tables for long mode: 64 MiB to themselves and, the same pages, in the kernel's half. Returns the root.
uint32_t makeLongTables(void);
