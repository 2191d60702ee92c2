// An engine library that plays what its ktTestEngine says.
#include "support/test_engine.h"

namespace {

ktTestEngine engineState;

/// Writes one argument: numbers in hexadecimal, texts in quotes, handles by their names.
void Write(std::string &out, uint64_t number) {
    char text[20];
    std::snprintf(text, sizeof(text), "%" PRIX64, number);
    out += text;
}

void Write(std::string &out, const char *text) { out += text ? '"' + std::string(text) + '"' : "null"; }

void Write(std::string &out, void *handle) { out += handle ? static_cast<const char *>(handle) : "null"; }

template <typename... Arguments>
std::string Text(Arguments... arguments) {
    std::string out;
    ((out += out.empty() ? "" : " ", Write(out, arguments)), ...);
    return out;
}

/// One call on a handle, which has to be alive.
template <typename... Arguments>
int32_t Play(const char *function, const ktTestEngine::Body &body, void *handle, Arguments... arguments) {
    return engineState.Play(function, Text(handle, arguments...),
                            [&] { return engineState.IsLive(handle) ? body() : SABLE_BAD_ARGUMENT; });
}

ktTestEngine::Machine &Machine() { return engineState.machine; }

int32_t Copy(uint64_t root, bool translated, uint64_t address, uint8_t *out, const uint8_t *in, uint32_t size,
             uint32_t *done) {
    for (*done = 0; *done < size; ++*done) {
        const uint64_t at = address + *done;
        uint8_t *byte = engineState.ByteAt(translated ? engineState.Translate(root, at) : at);
        if (!byte) return ktTestEngine::failure;
        if (out)
            out[*done] = *byte;
        else
            *byte = in[*done];
    }
    return SABLE_OK;
}

int32_t Read(uint64_t root, bool translated, uint64_t address, void *buffer, uint32_t size, uint32_t *done) {
    return Copy(root, translated, address, static_cast<uint8_t *>(buffer), nullptr, size, done);
}

int32_t Write(uint64_t root, bool translated, uint64_t address, const void *buffer, uint32_t size,
              uint32_t *done) {
    return Copy(root, translated, address, nullptr, static_cast<const uint8_t *>(buffer), size, done);
}

/// Ports and memory-mapped reads give the low byte of where they are.
int32_t Fill(uint64_t place, void *buffer, uint32_t size, uint32_t *done) {
    std::memset(buffer, static_cast<uint8_t>(place), size);
    *done = size;
    return SABLE_OK;
}

int32_t Swallow(uint32_t size, uint32_t *done) {
    *done = size;
    return SABLE_OK;
}

std::string Hex(const void *bytes, uint32_t size) {
    std::string out;
    for (uint32_t i = 0; i < size; ++i) {
        char text[4];
        std::snprintf(text, sizeof(text), "%02X", static_cast<const uint8_t *>(bytes)[i]);
        out += text;
    }
    return out;
}

// What calls on a handle do that come in several forms.

ktTestEngine::Body TakeHit(uint64_t *hit) {
    return [=] {
        *hit = Machine().searchHit;
        return SABLE_OK;
    };
}

ktTestEngine::Body TakeWalk(ktSbRawPageWalk *walk) {
    return [=] {
        *walk = Machine().walk;
        return SABLE_OK;
    };
}

ktTestEngine::Body TakeTranslation(uint64_t root, uint64_t address, uint64_t *physical) {
    return [=] {
        *physical = engineState.Translate(root, address);
        return SABLE_OK;
    };
}

ktTestEngine::Body ReadDevice(uint64_t place, uint32_t *attribute, void *buffer, uint32_t size,
                              uint32_t *done) {
    return [=] {
        ++*attribute;
        return Fill(place, buffer, size, done);
    };
}

ktTestEngine::Body WriteDevice(uint32_t *attribute, uint32_t size, uint32_t *done) {
    return [=] {
        ++*attribute;
        return Swallow(size, done);
    };
}

ktTestEngine::Body TakeDigest(ktSbRawSha1 *digest, uint32_t size, uint32_t *done) {
    return [=] {
        std::copy(Machine().digest.begin(), Machine().digest.end(), digest->digest);
        return Swallow(size, done);
    };
}

} // namespace

extern "C" {

ktTestEngine *TestEngine() { return &engineState; }

int32_t TransportCreate(void **transport, uint32_t number) {
    return engineState.Play("TransportCreate", Text(uint64_t{number}), [&] {
        *transport = engineState.MakeHandle('T');
        return SABLE_OK;
    });
}
int32_t TransportGetInterfaceCount(void *transport, uint32_t *count) {
    return Play(
        __func__,
        [&] {
            *count = static_cast<uint32_t>(Machine().interfaces.size());
            return SABLE_OK;
        },
        transport);
}
int32_t TransportGetInterfaceName(void *transport, uint32_t index, char *buffer, uint32_t *size) {
    return Play(
        __func__,
        [&] {
            if (index >= Machine().interfaces.size()) return ktTestEngine::failure;
            const std::string &name = Machine().interfaces[index];
            std::memcpy(buffer, name.c_str(), std::min<size_t>(*size, name.size() + 1));
            return SABLE_OK;
        },
        transport, uint64_t{index}, uint64_t{*size});
}
int32_t TransportSetInterfaceName(void *transport, const char *name) {
    return Play(__func__, [] { return SABLE_OK; }, transport, name);
}
int32_t TransportSetInterfaceIndex(void *transport, uint32_t index) {
    return Play(__func__, [] { return SABLE_OK; }, transport, uint64_t{index});
}
int32_t TransportSetRawDataCallback(void *transport, ktSbRawDataCallback callback, void *context) {
    return Play(
        __func__,
        [&] {
            engineState.rawDataCallback = callback;
            engineState.rawDataContext = context;
            return SABLE_OK;
        },
        transport);
}
int32_t TransportDestroy(void *transport) {
    return Play(
        __func__,
        [&] {
            engineState.rawDataCallback = nullptr;
            engineState.DestroyHandle(transport);
            return SABLE_OK;
        },
        transport);
}
int32_t EngCreateEngine(void **engine) {
    return engineState.Play(__func__, "", [&] {
        *engine = engineState.MakeHandle('E');
        return SABLE_OK;
    });
}
int32_t EngAssignTransport(void *engine, void *transport) {
    return Play(__func__, [] { return SABLE_OK; }, engine, transport);
}
int32_t EngSetRequestTimeout(void *engine, uint32_t milliseconds) {
    return Play(__func__, [] { return SABLE_OK; }, engine, uint64_t{milliseconds});
}
int32_t EngSetRequestRetryCount(void *engine, uint32_t count) {
    return Play(__func__, [] { return SABLE_OK; }, engine, uint64_t{count});
}
int32_t EngStart(void *engine) {
    return Play(__func__, [] { return SABLE_OK; }, engine);
}
int32_t EngStop(void *engine) {
    return Play(__func__, [] { return SABLE_OK; }, engine);
}
int32_t EngDestroyEngine(void *engine) {
    return Play(
        __func__,
        [&] {
            engineState.eventCallback = nullptr;
            engineState.DestroyHandle(engine);
            return SABLE_OK;
        },
        engine);
}
int32_t SbSetEventCallback(void *engine, ktSbEventCallback callback, void *context) {
    return Play(
        __func__,
        [&] {
            engineState.eventCallback = callback;
            engineState.eventContext = context;
            return SABLE_OK;
        },
        engine);
}
int32_t SbPing(void *engine) {
    return Play(__func__, [] { return SABLE_OK; }, engine);
}
int32_t SbGo(void *engine) {
    return Play(
        __func__,
        [] {
            Machine().state.isRunning = 1;
            return SABLE_OK;
        },
        engine);
}
int32_t SbBreakIn(void *engine) {
    return Play(
        __func__,
        [] {
            Machine().state = {0, ktSbStopBreakIn};
            return SABLE_OK;
        },
        engine);
}
int32_t SbStep(void *engine, bool ignoreInterrupts) {
    return Play(
        __func__,
        [] {
            ++Machine().context.rip;
            Machine().state = {0, ktSbStopStep};
            return SABLE_OK;
        },
        engine, uint64_t{ignoreInterrupts});
}
int32_t SbSwitchCpu(void *engine, uint32_t core) {
    return Play(
        __func__,
        [&] {
            Machine().currentCore = static_cast<uint8_t>(core);
            return SABLE_OK;
        },
        engine, uint64_t{core});
}
int32_t SbReboot(void *engine) {
    return Play(
        __func__,
        [] {
            Machine().state = {0, ktSbStopReset};
            return SABLE_OK;
        },
        engine);
}
int32_t SbReadVirtualMemory(void *engine, uint64_t root, uint16_t selector, uint64_t address, void *buffer,
                            uint32_t size, uint32_t *done) {
    return Play(
        __func__, [&] { return Read(root, true, address, buffer, size, done); }, engine, root,
        uint64_t{selector}, address, uint64_t{size});
}
int32_t SbWriteVirtualMemory(void *engine, uint64_t root, uint16_t selector, uint64_t address,
                             const void *buffer, uint32_t size, uint32_t *done) {
    return Play(
        __func__, [&] { return Write(root, true, address, buffer, size, done); }, engine, root,
        uint64_t{selector}, address, uint64_t{size});
}
int32_t SbReadLinearMemory(void *engine, uint64_t root, uint64_t address, void *buffer, uint32_t size,
                           uint32_t *done) {
    return Play(
        __func__, [&] { return Read(root, true, address, buffer, size, done); }, engine, root, address,
        uint64_t{size});
}
int32_t SbWriteLinearMemory(void *engine, uint64_t root, uint64_t address, const void *buffer, uint32_t size,
                            uint32_t *done) {
    return Play(
        __func__, [&] { return Write(root, true, address, buffer, size, done); }, engine, root, address,
        uint64_t{size});
}
int32_t SbReadPhysicalMemory(void *engine, uint64_t address, void *buffer, uint32_t size, uint32_t *done) {
    return Play(
        __func__, [&] { return Read(0, false, address, buffer, size, done); }, engine, address,
        uint64_t{size});
}
int32_t SbWritePhysicalMemory(void *engine, uint64_t address, const void *buffer, uint32_t size,
                              uint32_t *done) {
    return Play(
        __func__, [&] { return Write(0, false, address, buffer, size, done); }, engine, address,
        uint64_t{size});
}
int32_t SbGetContext(void *engine, ktRawContext *context, uint64_t mask, uint32_t *mode) {
    return Play(
        __func__,
        [&] {
            *context = Machine().context;
            *mode = Machine().mode;
            return SABLE_OK;
        },
        engine, mask);
}
int32_t SbSetContext(void *engine, const ktRawContext *context, uint64_t mask) {
    return Play(
        __func__,
        [&] {
            Machine().context = *context;
            return SABLE_OK;
        },
        engine, mask);
}
int32_t SbReadIo(void *engine, uint16_t port, uint8_t width, void *buffer, uint32_t size, uint32_t *done) {
    return Play(
        __func__, [&] { return Fill(port, buffer, size, done); }, engine, uint64_t{port}, uint64_t{width},
        uint64_t{size});
}
int32_t SbWriteIo(void *engine, uint16_t port, uint8_t width, const void *buffer, uint32_t size,
                  uint32_t *done) {
    return Play(
        __func__, [&] { return Swallow(size, done); }, engine, uint64_t{port}, uint64_t{width},
        Hex(buffer, size).c_str(), uint64_t{size});
}
int32_t SbGetStateInfo(void *engine, ktSbRawState *state) {
    return Play(
        __func__,
        [&] {
            *state = Machine().state;
            return SABLE_OK;
        },
        engine);
}
int32_t SbGetCpuInfo(void *engine, uint8_t *currentCore, uint8_t *coreCount) {
    return Play(
        __func__,
        [&] {
            *currentCore = Machine().currentCore;
            *coreCount = Machine().coreCount;
            return SABLE_OK;
        },
        engine);
}
int32_t SbCpuId(void *engine, uint32_t leaf, uint32_t subleaf, ktSbRawCpuId *result) {
    return Play(
        __func__,
        [&] {
            *result = Machine().cpuIds[leaf];
            return SABLE_OK;
        },
        engine, uint64_t{leaf}, uint64_t{subleaf});
}
int32_t SbReadMsr(void *engine, uint32_t number, void *buffer, uint32_t size) {
    return Play(
        __func__,
        [&] {
            std::memcpy(buffer, &Machine().msrs[number], std::min<size_t>(size, sizeof(uint64_t)));
            return SABLE_OK;
        },
        engine, uint64_t{number}, uint64_t{size});
}
int32_t SbWriteMsr(void *engine, uint32_t number, uint64_t value, uint32_t size) {
    return Play(
        __func__,
        [&] {
            Machine().msrs[number] = value;
            return SABLE_OK;
        },
        engine, uint64_t{number}, value, uint64_t{size});
}
int32_t SbSearchVirtualMemory(void *engine, uint64_t root, uint16_t selector, uint64_t start, uint64_t end,
                              const void *pattern, uint32_t patternSize, uint32_t step, uint32_t one,
                              uint64_t *hit) {
    return Play(__func__, TakeHit(hit), engine, root, uint64_t{selector}, start, end,
                Hex(pattern, patternSize).c_str(), uint64_t{patternSize}, uint64_t{step}, uint64_t{one});
}
int32_t SbSearchLinearMemory(void *engine, uint64_t root, uint64_t start, uint64_t end, const void *pattern,
                             uint32_t patternSize, uint32_t step, uint32_t one, uint64_t *hit) {
    return Play(__func__, TakeHit(hit), engine, root, start, end, Hex(pattern, patternSize).c_str(),
                uint64_t{patternSize}, uint64_t{step}, uint64_t{one});
}
int32_t SbSearchPhysicalMemory(void *engine, uint64_t start, uint64_t end, const void *pattern,
                               uint32_t patternSize, uint32_t step, uint32_t one, uint64_t *hit) {
    return Play(__func__, TakeHit(hit), engine, start, end, Hex(pattern, patternSize).c_str(),
                uint64_t{patternSize}, uint64_t{step}, uint64_t{one});
}
int32_t SbWalkPageVirtual(void *engine, uint64_t root, uint16_t selector, uint64_t address,
                          ktSbRawPageWalk *walk) {
    return Play(__func__, TakeWalk(walk), engine, root, uint64_t{selector}, address);
}
int32_t SbWalkPageLinear(void *engine, uint64_t root, uint64_t address, ktSbRawPageWalk *walk) {
    return Play(__func__, TakeWalk(walk), engine, root, address);
}
int32_t SbVirtualToPhysical(void *engine, uint64_t root, uint16_t selector, uint64_t address,
                            uint64_t *physical) {
    return Play(__func__, TakeTranslation(root, address, physical), engine, root, uint64_t{selector},
                address);
}
int32_t SbLinearToPhysical(void *engine, uint64_t root, uint64_t address, uint64_t *physical) {
    return Play(__func__, TakeTranslation(root, address, physical), engine, root, address);
}
int32_t SbSetBreakPoint(void *engine, uint64_t physical, uint16_t *number) {
    return Play(
        __func__,
        [&] {
            const uint8_t *byte = engineState.ByteAt(physical);
            if (!byte) return ktTestEngine::failure;
            *number = 1;
            while (Machine().breakPoints.count(*number)) ++*number;
            Machine().breakPoints[*number] = {physical, *byte, {}};
            return SABLE_OK;
        },
        engine, physical);
}
int32_t SbRemoveBreakPoint(void *engine, uint16_t number) {
    return Play(
        __func__, [&] { return Machine().breakPoints.erase(number) ? SABLE_OK : ktTestEngine::failure; },
        engine, uint64_t{number});
}
int32_t SbClearBreakPoints(void *engine) {
    return Play(
        __func__,
        [] {
            Machine().breakPoints.clear();
            return SABLE_OK;
        },
        engine);
}
int32_t SbAddBreakPointFilter(void *engine, uint16_t number, const ktSbRawFilter *filter,
                              uint16_t *filterNumber) {
    return Play(
        __func__,
        [&] {
            const auto at = Machine().breakPoints.find(number);
            if (at == Machine().breakPoints.end()) return ktTestEngine::failure;
            *filterNumber = 0x10;
            while (at->second.filters.count(*filterNumber)) ++*filterNumber;
            at->second.filters[*filterNumber] = *filter;
            return SABLE_OK;
        },
        engine, uint64_t{number}, Hex(filter, sizeof(*filter)).c_str());
}
int32_t SbRemoveBreakPointFilter(void *engine, uint16_t number, uint16_t filterNumber) {
    return Play(
        __func__,
        [&] {
            return Machine().breakPoints[number].filters.erase(filterNumber) ? SABLE_OK
                                                                             : ktTestEngine::failure;
        },
        engine, uint64_t{number}, uint64_t{filterNumber});
}
int32_t SbClearBreakPointFilters(void *engine, uint16_t number) {
    return Play(
        __func__,
        [&] {
            Machine().breakPoints[number].filters.clear();
            return SABLE_OK;
        },
        engine, uint64_t{number});
}
int32_t SbGetBreakPointInfo(void *engine, ktSbRawBreakPoint *records, uint16_t first, uint16_t *count,
                            uint16_t *total) {
    return Play(
        __func__,
        [&] {
            const uint16_t room = std::min(*count, Machine().infoPerCall);
            *count = 0;
            *total = static_cast<uint16_t>(Machine().breakPoints.size());
            uint16_t index = 0;
            for (const auto &[number, breakPoint] : Machine().breakPoints) {
                if (index++ < first || *count == room) continue;
                ktSbRawBreakPoint &record = records[(*count)++];
                record = {};
                record.number = number;
                record.savedByte = breakPoint.savedByte;
                record.filterCount = static_cast<uint16_t>(breakPoint.filters.size());
                record.physical = breakPoint.physical;
            }
            return SABLE_OK;
        },
        engine, uint64_t{first}, uint64_t{*count}, uint64_t{*total});
}
int32_t SbGetBreakPointFilterInfo(void *engine, ktSbRawFilter *records, uint16_t number, uint16_t first,
                                  uint16_t *count) {
    return Play(
        __func__,
        [&] {
            const uint16_t room = std::min(*count, Machine().infoPerCall);
            *count = 0;
            uint16_t index = 0;
            for (const auto &[filterNumber, filter] : Machine().breakPoints[number].filters) {
                if (index++ < first || *count == room) continue;
                ktSbRawFilter &record = records[(*count)++];
                record = filter;
                record.typeOrNumber = filterNumber;
            }
            return SABLE_OK;
        },
        engine, uint64_t{number}, uint64_t{first}, uint64_t{*count});
}
int32_t SbReadMmioVirtual(void *engine, uint64_t root, uint16_t selector, uint64_t address, uint8_t width,
                          uint32_t *attribute, void *buffer, uint32_t size, uint32_t *done) {
    return Play(__func__, ReadDevice(address, attribute, buffer, size, done), engine, root,
                uint64_t{selector}, address, uint64_t{width}, uint64_t{*attribute}, uint64_t{size});
}
int32_t SbWriteMmioVirtual(void *engine, uint64_t root, uint16_t selector, uint64_t address, uint8_t width,
                           uint32_t *attribute, const void *buffer, uint32_t size, uint32_t *done) {
    return Play(__func__, WriteDevice(attribute, size, done), engine, root, uint64_t{selector}, address,
                uint64_t{width}, uint64_t{*attribute}, Hex(buffer, size).c_str(), uint64_t{size});
}
int32_t SbReadMmioLinear(void *engine, uint64_t root, uint64_t address, uint8_t width, uint32_t *attribute,
                         void *buffer, uint32_t size, uint32_t *done) {
    return Play(__func__, ReadDevice(address, attribute, buffer, size, done), engine, root, address,
                uint64_t{width}, uint64_t{*attribute}, uint64_t{size});
}
int32_t SbWriteMmioLinear(void *engine, uint64_t root, uint64_t address, uint8_t width, uint32_t *attribute,
                          const void *buffer, uint32_t size, uint32_t *done) {
    return Play(__func__, WriteDevice(attribute, size, done), engine, root, address, uint64_t{width},
                uint64_t{*attribute}, Hex(buffer, size).c_str(), uint64_t{size});
}
int32_t SbReadMmioPhysical(void *engine, uint64_t address, uint8_t width, uint32_t *attribute, void *buffer,
                           uint32_t size, uint32_t *done) {
    return Play(__func__, ReadDevice(address, attribute, buffer, size, done), engine, address,
                uint64_t{width}, uint64_t{*attribute}, uint64_t{size});
}
int32_t SbWriteMmioPhysical(void *engine, uint64_t address, uint8_t width, uint32_t *attribute,
                            const void *buffer, uint32_t size, uint32_t *done) {
    return Play(__func__, WriteDevice(attribute, size, done), engine, address, uint64_t{width},
                uint64_t{*attribute}, Hex(buffer, size).c_str(), uint64_t{size});
}
int32_t SbComputeSha1Virtual(void *engine, uint64_t root, uint16_t selector, uint64_t address, uint32_t size,
                             ktSbRawSha1 *digest, uint32_t *done) {
    return Play(__func__, TakeDigest(digest, size, done), engine, root, uint64_t{selector}, address,
                uint64_t{size});
}
int32_t SbComputeSha1Linear(void *engine, uint64_t root, uint64_t address, uint32_t size, ktSbRawSha1 *digest,
                            uint32_t *done) {
    return Play(__func__, TakeDigest(digest, size, done), engine, root, address, uint64_t{size});
}
int32_t SbComputeSha1Physical(void *engine, uint64_t address, uint32_t size, ktSbRawSha1 *digest,
                              uint32_t *done) {
    return Play(__func__, TakeDigest(digest, size, done), engine, address, uint64_t{size});
}

#define WRITTEN_ABOVE(name, parameters)
#define NEVER_CALLED(name, parameters)                                                                       \
    int32_t name parameters { return SABLE_NOT_SUPPORTED; }
SABLE_ENGINE_TABLE(WRITTEN_ABOVE, NEVER_CALLED)
#undef NEVER_CALLED
#undef WRITTEN_ABOVE
}
