#include "sim/execute_forms.h"

namespace sable {

namespace {

uint64_t RelativeTarget(const Cpu &cpu, const Instruction &i) {
    return (cpu.NextRip(i) + i.immediate) & Cpu::widthMask[i.width];
}

template <unsigned code>
struct ConditionalJump {
    static bool Run(Cpu &cpu, const Instruction &i) {
        return !cpu.registers.flags.Test<code>() || cpu.JumpNear(RelativeTarget(cpu, i));
    }
};

bool JmpRelative(Cpu &cpu, const Instruction &i) { return cpu.JumpNear(RelativeTarget(cpu, i)); }

struct JmpRm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        T target;
        return ReadRm<T, isMemory>(cpu, i, target) && cpu.JumpNear(target);
    }
};

// A target that cannot be reached faults with the stack as it was.
template <class T>
bool CallNear(Cpu &cpu, const Instruction &i, uint64_t target) {
    const uint64_t before = cpu.registers.gpr[gprRsp];
    if (!cpu.Push<T>(T(cpu.NextRip(i)))) return false;
    cpu.JumpNear(target);
    if (cpu.IsFaulted()) cpu.registers.gpr[gprRsp] = before;
    return false;
}

struct CallRelative {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return CallNear<T>(cpu, i, RelativeTarget(cpu, i));
    }
};

struct CallRm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        T target;
        return ReadRm<T, isMemory>(cpu, i, target) && CallNear<T>(cpu, i, target);
    }
};

template <bool dropsArguments>
struct RetNear {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &i) {
        T target;
        if (!cpu.Peek<T>(0, target)) return false;
        cpu.JumpNear(target);
        if (!cpu.IsFaulted()) cpu.AddToStackPointer(sizeof(T) + (dropsArguments ? uint16_t(i.immediate) : 0));
        return false;
    }
};

uint64_t Count(const Cpu &cpu, const Instruction &i) {
    return cpu.registers.gpr[gprRcx] & Cpu::widthMask[i.addressWidth];
}

void SetCount(Cpu &cpu, const Instruction &i, uint64_t count) {
    constexpr uint8_t rcx = gprRcx * 8;
    if (i.addressWidth == width16) cpu.Set<uint16_t>(rcx, uint16_t(count));
    if (i.addressWidth == width32) cpu.Set<uint32_t>(rcx, uint32_t(count));
    if (i.addressWidth == width64) cpu.Set<uint64_t>(rcx, count);
}

enum class LoopKind { count, zero, notZero };

template <LoopKind kind>
bool Loop(Cpu &cpu, const Instruction &i) {
    const uint64_t count = (Count(cpu, i) - 1) & Cpu::widthMask[i.addressWidth];
    const bool zero = cpu.registers.flags.Zero();
    const bool isTaken = count != 0 && (kind == LoopKind::count || (kind == LoopKind::zero) == zero);
    if (isTaken) cpu.JumpNear(RelativeTarget(cpu, i));
    if (cpu.IsFaulted()) return false;
    SetCount(cpu, i, count);
    return !isTaken;
}

bool JumpCountZero(Cpu &cpu, const Instruction &i) {
    return Count(cpu, i) != 0 || cpu.JumpNear(RelativeTarget(cpu, i));
}

template <unsigned code>
constexpr ExecuteTable jumpTable = SameForAll(&ConditionalJump<code>::Run);

} // namespace

const ExecuteTable conditionalJumps[16] = {jumpTable<0>,  jumpTable<1>,  jumpTable<2>,  jumpTable<3>,
                                           jumpTable<4>,  jumpTable<5>,  jumpTable<6>,  jumpTable<7>,
                                           jumpTable<8>,  jumpTable<9>,  jumpTable<10>, jumpTable<11>,
                                           jumpTable<12>, jumpTable<13>, jumpTable<14>, jumpTable<15>};
const ExecuteTable jmpRelative = SameForAll(JmpRelative);
const ExecuteTable jmpRm = MakeTable<JmpRm>();
const ExecuteTable callRelative = MakeRegisterTable<CallRelative>();
const ExecuteTable callRm = MakeTable<CallRm>();
const ExecuteTable retNear = MakeRegisterTable<RetNear<false>>();
const ExecuteTable retNearImm = MakeRegisterTable<RetNear<true>>();
const ExecuteTable loopNotZero = SameForAll(Loop<LoopKind::notZero>);
const ExecuteTable loopZero = SameForAll(Loop<LoopKind::zero>);
const ExecuteTable loopCount = SameForAll(Loop<LoopKind::count>);
const ExecuteTable jumpCountZero = SameForAll(JumpCountZero);

} // namespace sable
