#include "sim/execute_forms.h"

namespace sable {

namespace {

// The operand is read before the stack pointer moves: push rsp pushes the old value, and an operand in
// memory that is addressed with rsp uses it.
struct PushRm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        T value;
        return ReadRm<T, isMemory>(cpu, i, value) && cpu.Push<T>(value);
    }
};

struct PushImm {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return cpu.Push<T>(T(i.immediate));
    }
};

// A destination in memory that is addressed with rsp sees it after the pop; pop rsp ends with the value.
struct PopRm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        T value;
        if (!cpu.Peek<T>(0, value)) return false;
        const uint64_t before = cpu.registers.gpr[gprRsp];
        cpu.AddToStackPointer(sizeof(T));
        if (WriteRm<T, isMemory>(cpu, i, value)) return true;
        cpu.registers.gpr[gprRsp] = before;
        return false;
    }
};

struct PushAll {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &) {
        const uint64_t before = cpu.registers.gpr[gprRsp];
        for (uint8_t n = 0; n < 8; ++n) {
            const uint64_t value = n == gprRsp ? before : cpu.registers.gpr[n];
            if (!cpu.Push<T>(T(value))) {
                cpu.registers.gpr[gprRsp] = before;
                return false;
            }
        }
        return true;
    }
};

struct PopAll {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &) {
        T values[8];
        for (unsigned n = 0; n < 8; ++n) {
            if (!cpu.Peek<T>((7 - n) * sizeof(T), values[n])) return false;
        }
        for (uint8_t n = 0; n < 8; ++n) {
            if (n != gprRsp) cpu.Set<T>(uint8_t(n * 8), values[n]);
        }
        cpu.AddToStackPointer(8 * sizeof(T));
        return true;
    }
};

struct PushFlags {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &) {
        return cpu.Push<T>(T(cpu.registers.flags.Get() & ~uint32_t(flagRf | flagVm)));
    }
};

struct PopFlags {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &) {
        T value;
        if (!cpu.Peek<T>(0, value)) return false;
        cpu.AddToStackPointer(sizeof(T));
        uint32_t changes = flagsArithmetic | flagTf | flagDf | flagNt;
        if (sizeof(T) > 2) changes |= flagAc | flagId;
        if (cpu.Cpl() == 0) changes |= flagIopl;
        if (cpu.Cpl() <= cpu.registers.flags.Iopl()) changes |= flagIf;
        const uint32_t old = cpu.registers.flags.Get() & ~uint32_t(flagRf);
        cpu.SetFlags((old & ~changes) | (uint32_t(value) & changes));
        return true;
    }
};

// Frame pointers of the enclosing frames are copied, so that nested procedures reach their variables.
struct Enter {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &i) {
        uint64_t *gpr = cpu.registers.gpr;
        const uint64_t before = gpr[gprRsp];
        const unsigned level = unsigned(i.immediate) & 31;
        const uint64_t mask = cpu.StackMask();
        bool isDone = cpu.Push<T>(T(gpr[gprRbp]));
        const uint64_t frame = gpr[gprRsp];
        for (unsigned n = 1; isDone && n < level; ++n) {
            T outer;
            isDone = cpu.Load<T>(segSs, (gpr[gprRbp] - n * sizeof(T)) & mask, outer) && cpu.Push<T>(outer);
        }
        if (isDone && level > 0) isDone = cpu.Push<T>(T(frame));
        // The new top of the stack has to be writable.
        OperandPlace place;
        uint8_t top;
        const uint64_t end = (gpr[gprRsp] - i.selector) & mask;
        if (!isDone || !cpu.Open<uint8_t>(segSs, end, place, top)) {
            gpr[gprRsp] = before;
            return false;
        }
        cpu.AddToStackPointer(uint64_t(0) - i.selector);
        cpu.Set<T>(gprRbp * 8, T(frame));
        return true;
    }
};

struct Leave {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &) {
        uint64_t *gpr = cpu.registers.gpr;
        const uint64_t mask = cpu.StackMask();
        T value;
        if (!cpu.Load<T>(segSs, gpr[gprRbp] & mask, value)) return false;
        gpr[gprRsp] = (gpr[gprRsp] & ~mask) | ((gpr[gprRbp] + sizeof(T)) & mask);
        cpu.Set<T>(gprRbp * 8, value);
        return true;
    }
};

} // namespace

const ExecuteTable pushRm = MakeTable<PushRm>();
const ExecuteTable popRm = MakeTable<PopRm>();
const ExecuteTable pushImm = MakeRegisterTable<PushImm>();
const ExecuteTable pushAll = MakeRegisterTable<PushAll>();
const ExecuteTable popAll = MakeRegisterTable<PopAll>();
const ExecuteTable pushFlags = MakeRegisterTable<PushFlags>();
const ExecuteTable popFlags = MakeRegisterTable<PopFlags>();
const ExecuteTable enter = MakeRegisterTable<Enter>();
const ExecuteTable leave = MakeRegisterTable<Leave>();

} // namespace sable
