#pragma once

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <map>
#include <vector>

#include "sim/cpu.h"

/// A simulated processor with memory, tables and handlers, ready to execute a few bytes in any mode.
///
/// Physical addresses are linear addresses: 4 MiB are mapped one to one by pages of 4 KiB that privilege 3
/// may use. The handler of each vector is a HLT at HandlerOf(vector).
class CpuRig : public sable::Bus, public sable::BreakCheck {
public:
    static constexpr uint64_t memorySize = 4 << 20;
    static constexpr uint64_t code = 0x10000, handlers = 0x18000, userStack = 0x30000, kernelStack = 0x40000;
    static constexpr uint64_t interruptStack = 0x50000, data = 0x60000;
    static constexpr uint64_t pml4 = 0x1000, pdpt = 0x2000, wideDirectory = 0x3000, wideTables = 0x4000;
    static constexpr uint64_t paePointers = 0x6000, directory = 0x7000, tables = 0x8000;
    static constexpr uint64_t gdt = 0x9000, idt = 0xA000, tss = 0xB000, ldt = 0xC000;

    enum Selector : uint16_t {
        code64 = 0x08,
        data0 = 0x10,
        code32 = 0x18,
        data3 = 0x23,
        userCode64 = 0x2B,
        userCode32 = 0x33,
        code16 = 0x38,
        taskState = 0x40,
        localTable = 0x50,
        spare = 0x60, ///< for what a test writes there; 0x68 as well
        stack16 = 0x70,
        absent = 0x78,
        conforming = 0x80
    };

    CpuRig() : memory(memorySize), cpu(0, memory, *this) {
        using namespace sable;
        // Table entries: present, writable, user.
        for (uint64_t n = 0; n < 1024; ++n) {
            Write64(wideTables + 8 * n, n << 12 | 7);
            Write32(tables + 4 * n, uint32_t(n << 12 | 7));
        }
        Write64(pml4, pdpt | 7);
        Write64(pdpt, wideDirectory | 7);
        Write64(wideDirectory, wideTables | 7);
        Write64(wideDirectory + 8, (wideTables + 0x1000) | 7);
        Write64(paePointers, wideDirectory | 1);
        Write32(directory, tables | 7);

        SetDescriptor(code64, 0xA09B, 0, 0xFFFFF);
        SetDescriptor(data0, 0xC093, 0, 0xFFFFF);
        SetDescriptor(code32, 0xC09B, 0, 0xFFFFF);
        SetDescriptor(data3, 0xC0F3, 0, 0xFFFFF);
        SetDescriptor(userCode64, 0xA0FB, 0, 0xFFFFF);
        SetDescriptor(userCode32, 0xC0FB, 0, 0xFFFFF);
        SetDescriptor(code16, 0x009B, 0, 0xFFFF);
        SetDescriptor(taskState, 0x0089, tss, 0xFFF);
        SetDescriptor(localTable, 0x0082, ldt, 0xFF);
        SetDescriptor(stack16, 0x0093, 0, 0xFFFF);
        SetDescriptor(absent, 0xC013, 0, 0xFFFFF);
        SetDescriptor(conforming, 0xC09F, 0, 0xFFFFF);
        std::memset(memory.At(handlers), 0xF4, 0x1000);
    }

    static uint64_t HandlerOf(unsigned vector) { return handlers + 16 * vector; }

    /// 64-bit code, or with `codeSelector` another kind of long mode; the privilege is the selector's.
    void StartLong(uint16_t codeSelector = code64) {
        using namespace sable;
        for (unsigned n = 0; n < 256; ++n) SetGate64(n, code64, HandlerOf(n), 0x8E, 0);
        Write64(tss + 4, kernelStack);
        Write64(tss + 0x24, interruptStack);
        cpu.registers.cr3 = pml4;
        cpu.registers.cr4 = cr4Pae;
        cpu.registers.msr.efer = eferLme | eferNxe | eferSce;
        cpu.registers.cr0 = cr0Pe | cr0Pg | cr0Et | cr0Wp;
        Start(codeSelector);
    }

    /// Protected mode; `cr3` 0 is without paging.
    void StartProtected(uint16_t codeSelector = code32, uint64_t cr3 = 0, uint64_t cr4 = 0) {
        using namespace sable;
        for (unsigned n = 0; n < 256; ++n) SetGate32(n, code32, uint32_t(HandlerOf(n)), 0x8E);
        Write32(tss + 4, uint32_t(kernelStack));
        Write32(tss + 8, data0);
        cpu.registers.cr3 = cr3;
        cpu.registers.cr4 = cr4;
        cpu.registers.cr0 = cr0Pe | cr0Et | cr0Wp | (cr3 != 0 ? cr0Pg : 0u);
        Start(codeSelector);
    }

    /// Real mode with all segments at 0 but the code segment, which has `code` as its base.
    void StartReal() {
        for (unsigned n = 0; n < 256; ++n) Write32(idt + 4 * n, uint32_t((handlers >> 4) << 16 | 16 * n));
        cpu.registers.cr0 = sable::cr0Et;
        for (sable::SegmentRegister &each : cpu.registers.segment) each.base = each.selector = 0;
        cpu.registers.segment[sable::segCs].base = code;
        cpu.registers.segment[sable::segCs].selector = uint16_t(code >> 4);
        cpu.registers.idt = {idt, 0x3FF};
        cpu.registers.rip = 0;
        cpu.registers.gpr[sable::gprRsp] = 0x8000;
        cpu.Refresh();
    }

    void Load(std::initializer_list<uint8_t> bytes) { memory.Write(code, bytes.begin(), bytes.size()); }
    void LoadAt(uint64_t at, std::initializer_list<uint8_t> bytes) {
        memory.Write(at, bytes.begin(), bytes.size());
    }
    /// Loads the bytes where the processor is going to fetch, and executes `count` instructions.
    sable::StopReason Execute(std::initializer_list<uint8_t> bytes, uint64_t count = 1) {
        Load(bytes);
        return cpu.Run(count);
    }
    /// True when the processor went to the handler of this vector and stands at its first instruction.
    bool IsAtHandler(unsigned vector) {
        const sable::SegmentRegister &cs = cpu.registers.segment[sable::segCs];
        return (cpu.Is64() ? 0 : cs.base) + cpu.registers.rip == HandlerOf(vector);
    }
    uint64_t &Gpr(unsigned n) { return cpu.registers.gpr[n]; }
    /// Quadword n, or doubleword n, of the stack.
    uint64_t Stack64(unsigned n) { return Read64(cpu.registers.gpr[sable::gprRsp] + 8 * n); }
    uint32_t Stack32(unsigned n) { return Read32(cpu.registers.gpr[sable::gprRsp] + 4 * n); }
    uint32_t FlagsWord() { return cpu.registers.flags.Get(); }

    void SetDescriptor(uint16_t selector, uint16_t access, uint64_t base, uint32_t limit) {
        const uint64_t low = (limit & 0xFFFF) | (base & 0xFFFFFF) << 16 | uint64_t(access & 0xFF) << 40 |
                             uint64_t(limit >> 16 & 15) << 48 | uint64_t(access >> 12) << 52 |
                             (base >> 24 & 0xFF) << 56;
        Write64(gdt + (selector & 0xFFF8u), low);
    }
    void SetGate64(unsigned vector, uint16_t selector, uint64_t offset, uint8_t type, unsigned stackNumber) {
        Write64(idt + 16 * vector, (offset & 0xFFFF) | uint64_t(selector) << 16 |
                                       uint64_t(stackNumber) << 32 | uint64_t(type) << 40 |
                                       (offset >> 16 & 0xFFFF) << 48);
        Write64(idt + 16 * vector + 8, offset >> 32);
    }
    void SetGate32(unsigned vector, uint16_t selector, uint32_t offset, uint8_t type) {
        Write64(idt + 8 * vector, (offset & 0xFFFF) | uint64_t(selector) << 16 | uint64_t(type) << 40 |
                                      uint64_t(offset >> 16) << 48);
    }

    uint64_t Read64(uint64_t at) { return ReadAs<uint64_t>(at); }
    uint32_t Read32(uint64_t at) { return ReadAs<uint32_t>(at); }
    uint16_t Read16(uint64_t at) { return ReadAs<uint16_t>(at); }
    uint8_t Read8(uint64_t at) { return ReadAs<uint8_t>(at); }
    void Write64(uint64_t at, uint64_t value) { memory.Write(at, &value, 8); }
    void Write32(uint64_t at, uint32_t value) { memory.Write(at, &value, 4); }
    void Write8(uint64_t at, uint8_t value) { memory.Write(at, &value, 1); }

    // What stands outside the memory.
    uint64_t ReadDevice(unsigned, uint64_t physical, unsigned size) override {
        deviceReads.push_back({physical, size, 0});
        return deviceValue & (~uint64_t(0) >> (64 - 8 * size));
    }
    void WriteDevice(unsigned, uint64_t physical, unsigned size, uint64_t value) override {
        deviceWrites.push_back({physical, size, value});
    }
    uint32_t ReadPort(unsigned, uint16_t port, unsigned size) override {
        portReads.push_back({port, size, 0});
        return uint32_t(deviceValue & (~uint64_t(0) >> (64 - 8 * size)));
    }
    void WritePort(unsigned, uint16_t port, unsigned size, uint32_t value) override {
        portWrites.push_back({port, size, value});
        if (port == exitPort) cpu.RequestExit();
    }
    uint8_t AcknowledgeInterrupt(unsigned) override {
        cpu.SetInterruptLine(false);
        return interruptVector;
    }
    void TaskPriorityChanged(unsigned, unsigned priority) override { taskPriority = priority; }
    bool ShouldStop(unsigned, uint64_t root, uint64_t linear, uint64_t physical, uint64_t rip) override {
        asked.push_back({root, linear, physical, rip});
        return stops;
    }

    struct Access {
        uint64_t address;
        unsigned size;
        uint64_t value;
    };
    struct Question {
        uint64_t root, linear, physical, rip;
    };

    static constexpr uint16_t exitPort = 0xE0;

    sable::PhysicalMemory memory;
    sable::Cpu cpu;
    uint64_t deviceValue = 0;
    uint8_t interruptVector = 0x40;
    unsigned taskPriority = 0;
    bool stops = true;
    std::vector<Access> deviceReads, deviceWrites, portReads, portWrites;
    std::vector<Question> asked;

private:
    template <class T>
    T ReadAs(uint64_t at) {
        T value = 0;
        memory.Read(at, &value, sizeof value);
        return value;
    }

    void LoadSelector(unsigned index, uint16_t selector) {
        uint64_t raw = Read64(gdt + (selector & 0xFFF8u));
        sable::SegmentRegister &segment = cpu.registers.segment[index];
        segment.selector = selector;
        segment.access = uint16_t(raw >> 40 & 0xF0FF);
        segment.base = (raw >> 16 & 0xFFFFFF) | (raw >> 56 & 0xFF) << 24;
        segment.limit = uint32_t((raw & 0xFFFF) | (raw >> 32 & 0xF0000));
        if ((segment.access & sable::accessPages) != 0) segment.limit = segment.limit << 12 | 0xFFF;
    }

    void Start(uint16_t codeSelector) {
        using namespace sable;
        const bool isUser = (codeSelector & 3) == 3;
        Registers &r = cpu.registers;
        r.gdt = {gdt, 0xFF};
        r.idt = {idt, 0xFFF};
        r.tss = {taskState, 0x8B, 0xFFF, tss, 0, 0, 0};
        r.ldt = {localTable, 0x82, 0xFF, ldt, 0, 0, 0};
        LoadSelector(segCs, codeSelector);
        for (unsigned index : {segDs, segEs, segFs, segGs, segSs})
            LoadSelector(index, isUser ? data3 : data0);
        r.rip = code;
        r.gpr[gprRsp] = isUser ? userStack : kernelStack - 0x1000;
        cpu.Refresh();
    }
};
