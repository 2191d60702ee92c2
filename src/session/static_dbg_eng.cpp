#include "session/static_dbg_eng.h"

#include "platform/host.h"

ktStatus ktStaticDbgEng::Connect(uint32_t, const char *) { return 0; }

ktStatus ktStaticDbgEng::SetEventCallback(ktEventCallback, void *) { return ktNotSupported; }

ktStatus ktStaticDbgEng::Ping() { return 0; }

ktStatus ktStaticDbgEng::Go() { return ktNotSupported; }

ktStatus ktStaticDbgEng::BreakIn() { return ktNotSupported; }

ktStatus ktStaticDbgEng::Step(bool) { return ktNotSupported; }

ktStatus ktStaticDbgEng::Reboot() { return ktNotSupported; }

ktStatus ktStaticDbgEng::GetStateInfo(ktStopState *) { return ktNotSupported; }

ktStatus ktStaticDbgEng::SwitchCpu(uint64_t) { return ktNotSupported; }

ktStatus ktStaticDbgEng::GetCpuInfo(uint64_t *, uint64_t *) { return ktNotSupported; }

ktStatus ktStaticDbgEng::GetContext(ktContext *) { return ktNotSupported; }

ktStatus ktStaticDbgEng::SetContext(const ktContext *) { return ktNotSupported; }

ktStatus ktStaticDbgEng::CpuId(uint32_t leaf, uint32_t subleaf, uint32_t out[4]) {
    host.CpuId(leaf, subleaf, out);
    return 0;
}

ktStatus ktStaticDbgEng::ReadTarget(ktAddress &, void *, uint64_t, uint64_t *) { return ktNotSupported; }

ktStatus ktStaticDbgEng::WriteTarget(ktAddress &, const void *, uint64_t, uint64_t *) {
    return ktNotSupported;
}

ktStatus ktStaticDbgEng::WalkPage(const ktAddress &, ktPageWalkResult *) { return ktNotSupported; }

ktStatus ktStaticDbgEng::ToPhysical(const ktAddress &, uint64_t *) { return ktNotSupported; }

ktStatus ktStaticDbgEng::SearchMemory(const ktAddress &, const uint64_t *, const void *, uint32_t, uint32_t,
                                      ktAddress *) {
    return ktNotSupported;
}

ktStatus ktStaticDbgEng::ComputeSha1(const ktAddress &, uint8_t (&)[20], uint64_t, uint64_t *) {
    return ktNotSupported;
}

ktStatus ktStaticDbgEng::SetLogSink(ktLines *) { return ktNotSupported; }

uint32_t ktStaticDbgEng::GetEngineType() { return ktEngineStatic; }
