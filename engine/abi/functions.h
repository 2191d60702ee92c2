/* The functions of an engine library, in the order of the table through which a debugger calls them. A
   library exports each by its name, with C linkage; one that lacks a name does not serve. Each returns a
   status.

   SABLE_ENGINE_FUNCTIONS(X) expands X(name, (parameters)) for each; SABLE_ENGINE_TABLE(F, R) expands R
   instead for those with (void). These are never called: they have to be there, and their parameters are left
   to the library. */
#pragma once

#include "abi/records.h"

#include <stdbool.h>

/* clang-format off */
#define SABLE_ENGINE_TABLE(F, R) \
    F(TransportCreate, (void **transport, uint32_t number)) \
    R(TransportEnumerateInterfaces, (void)) \
    F(TransportGetInterfaceCount, (void *transport, uint32_t *count)) \
    F(TransportGetInterfaceName, (void *transport, uint32_t index, char *buffer, uint32_t *size)) \
    F(TransportSetInterfaceName, (void *transport, const char *name)) \
    F(TransportSetInterfaceIndex, (void *transport, uint32_t index)) \
    F(TransportSetRawDataCallback, (void *transport, ktSbRawDataCallback callback, void *context)) \
    F(TransportDestroy, (void *transport)) \
    F(EngCreateEngine, (void **engine)) \
    F(EngAssignTransport, (void *engine, void *transport)) \
    F(EngSetRequestTimeout, (void *engine, uint32_t milliseconds)) \
    F(EngSetRequestRetryCount, (void *engine, uint32_t count)) \
    F(EngStart, (void *engine)) \
    F(EngStop, (void *engine)) \
    F(EngDestroyEngine, (void *engine)) \
    F(SbSetEventCallback, (void *engine, ktSbEventCallback callback, void *context)) \
    F(SbPing, (void *engine)) \
    F(SbGo, (void *engine)) \
    F(SbBreakIn, (void *engine)) \
    F(SbStep, (void *engine, bool ignoreInterrupts)) \
    F(SbSwitchCpu, (void *engine, uint32_t core)) \
    F(SbReboot, (void *engine)) \
    F(SbReadVirtualMemory, (void *engine, uint64_t root, uint16_t selector, uint64_t address, void *buffer, uint32_t size, uint32_t *done)) \
    F(SbWriteVirtualMemory, (void *engine, uint64_t root, uint16_t selector, uint64_t address, const void *buffer, uint32_t size, uint32_t *done)) \
    F(SbReadLinearMemory, (void *engine, uint64_t root, uint64_t address, void *buffer, uint32_t size, uint32_t *done)) \
    F(SbWriteLinearMemory, (void *engine, uint64_t root, uint64_t address, const void *buffer, uint32_t size, uint32_t *done)) \
    F(SbReadPhysicalMemory, (void *engine, uint64_t address, void *buffer, uint32_t size, uint32_t *done)) \
    F(SbWritePhysicalMemory, (void *engine, uint64_t address, const void *buffer, uint32_t size, uint32_t *done)) \
    F(SbGetContext, (void *engine, ktRawContext *context, uint64_t mask, uint32_t *mode)) \
    F(SbSetContext, (void *engine, const ktRawContext *context, uint64_t mask)) \
    R(SbGetExtendedContext, (void)) \
    R(SbSetExtendedContext, (void)) \
    F(SbReadIo, (void *engine, uint16_t port, uint8_t width, void *buffer, uint32_t size, uint32_t *done)) \
    F(SbWriteIo, (void *engine, uint16_t port, uint8_t width, const void *buffer, uint32_t size, uint32_t *done)) \
    F(SbGetStateInfo, (void *engine, ktSbRawState *state)) \
    F(SbGetCpuInfo, (void *engine, uint8_t *currentCore, uint8_t *coreCount)) \
    F(SbCpuId, (void *engine, uint32_t leaf, uint32_t subleaf, ktSbRawCpuId *result)) \
    F(SbReadMsr, (void *engine, uint32_t number, void *buffer, uint32_t size)) \
    F(SbWriteMsr, (void *engine, uint32_t number, uint64_t value, uint32_t size)) \
    F(SbSearchVirtualMemory, (void *engine, uint64_t root, uint16_t selector, uint64_t start, uint64_t end, const void *pattern, uint32_t patternSize, uint32_t step, uint32_t one, uint64_t *hit)) \
    F(SbSearchLinearMemory, (void *engine, uint64_t root, uint64_t start, uint64_t end, const void *pattern, uint32_t patternSize, uint32_t step, uint32_t one, uint64_t *hit)) \
    F(SbSearchPhysicalMemory, (void *engine, uint64_t start, uint64_t end, const void *pattern, uint32_t patternSize, uint32_t step, uint32_t one, uint64_t *hit)) \
    F(SbWalkPageVirtual, (void *engine, uint64_t root, uint16_t selector, uint64_t address, ktSbRawPageWalk *walk)) \
    F(SbWalkPageLinear, (void *engine, uint64_t root, uint64_t address, ktSbRawPageWalk *walk)) \
    F(SbVirtualToPhysical, (void *engine, uint64_t root, uint16_t selector, uint64_t address, uint64_t *physical)) \
    F(SbLinearToPhysical, (void *engine, uint64_t root, uint64_t address, uint64_t *physical)) \
    F(SbSetBreakPoint, (void *engine, uint64_t physical, uint16_t *number)) \
    F(SbRemoveBreakPoint, (void *engine, uint16_t number)) \
    F(SbClearBreakPoints, (void *engine)) \
    F(SbAddBreakPointFilter, (void *engine, uint16_t number, const ktSbRawFilter *filter, uint16_t *filterNumber)) \
    F(SbRemoveBreakPointFilter, (void *engine, uint16_t number, uint16_t filterNumber)) \
    F(SbClearBreakPointFilters, (void *engine, uint16_t number)) \
    F(SbGetBreakPointInfo, (void *engine, ktSbRawBreakPoint *records, uint16_t first, uint16_t *count, uint16_t *total)) \
    F(SbGetBreakPointFilterInfo, (void *engine, ktSbRawFilter *records, uint16_t number, uint16_t first, uint16_t *count)) \
    F(SbReadMmioVirtual, (void *engine, uint64_t root, uint16_t selector, uint64_t address, uint8_t width, uint32_t *attribute, void *buffer, uint32_t size, uint32_t *done)) \
    F(SbWriteMmioVirtual, (void *engine, uint64_t root, uint16_t selector, uint64_t address, uint8_t width, uint32_t *attribute, const void *buffer, uint32_t size, uint32_t *done)) \
    F(SbReadMmioLinear, (void *engine, uint64_t root, uint64_t address, uint8_t width, uint32_t *attribute, void *buffer, uint32_t size, uint32_t *done)) \
    F(SbWriteMmioLinear, (void *engine, uint64_t root, uint64_t address, uint8_t width, uint32_t *attribute, const void *buffer, uint32_t size, uint32_t *done)) \
    F(SbReadMmioPhysical, (void *engine, uint64_t address, uint8_t width, uint32_t *attribute, void *buffer, uint32_t size, uint32_t *done)) \
    F(SbWriteMmioPhysical, (void *engine, uint64_t address, uint8_t width, uint32_t *attribute, const void *buffer, uint32_t size, uint32_t *done)) \
    F(SbComputeSha1Virtual, (void *engine, uint64_t root, uint16_t selector, uint64_t address, uint32_t size, ktSbRawSha1 *digest, uint32_t *done)) \
    F(SbComputeSha1Linear, (void *engine, uint64_t root, uint64_t address, uint32_t size, ktSbRawSha1 *digest, uint32_t *done)) \
    F(SbComputeSha1Physical, (void *engine, uint64_t address, uint32_t size, ktSbRawSha1 *digest, uint32_t *done)) \
    R(SbRequestCreate, (void)) \
    R(SbRequestCreateBatch, (void)) \
    R(SbRequestSubmit, (void)) \
    R(SbRequestExecute, (void)) \
    R(SbRequestWait, (void)) \
    R(SbRequestGetStatus, (void)) \
    R(SbRequestReset, (void)) \
    R(SbRequestDestroy, (void)) \
    R(SbRequestPing, (void)) \
    R(SbRequestGo, (void)) \
    R(SbRequestBreakIn, (void)) \
    R(SbRequestStep, (void)) \
    R(SbRequestSwitchCpu, (void)) \
    R(SbRequestReboot, (void)) \
    R(SbRequestReadVirtualMemory, (void)) \
    R(SbRequestWriteVirtualMemory, (void)) \
    R(SbRequestReadLinearMemory, (void)) \
    R(SbRequestWriteLinearMemory, (void)) \
    R(SbRequestReadPhysicalMemory, (void)) \
    R(SbRequestWritePhysicalMemory, (void)) \
    R(SbRequestGetContext, (void)) \
    R(SbRequestSetContext, (void)) \
    R(SbRequestGetExtendedContext, (void)) \
    R(SbRequestSetExtendedContext, (void)) \
    R(SbRequestReadIo, (void)) \
    R(SbRequestWriteIo, (void)) \
    R(SbRequestGetStateInfo, (void)) \
    R(SbRequestGetCpuInfo, (void)) \
    R(SbRequestCpuId, (void)) \
    R(SbRequestReadMsr, (void)) \
    R(SbRequestWriteMsr, (void)) \
    R(SbRequestSearchVirtualMemory, (void)) \
    R(SbRequestSearchLinearMemory, (void)) \
    R(SbRequestSearchPhysicalMemory, (void)) \
    R(SbRequestWalkPageVirtual, (void)) \
    R(SbRequestWalkPageLinear, (void)) \
    R(SbRequestVirtualToPhysical, (void)) \
    R(SbRequestLinearToPhysical, (void)) \
    R(SbRequestSetBreakPoint, (void)) \
    R(SbRequestRemoveBreakPoint, (void)) \
    R(SbRequestClearBreakPoints, (void)) \
    R(SbRequestAddBreakPointFilter, (void)) \
    R(SbRequestRemoveBreakPointFilter, (void)) \
    R(SbRequestClearBreakPointFilters, (void)) \
    R(SbRequestGetBreakPointInfo, (void)) \
    R(SbRequestGetBreakPointFilterInfo, (void)) \
    R(SbRequestReadMmioVirtual, (void)) \
    R(SbRequestWriteMmioVirtual, (void)) \
    R(SbRequestReadMmioLinear, (void)) \
    R(SbRequestWriteMmioLinear, (void)) \
    R(SbRequestReadMmioPhysical, (void)) \
    R(SbRequestWriteMmioPhysical, (void)) \
    R(SbRequestComputeSha1Virtual, (void)) \
    R(SbRequestComputeSha1Linear, (void)) \
    R(SbRequestComputeSha1Physical, (void)) \
    R(SbRequestGetMaxReadVirtualMemoryBufferSize, (void)) \
    R(SbRequestGetMaxWriteVirtualMemoryBufferSize, (void)) \
    R(SbRequestGetMaxReadLinearMemoryBufferSize, (void)) \
    R(SbRequestGetMaxWriteLinearMemoryBufferSize, (void)) \
    R(SbRequestGetMaxReadPhysicalMemoryBufferSize, (void)) \
    R(SbRequestGetMaxWritePhysicalMemoryBufferSize, (void)) \
    R(SbRequestGetMaxReadIoBufferSize, (void)) \
    R(SbRequestGetMaxWriteIoBufferSize, (void)) \
    R(SbRequestGetMaxSearchPatternSize, (void)) \
    R(SbRequestGetMaxReadMmioVirtualBufferSize, (void)) \
    R(SbRequestGetMaxWriteMmioVirtualBufferSize, (void)) \
    R(SbRequestGetMaxReadMmioLinearBufferSize, (void)) \
    R(SbRequestGetMaxWriteMmioLinearBufferSize, (void)) \
    R(SbRequestGetMaxReadMmioPhysicalBufferSize, (void)) \
    R(SbRequestGetMaxWriteMmioPhysicalBufferSize, (void))
/* clang-format on */

#define SABLE_ENGINE_FUNCTIONS(X) SABLE_ENGINE_TABLE(X, X)

typedef struct ktEngineTable {
#define SABLE_ENGINE_POINTER(name, parameters) int32_t(*name) parameters;
    SABLE_ENGINE_FUNCTIONS(SABLE_ENGINE_POINTER)
#undef SABLE_ENGINE_POINTER
} ktEngineTable;

enum { ktEngineFunctionCount = 133 };
static_assert(sizeof(ktEngineTable) == ktEngineFunctionCount * sizeof(void *),
              "a function is missing or twice");
