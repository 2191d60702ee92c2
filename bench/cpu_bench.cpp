#include "sim/cpu.h"

#include <cstring>
#include <vector>

#include <benchmark/benchmark.h>

namespace {

using namespace sable;

class EmptyBus final : public Bus {
public:
    uint64_t ReadDevice(unsigned, uint64_t, unsigned) override { return ~uint64_t(0); }
    void WriteDevice(unsigned, uint64_t, unsigned, uint64_t) override {}
    uint32_t ReadPort(unsigned, uint16_t, unsigned) override { return ~uint32_t(0); }
    void WritePort(unsigned, uint16_t, unsigned, uint32_t) override {}
    uint8_t AcknowledgeInterrupt(unsigned) override { return 0; }
    void TaskPriorityChanged(unsigned, unsigned) override {}
};

// A loop that never ends: arithmetic, loads and stores in several pages, shifts, a call, branches both ways,
// a multiplication.
constexpr uint8_t loop[] = {
    0x48, 0x8B, 0x04, 0xCE,                   // again: mov rax, [rsi+rcx*8]
    0x48, 0x01, 0xD8,                         // add rax, rbx
    0x48, 0x89, 0x04, 0xCF,                   // mov [rdi+rcx*8], rax
    0x48, 0xC1, 0xC0, 0x05,                   // rol rax, 5
    0x48, 0x31, 0xC3,                         // xor rbx, rax
    0xE8, 0x18, 0x00, 0x00, 0x00,             // call inner
    0x48, 0xFF, 0xC1,                         // inc rcx
    0x48, 0x81, 0xE1, 0xFF, 0x07, 0x00, 0x00, // and rcx, 0x7FF
    0xA8, 0x01,                               // test al, 1
    0x75, 0x04,                               // jnz skip
    0x49, 0x83, 0xC0, 0x03,                   // add r8, 3
    0x4D, 0x0F, 0xAF, 0xC8,                   // skip: imul r9, r8
    0xEB, 0xD1,                               // jmp again
    0x55,                                     // inner: push rbp
    0x48, 0x89, 0xE5,                         // mov rbp, rsp
    0x8B, 0x14, 0x8E,                         // mov edx, [rsi+rcx*4]
    0x39, 0xC2,                               // cmp edx, eax
    0x0F, 0x42, 0xD0,                         // cmovb edx, eax
    0x89, 0x14, 0x8F,                         // mov [rdi+rcx*4], edx
    0x5D,                                     // pop rbp
    0xC3,                                     // ret
};

constexpr uint64_t codeAt = 0x10000, tablesAt = 0x1000;

// 64-bit code under paging, the first 2 MiB mapped one to one by pages of 4 KiB.
void StartLongMode(Cpu &cpu, PhysicalMemory &memory) {
    const uint64_t top = (tablesAt + 0x1000) | 7, directory = (tablesAt + 0x2000) | 7;
    const uint64_t table = (tablesAt + 0x3000) | 7;
    memory.Write(tablesAt, &top, 8);
    memory.Write(tablesAt + 0x1000, &directory, 8);
    memory.Write(tablesAt + 0x2000, &table, 8);
    for (uint64_t n = 0; n < 512; ++n) {
        const uint64_t entry = n << 12 | 7;
        memory.Write(tablesAt + 0x3000 + 8 * n, &entry, 8);
    }
    memory.Write(codeAt, loop, sizeof loop);
    Registers &r = cpu.registers;
    r.cr3 = tablesAt;
    r.cr4 = cr4Pae;
    r.msr.efer = eferLme;
    r.cr0 = cr0Pe | cr0Pg | cr0Et | cr0Wp;
    r.segment[segCs] = {8, 0xA09B, 0xFFFFFFFF, 0, 0, 0, 0};
    r.segment[segSs] = {16, 0xC093, 0xFFFFFFFF, 0, 0, 0, 0};
    r.rip = codeAt;
    r.gpr[gprRsp] = 0x80000;
    r.gpr[gprRsi] = 0x20000;
    r.gpr[gprRdi] = 0x30000;
    r.gpr[gprR8] = 1;
    r.gpr[9] = 3;
    cpu.Refresh();
}

class NeverStop final : public BreakCheck {
public:
    bool ShouldStop(unsigned, uint64_t, uint64_t, uint64_t, uint64_t) override { return false; }
};

// range(0) breakpoints that are never reached, all in the pages around the code.
void BM_Cpu_Loop(benchmark::State &state) {
    PhysicalMemory memory(1 << 21);
    EmptyBus bus;
    NeverStop check;
    Cpu cpu(0, memory, bus);
    StartLongMode(cpu, memory);
    cpu.SetBreakCheck(&check);
    for (int64_t n = 0; n < state.range(0); ++n) memory.AddBreak(codeAt + 0x100 + uint64_t(n) * 16);
    constexpr uint64_t slice = 1000000;
    for (auto _ : state) {
        if (cpu.Run(slice) != StopReason::budget) state.SkipWithError("the loop ended");
    }
    state.SetItemsProcessed(state.iterations() * int64_t(slice));
}
BENCHMARK(BM_Cpu_Loop)->Arg(0)->Arg(100)->Unit(benchmark::kMillisecond);

// What a debugger's step costs down here.
void BM_Cpu_Step(benchmark::State &state) {
    PhysicalMemory memory(1 << 21);
    EmptyBus bus;
    Cpu cpu(0, memory, bus);
    StartLongMode(cpu, memory);
    for (auto _ : state) benchmark::DoNotOptimize(cpu.Step(Interrupts::deliver));
}
BENCHMARK(BM_Cpu_Step);

} // namespace
