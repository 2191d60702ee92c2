#include "kernel/second_core.h"

#include "common/layout.h"
#include "common/memory.h"
#include "kernel/descriptors.h"
#include "kernel/paging.h"
#include "kernel/print.h"
#include "kernel/processor.h"
#include "kernel/timer.h"

enum {
    apicId = 0x20,
    apicSpurious = 0xF0,
    apicCommandLow = 0x300,
    apicCommandHigh = 0x310,
    apicLine0 = 0x350
};
enum { apicOn = 0x1FF, lineFromControllers = 0x700 };
enum { sendInit = 0x4500, sendStart = 0x4600 };
enum { waitForCore = 50 };

extern const uint8_t secondCoreStart[], secondCoreStartEnd[], secondCoreRoot[];

volatile enum coreState secondCoreState;
volatile uint64_t secondCoreCounter;
volatile uint64_t secondCoreChecksum;

_Noreturn void secondCoreMain(void);
void secondCoreStep(void);
_Noreturn void secondCoreLoop(void);

static volatile uint32_t *apicRegister(unsigned offset) {
    return (volatile uint32_t *)(APIC_ADDRESS + offset);
}

static void apicInit(unsigned core) {
    *apicRegister(apicSpurious) = apicOn;
    if (core == 0) *apicRegister(apicLine0) = lineFromControllers;
    coreData[core].apicId = *apicRegister(apicId) >> 24;
}

// Both cores count up from 0, so the other one's identifier is 1.
static void sendToSecond(uint32_t command) {
    *apicRegister(apicCommandHigh) = 1u << 24;
    *apicRegister(apicCommandLow) = command;
}

static void copyStartPage(void) {
    uint8_t *to = physicalPointer(START_PAGE);
    const uint32_t root = (uint32_t)kernelRoot; // taken from the first frames, so below 4 GiB
    memcpy(to, secondCoreStart, (uint64_t)(secondCoreStartEnd - secondCoreStart));
    memcpy(to + (secondCoreRoot - secondCoreStart), &root, sizeof root);
}

void secondCoreInit(void) {
    apicInit(0);
    copyStartPage();
    secondCoreState = coreStarting;
    sendToSecond(sendInit);
    waitTicks(2);
    sendToSecond(sendStart | START_PAGE / pageSize);
    for (unsigned n = 0; n < waitForCore && secondCoreState != coreBusy; ++n) waitTicks(1);
    if (secondCoreState != coreBusy) {
        secondCoreState = coreAbsent;
        kernelPrint("there is no second core");
    }
}

void secondCoreStep(void) {
    ++secondCoreCounter;
    secondCoreChecksum = secondCoreChecksum * 6364136223846793005u + 1442695040888963407u;
}

void secondCoreLoop(void) {
    for (;;) secondCoreStep();
}

void secondCoreMain(void) {
    cr4Set(cr4Global);
    descriptorsInit(1);
    apicInit(1);
    kernelPrint("second core runs, identifier %lu", (unsigned long)coreData[1].apicId);
    secondCoreState = coreBusy;
    secondCoreLoop();
}
