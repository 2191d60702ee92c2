#include <cstring>

#include "front/engine.h"
#include "front/exports.h"

// Running and stopping the target, and the registers of its cores.

using namespace sable;

namespace {

bool IsMsrSize(uint32_t size) { return size == 4 || size == 8; }

} // namespace

int32_t SbPing(void *engine) {
    return WithEngine(engine,
                      [](Engine &found) { return found.Tell([](TargetSession &) { return SABLE_OK; }); });
}

int32_t SbGo(void *engine) {
    return WithEngine(engine, [](Engine &found) {
        return found.Tell([](TargetSession &session) { return session.Go(); });
    });
}

int32_t SbBreakIn(void *engine) {
    return WithEngine(engine, [](Engine &found) {
        return found.Tell([](TargetSession &session) { return session.BreakIn(); }, Engine::Urgency::urgent);
    });
}

int32_t SbStep(void *engine, bool ignoreInterrupts) {
    return WithEngine(engine, [=](Engine &found) {
        return found.Tell([=](TargetSession &session) { return session.Step(ignoreInterrupts); });
    });
}

int32_t SbSwitchCpu(void *engine, uint32_t core) {
    return WithEngine(engine, [=](Engine &found) {
        return found.Tell([=](TargetSession &session) { return session.SwitchCpu(core); });
    });
}

int32_t SbReboot(void *engine) {
    return WithEngine(engine, [](Engine &found) {
        return found.Tell([](TargetSession &session) { return session.Reboot(); });
    });
}

int32_t SbGetStateInfo(void *engine, ktSbRawState *state) {
    return WithEngine(engine, [&](Engine &found) {
        if (state == nullptr) return SABLE_BAD_ARGUMENT;
        return found.Ask(*state, [](TargetSession &session, ktSbRawState &answer) {
            answer = session.State();
            return SABLE_OK;
        });
    });
}

int32_t SbGetCpuInfo(void *engine, uint8_t *currentCore, uint8_t *coreCount) {
    return WithEngine(engine, [&](Engine &found) {
        struct CpuInfo {
            uint8_t current = 0;
            uint8_t count = 0;
        } info;
        const int32_t status = found.Ask(info, [](TargetSession &session, CpuInfo &answer) {
            return session.target.GetCpuInfo(answer.current, answer.count);
        });
        if (status < 0) return status;
        if (currentCore != nullptr) *currentCore = info.current;
        if (coreCount != nullptr) *coreCount = info.count;
        return status;
    });
}

int32_t SbGetContext(void *engine, ktRawContext *context, uint64_t mask, uint32_t *mode) {
    return WithEngine(engine, [&](Engine &found) {
        if (context == nullptr) return SABLE_BAD_ARGUMENT;
        struct Registers {
            ktRawContext context = {};
            uint32_t mode = 0;
        } registers;
        const int32_t status = found.Ask(registers, [=](TargetSession &session, Registers &answer) {
            return session.GetContext(answer.context, mask, answer.mode);
        });
        if (status < 0) return status;
        *context = registers.context;
        if (mode != nullptr) *mode = registers.mode;
        return status;
    });
}

int32_t SbSetContext(void *engine, const ktRawContext *context, uint64_t mask) {
    return WithEngine(engine, [&](Engine &found) {
        if (context == nullptr) return SABLE_BAD_ARGUMENT;
        return found.Tell([=, registers = *context](TargetSession &session) {
            return session.SetContext(registers, mask);
        });
    });
}

int32_t SbCpuId(void *engine, uint32_t leaf, uint32_t subleaf, ktSbRawCpuId *result) {
    return WithEngine(engine, [&](Engine &found) {
        if (result == nullptr) return SABLE_BAD_ARGUMENT;
        ktSbRawCpuId words = {};
        const int32_t status = found.Ask(words, [=](TargetSession &session, ktSbRawCpuId &answer) {
            return session.target.CpuId(leaf, subleaf, answer);
        });
        if (status >= 0) *result = words;
        return status;
    });
}

/// 4 bytes are the low half of the register.
int32_t SbReadMsr(void *engine, uint32_t number, void *buffer, uint32_t size) {
    return WithEngine(engine, [&](Engine &found) {
        if (buffer == nullptr || !IsMsrSize(size)) return SABLE_BAD_ARGUMENT;
        uint64_t value = 0;
        const int32_t status = found.Ask(value, [=](TargetSession &session, uint64_t &answer) {
            return session.target.ReadMsr(number, answer);
        });
        if (status >= 0) std::memcpy(buffer, &value, size);
        return status;
    });
}

/// 4 bytes leave the high half of the register 0.
int32_t SbWriteMsr(void *engine, uint32_t number, uint64_t value, uint32_t size) {
    return WithEngine(engine, [=](Engine &found) {
        if (!IsMsrSize(size)) return SABLE_BAD_ARGUMENT;
        const uint64_t written = size == 4 ? value & 0xFFFFFFFF : value;
        return found.Tell([=](TargetSession &session) { return session.target.WriteMsr(number, written); });
    });
}
