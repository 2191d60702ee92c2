#include "session/sb_dbg_eng.h"

#include "abi/functions.h"
#include "app/lines.h"
#include "session/context.h"
#include "session/engine_library.h"
#include "session/page_walk_result.h"
#include "session/raw_context_map.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>

namespace {

constexpr uint32_t requestTimeout = 3000; // milliseconds
constexpr uint32_t requestRetries = 1;
constexpr uint32_t interfaceNameSize = 128; // bytes of the buffer for the name of the first interface

// Event and stop codes of the library, by their number. 3 and 4 change places.
constexpr uint32_t reasons[] = {1, 0, 2, 4, 3, 5};

uint32_t ReasonOf(uint8_t code) { return code < std::size(reasons) ? reasons[code] : 0; }

uint32_t ModeOf(uint32_t libraryMode) { return libraryMode <= ktSbModeLong16 ? libraryMode + 1 : 0; }

bool FitsIn32Bits(uint64_t number) { return number <= UINT32_MAX; }

/// The functions that move bytes in one direction; `Bytes` is const void for those that write.
template <typename Bytes>
struct Transfers {
    int32_t (*virtualMemory)(void *, uint64_t, uint16_t, uint64_t, Bytes *, uint32_t, uint32_t *);
    int32_t (*linearMemory)(void *, uint64_t, uint64_t, Bytes *, uint32_t, uint32_t *);
    int32_t (*physicalMemory)(void *, uint64_t, Bytes *, uint32_t, uint32_t *);
    int32_t (*io)(void *, uint16_t, uint8_t, Bytes *, uint32_t, uint32_t *);
    int32_t (*mmioVirtual)(void *, uint64_t, uint16_t, uint64_t, uint8_t, uint32_t *, Bytes *, uint32_t,
                           uint32_t *);
    int32_t (*mmioLinear)(void *, uint64_t, uint64_t, uint8_t, uint32_t *, Bytes *, uint32_t, uint32_t *);
    int32_t (*mmioPhysical)(void *, uint64_t, uint8_t, uint32_t *, Bytes *, uint32_t, uint32_t *);
};

/// Every kind but the model-specific registers, which have no width of their own and count no bytes.
template <typename Bytes>
ktStatus Transfer(const Transfers<Bytes> &functions, void *engine, ktAddress &at, Bytes *buffer,
                  uint32_t size, uint32_t &done) {
    uint32_t attribute = at.attribute;
    ktStatus status = ktBadArgument;
    switch (at.kind) {
    case ktAddress::kindVirtual:
        return functions.virtualMemory(engine, at.root, at.selector, at.value, buffer, size, &done);
    case ktAddress::kindLinear:
        return functions.linearMemory(engine, at.root, at.value, buffer, size, &done);
    case ktAddress::kindPhysical:
        return functions.physicalMemory(engine, at.value, buffer, size, &done);
    case ktAddress::kindIoPort:
        return functions.io(engine, static_cast<uint16_t>(at.value), at.width, buffer, size, &done);
    case ktAddress::kindMmioVirtual:
        status = functions.mmioVirtual(engine, at.root, at.selector, at.value, at.width, &attribute, buffer,
                                       size, &done);
        break;
    case ktAddress::kindMmioLinear:
        status = functions.mmioLinear(engine, at.root, at.value, at.width, &attribute, buffer, size, &done);
        break;
    case ktAddress::kindMmioPhysical:
        status = functions.mmioPhysical(engine, at.value, at.width, &attribute, buffer, size, &done);
        break;
    default:
        break;
    }
    if (status >= 0) at.attribute = attribute;
    return status;
}

} // namespace

std::unique_ptr<ktDbgEng> ktSbDbgEng::Create() {
    const ktEngineLibrary *library = ktEngineLibrary::Get();
    return std::unique_ptr<ktDbgEng>(library ? new (std::nothrow) ktSbDbgEng(library->Table()) : nullptr);
}

ktSbDbgEng::~ktSbDbgEng() { Close(); }

ktStatus ktSbDbgEng::Connect(uint32_t newTransport, const char *address) {
    Close();
    const ktStatus status = Open(newTransport, address);
    if (status < 0) Close();
    return status;
}

ktStatus ktSbDbgEng::Open(uint32_t transportNumber, const char *address) {
    const bool isKnown = transportNumber >= ktTransportSerial && transportNumber <= ktTransportLocal;
    void *made = nullptr;
    ktStatus status = table->TransportCreate(&made, isKnown ? transportNumber : ktTransportNone);
    if (status < 0) return status;
    transport = made;
    ChooseInterface(address);
    status = table->TransportSetInterfaceName(transport, InterfaceName());
    if (status < 0) return status;
    status = table->TransportSetRawDataCallback(transport, OnRawData, this);
    if (status < 0) return status;
    status = StartEngine();
    if (status < 0) return status;
    // Only now: what it takes to start is waited for as long as the library likes.
    table->EngSetRequestTimeout(engine, requestTimeout);
    table->EngSetRequestRetryCount(engine, requestRetries);
    return status;
}

/// The name stays unset when there is no address and the transport names no interface: whether that will
/// do is for the library to say.
void ktSbDbgEng::ChooseInterface(const char *address) {
    autoInterface = !address;
    if (address) {
        interfaceName = address;
        return;
    }
    char name[interfaceNameSize] = {};
    uint32_t size = sizeof(name);
    if (table->TransportGetInterfaceName(transport, 0, name, &size) < 0) return;
    interfaceName = std::string(name, std::find(name, std::end(name), '\0'));
}

ktStatus ktSbDbgEng::StartEngine() {
    void *made = nullptr;
    ktStatus status = table->EngCreateEngine(&made);
    if (status < 0) return status;
    engine = made;
    status = table->EngAssignTransport(engine, transport);
    if (status < 0) return status;
    status = table->SbSetEventCallback(engine, OnEvent, this);
    if (status < 0) return status;
    return table->EngStart(engine);
}

void ktSbDbgEng::Close() {
    if (engine) table->EngDestroyEngine(engine);
    engine = nullptr;
    if (transport) table->TransportDestroy(transport);
    transport = nullptr;
    autoInterface = false;
    interfaceName.reset();
}

ktStatus ktSbDbgEng::SetEventCallback(ktEventCallback callback, void *context) {
    {
        const ktLockGuard guard(eventLock);
        eventCallback = callback;
        eventContext = context;
    }
    return table->SbSetEventCallback(engine, OnEvent, this);
}

void ktSbDbgEng::OnEvent(void *self, uint8_t event) {
    auto &engine = *static_cast<ktSbDbgEng *>(self);
    ktEventCallback callback;
    void *context;
    {
        const ktLockGuard guard(engine.eventLock);
        callback = engine.eventCallback;
        context = engine.eventContext;
    }
    if (callback) callback(context, ReasonOf(event));
}

void ktSbDbgEng::OnRawData(void *self, const void *bytes, uint32_t size) {
    ktLines *sink = static_cast<ktSbDbgEng *>(self)->logSink;
    if (!sink || !bytes) return;
    sink->LockExclusive();
    sink->Append(static_cast<const char *>(bytes), size);
    sink->UnlockExclusive();
}

ktStatus ktSbDbgEng::Ping() { return table->SbPing(engine); }

ktStatus ktSbDbgEng::Go() { return table->SbGo(engine); }

ktStatus ktSbDbgEng::BreakIn() { return table->SbBreakIn(engine); }

ktStatus ktSbDbgEng::Step(bool ignoreInterrupts) { return table->SbStep(engine, ignoreInterrupts); }

ktStatus ktSbDbgEng::Reboot() { return table->SbReboot(engine); }

ktStatus ktSbDbgEng::SwitchCpu(uint64_t core) {
    if (!FitsIn32Bits(core)) return ktBadArgument;
    return table->SbSwitchCpu(engine, static_cast<uint32_t>(core));
}

ktStatus ktSbDbgEng::GetStateInfo(ktStopState *state) {
    if (!state) return ktBadArgument;
    ktSbRawState raw = {};
    const ktStatus status = table->SbGetStateInfo(engine, &raw);
    state->running = raw.isRunning != 0;
    state->reason = ReasonOf(raw.stopCode);
    return status;
}

ktStatus ktSbDbgEng::GetCpuInfo(uint64_t *currentCore, uint64_t *coreCount) {
    uint8_t current = 0;
    uint8_t count = 0;
    const ktStatus status = table->SbGetCpuInfo(engine, &current, &count);
    if (currentCore) *currentCore = current;
    if (coreCount) *coreCount = count;
    return status;
}

ktStatus ktSbDbgEng::GetContext(ktContext *context) {
    if (!context) return ktBadArgument;
    ktRawContext raw = {};
    uint32_t mode = 0;
    const ktStatus status = table->SbGetContext(engine, &raw, context->wantedMask, &mode);
    if (status < 0) return status;
    context->mode = ModeOf(mode);
    TakeRegisters(raw, *context);
    return status;
}

ktStatus ktSbDbgEng::SetContext(const ktContext *context) {
    if (!context) return ktBadArgument;
    ktRawContext raw = {};
    PutRegisters(*context, raw);
    return table->SbSetContext(engine, &raw, context->wantedMask);
}

ktStatus ktSbDbgEng::CpuId(uint32_t leaf, uint32_t subleaf, uint32_t out[4]) {
    ktSbRawCpuId raw = {};
    const ktStatus status = table->SbCpuId(engine, leaf, subleaf, &raw);
    if (status < 0 || !out) return status;
    out[0] = raw.eax;
    out[1] = raw.ebx;
    out[2] = raw.ecx;
    out[3] = raw.edx;
    return status;
}

ktStatus ktSbDbgEng::ReadTarget(ktAddress &address, void *buffer, uint64_t size, uint64_t *done) {
    if (done) *done = 0;
    if (!FitsIn32Bits(size)) return ktBadArgument;
    const auto count = static_cast<uint32_t>(size);
    uint32_t came = 0;
    ktStatus status;
    if (address.kind == ktAddress::kindMsr) {
        status = table->SbReadMsr(engine, static_cast<uint32_t>(address.value), buffer, count);
        if (status >= 0) came = count;
    } else {
        const Transfers<void> reads = {
            table->SbReadVirtualMemory,  table->SbReadLinearMemory,
            table->SbReadPhysicalMemory, table->SbReadIo,
            table->SbReadMmioVirtual,    table->SbReadMmioLinear,
            table->SbReadMmioPhysical,
        };
        status = Transfer(reads, engine, address, buffer, count, came);
    }
    if (done) *done = std::min(came, count); // whatever the library claims
    return status;
}

ktStatus ktSbDbgEng::WriteTarget(ktAddress &address, const void *buffer, uint64_t size, uint64_t *done) {
    if (done) *done = 0;
    if (!FitsIn32Bits(size)) return ktBadArgument;
    const auto count = static_cast<uint32_t>(size);
    uint32_t went = 0;
    ktStatus status;
    if (address.kind == ktAddress::kindMsr) {
        if (!buffer) return ktBadArgument;
        uint64_t value = 0; // of a buffer that is shorter, the bytes that are there
        std::memcpy(&value, buffer, std::min<size_t>(count, sizeof(value)));
        status = table->SbWriteMsr(engine, static_cast<uint32_t>(address.value), value, count);
        if (status >= 0) went = count;
    } else {
        const Transfers<const void> writes = {
            table->SbWriteVirtualMemory,  table->SbWriteLinearMemory,
            table->SbWritePhysicalMemory, table->SbWriteIo,
            table->SbWriteMmioVirtual,    table->SbWriteMmioLinear,
            table->SbWriteMmioPhysical,
        };
        status = Transfer(writes, engine, address, buffer, count, went);
    }
    if (done) *done = std::min(went, count);
    return status;
}

ktStatus ktSbDbgEng::WalkPage(const ktAddress &address, ktPageWalkResult *result) {
    ktSbRawPageWalk raw = {};
    ktStatus status = ktBadArgument;
    if (address.kind == ktAddress::kindVirtual) {
        status = table->SbWalkPageVirtual(engine, address.root, address.selector, address.value, &raw);
    } else if (address.kind == ktAddress::kindLinear) {
        status = table->SbWalkPageLinear(engine, address.root, address.value, &raw);
    }
    if (status < 0 || !result) return status;
    static_assert(std::size(raw.entries) == ktPageWalkLevels);
    result->levelCount = raw.entryCount;
    result->reserved1 = raw.reserved1;
    result->mode = raw.mode;
    result->reserved2 = raw.reserved2;
    result->valid = raw.isValid;
    std::copy(std::begin(raw.entries), std::end(raw.entries), result->entries);
    return status;
}

ktStatus ktSbDbgEng::ToPhysical(const ktAddress &address, uint64_t *physical) {
    switch (address.kind) {
    case ktAddress::kindVirtual:
        return table->SbVirtualToPhysical(engine, address.root, address.selector, address.value, physical);
    case ktAddress::kindLinear:
        return table->SbLinearToPhysical(engine, address.root, address.value, physical);
    case ktAddress::kindPhysical:
        if (physical) *physical = address.value;
        return 0;
    default:
        return ktBadArgument;
    }
}

ktStatus ktSbDbgEng::SearchMemory(const ktAddress &start, const uint64_t *end, const void *pattern,
                                  uint32_t patternSize, uint32_t step, ktAddress *hit) {
    if (!end || !hit) return ktBadArgument;
    uint64_t found = 0;
    ktStatus status = ktBadArgument;
    switch (start.kind) {
    case ktAddress::kindVirtual:
        status = table->SbSearchVirtualMemory(engine, start.root, start.selector, start.value, *end, pattern,
                                              patternSize, step, 1, &found);
        break;
    case ktAddress::kindLinear:
        status = table->SbSearchLinearMemory(engine, start.root, start.value, *end, pattern, patternSize,
                                             step, 1, &found);
        break;
    case ktAddress::kindPhysical:
        status =
            table->SbSearchPhysicalMemory(engine, start.value, *end, pattern, patternSize, step, 1, &found);
        break;
    default:
        break;
    }
    if (status < 0) return status;
    *hit = start;
    hit->value = found;
    return status;
}

ktStatus ktSbDbgEng::ComputeSha1(const ktAddress &address, uint8_t (&digest)[20], uint64_t size,
                                 uint64_t *done) {
    if (done) *done = 0;
    if (!FitsIn32Bits(size)) return ktBadArgument;
    const auto count = static_cast<uint32_t>(size);
    ktSbRawSha1 raw = {};
    uint32_t came = 0;
    ktStatus status = ktBadArgument;
    switch (address.kind) {
    case ktAddress::kindVirtual:
        status = table->SbComputeSha1Virtual(engine, address.root, address.selector, address.value, count,
                                             &raw, &came);
        break;
    case ktAddress::kindLinear:
        status = table->SbComputeSha1Linear(engine, address.root, address.value, count, &raw, &came);
        break;
    case ktAddress::kindPhysical:
        status = table->SbComputeSha1Physical(engine, address.value, count, &raw, &came);
        break;
    default:
        break;
    }
    if (done) *done = std::min(came, count);
    if (status >= 0) std::copy(std::begin(raw.digest), std::end(raw.digest), digest);
    return status;
}

ktStatus ktSbDbgEng::SetLogSink(ktLines *sink) {
    logSink = sink;
    return 0;
}

ktStatus ktSbDbgEng::Set(uint64_t physical, uint16_t &number) {
    return table->SbSetBreakPoint(engine, physical, &number);
}

ktStatus ktSbDbgEng::Remove(uint16_t number) { return table->SbRemoveBreakPoint(engine, number); }

ktStatus ktSbDbgEng::Clear() { return table->SbClearBreakPoints(engine); }

ktStatus ktSbDbgEng::AddFilter(uint16_t number, const ktSbRawFilter &filter, uint16_t &filterNumber) {
    return table->SbAddBreakPointFilter(engine, number, &filter, &filterNumber);
}

ktStatus ktSbDbgEng::RemoveFilter(uint16_t number, uint16_t filterNumber) {
    return table->SbRemoveBreakPointFilter(engine, number, filterNumber);
}

ktStatus ktSbDbgEng::ClearFilters(uint16_t number) { return table->SbClearBreakPointFilters(engine, number); }

ktStatus ktSbDbgEng::GetInfo(ktSbRawBreakPoint *records, uint16_t first, uint16_t &count, uint16_t &total) {
    return table->SbGetBreakPointInfo(engine, records, first, &count, &total);
}

ktStatus ktSbDbgEng::GetFilterInfo(ktSbRawFilter *records, uint16_t number, uint16_t first, uint16_t &count) {
    return table->SbGetBreakPointFilterInfo(engine, records, number, first, &count);
}
