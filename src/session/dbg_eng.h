#pragma once

#include "session/address.h"

#include <cstdint>

class ktCodeBreakPoints;
class ktLines;
struct ktContext;
struct ktPageWalkResult;

/// Engine status: negative is failure.
using ktStatus = int64_t;
constexpr ktStatus ktNotSupported = static_cast<int32_t>(0xC000000D);
constexpr ktStatus ktBadArgument = static_cast<int32_t>(0xC000000E);

enum ktEngineType : uint32_t { ktEngineNone = 0, ktEngineStatic = 1, ktEngineSable = 2 };

enum ktTransport : uint32_t {
    ktTransportNone = 0,
    ktTransportSerial = 1,
    ktTransportUsb2 = 2,
    ktTransportUsb3 = 3,
    ktTransportFireWire = 4,
    ktTransportThunderbolt = 5,
    ktTransportNet = 6,
    ktTransportAudio = 7,
    ktTransportMemory = 8,
    ktTransportPipe = 9,
    ktTransportLocal = 10,
};

struct ktStopState {
    bool running = false;
    uint32_t reason = 0; ///< 0 unknown, 1 to 5 as the engine maps them
};

using ktEventCallback = void (*)(void *context, uint32_t event);

/// What talks to a target. Calls come from the command threads, which do not exclude each other.
/// Results are signed 32-bit statuses: 0 or positive is success.
class ktDbgEng {
public:
    virtual ~ktDbgEng() = default;
    virtual ktStatus Connect(uint32_t transport, const char *address) = 0;
    /// `callback` is called on a thread of the engine.
    virtual ktStatus SetEventCallback(ktEventCallback callback, void *context) = 0;
    virtual ktStatus Ping() = 0;
    virtual ktStatus Go() = 0;
    virtual ktStatus BreakIn() = 0;
    virtual ktStatus Step(bool ignoreInterrupts) = 0;
    virtual ktStatus Reboot() = 0;
    virtual ktStatus GetStateInfo(ktStopState *state) = 0;
    virtual ktStatus SwitchCpu(uint64_t core) = 0;
    /// Either pointer may be null.
    virtual ktStatus GetCpuInfo(uint64_t *currentCore, uint64_t *coreCount) = 0;
    /// Fills what `context->wantedMask` asks for.
    virtual ktStatus GetContext(ktContext *context) = 0;
    /// Writes what `context->wantedMask` names.
    virtual ktStatus SetContext(const ktContext *context) = 0;
    /// Two operations without a use, and four below: they keep their places, and no engine supports them.
    virtual ktStatus Reserved1() { return ktNotSupported; }
    virtual ktStatus Reserved2() { return ktNotSupported; }
    virtual ktStatus CpuId(uint32_t leaf, uint32_t subleaf, uint32_t out[4]) = 0;
    /// A success at a memory-mapped address updates its attribute. `done` may be null.
    virtual ktStatus ReadTarget(ktAddress &address, void *buffer, uint64_t size, uint64_t *done) = 0;
    virtual ktStatus WriteTarget(ktAddress &address, const void *buffer, uint64_t size, uint64_t *done) = 0;
    virtual ktStatus WalkPage(const ktAddress &address, ktPageWalkResult *result) = 0;
    virtual ktStatus ToPhysical(const ktAddress &address, uint64_t *physical) = 0;
    /// Searches from `start` up to `*end` for `pattern`, at multiples of `step`.
    virtual ktStatus SearchMemory(const ktAddress &start, const uint64_t *end, const void *pattern,
                                  uint32_t patternSize, uint32_t step, ktAddress *hit) = 0;
    virtual ktStatus Reserved3() { return ktNotSupported; }
    virtual ktStatus Reserved4() { return ktNotSupported; }
    virtual ktStatus Reserved5() { return ktNotSupported; }
    virtual ktStatus Reserved6() { return ktNotSupported; }
    virtual ktStatus ComputeSha1(const ktAddress &address, uint8_t (&digest)[20], uint64_t size,
                                 uint64_t *done) = 0;
    virtual ktStatus SetLogSink(ktLines *sink) = 0;
    virtual uint32_t GetEngineType() = 0;
    /// The code breakpoints that the engine keeps, as long as it lives; null when it keeps none.
    virtual ktCodeBreakPoints *CodeBreakPoints() { return nullptr; }
};
