#include "sim/execute_forms.h"

namespace sable {

namespace {

struct MovRmReg {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return WriteRm<T, isMemory>(cpu, i, cpu.Get<T>(i.reg));
    }
};

struct MovRegRm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        T value;
        if (!ReadRm<T, isMemory>(cpu, i, value)) return false;
        cpu.Set<T>(i.reg, value);
        return true;
    }
};

struct MovRmImm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return WriteRm<T, isMemory>(cpu, i, T(i.immediate));
    }
};

struct Xchg {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        const T mine = cpu.Get<T>(i.reg);
        T value;
        if constexpr (isMemory) {
            OperandPlace place;
            if (!cpu.Open<T>(i.segment, cpu.Offset(i), place, value)) return false;
            cpu.Close<T>(place, mine);
        } else {
            value = cpu.Get<T>(i.rm);
            cpu.Set<T>(i.rm, mine);
        }
        cpu.Set<T>(i.reg, value);
        return true;
    }
};

// rax with itself is NOP: it does not even clear the upper half.
struct XchgAccumulator {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &i) {
        if (i.rm == gprRax) return true;
        const T value = cpu.Get<T>(i.rm);
        cpu.Set<T>(i.rm, cpu.Get<T>(gprRax));
        cpu.Set<T>(gprRax, value);
        return true;
    }
};

// From the type Source, which says whether the sign goes on.
template <class Source>
struct Extend {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        using Narrow = std::make_unsigned_t<Source>;
        Narrow value;
        if (!ReadRm<Narrow, isMemory>(cpu, i, value)) return false;
        cpu.Set<T>(i.reg, T(Source(value)));
        return true;
    }
};

struct Lea {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &i) {
        cpu.Set<T>(i.reg, T(cpu.Offset(i)));
        return true;
    }
};

// CBW, CWDE, CDQE by the width of the result.
bool ExtendAccumulator(Cpu &cpu, const Instruction &i) {
    constexpr uint8_t rax = gprRax;
    if (i.width == width16) cpu.Set<uint16_t>(rax, uint16_t(int8_t(cpu.Get<uint8_t>(rax))));
    if (i.width == width32) cpu.Set<uint32_t>(rax, uint32_t(int16_t(cpu.Get<uint16_t>(rax))));
    if (i.width == width64) cpu.Set<uint64_t>(rax, uint64_t(int32_t(cpu.Get<uint32_t>(rax))));
    return true;
}

// CWD, CDQ, CQO.
struct ExtendIntoRdx {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &) {
        const bool isNegative = std::make_signed_t<T>(cpu.Get<T>(gprRax)) < 0;
        cpu.Set<T>(gprRdx * 8, isNegative ? T(~T(0)) : T(0));
        return true;
    }
};

// A word is undefined; it becomes 0.
bool Bswap(Cpu &cpu, const Instruction &i) {
    if (i.width == width16) {
        cpu.Set<uint16_t>(i.rm, 0);
        return true;
    }
    const unsigned bytes = i.Bytes();
    const uint64_t value = cpu.Get<uint64_t>(i.rm);
    uint64_t result = 0;
    for (unsigned n = 0; n < bytes; ++n) result = result << 8 | (value >> 8 * n & 0xFF);
    cpu.Set<uint64_t>(i.rm, result);
    return true;
}

bool Xlat(Cpu &cpu, const Instruction &i) {
    const uint64_t *gpr = cpu.registers.gpr;
    const uint64_t offset = (gpr[gprRbx] + (gpr[gprRax] & 0xFF)) & Cpu::widthMask[i.addressWidth];
    uint8_t value;
    if (!cpu.Load<uint8_t>(i.segment, offset, value)) return false;
    cpu.Set<uint8_t>(gprRax, value);
    return true;
}

constexpr uint8_t ah = 1;

bool Lahf(Cpu &cpu, const Instruction &) {
    cpu.Set<uint8_t>(ah, uint8_t(cpu.registers.flags.Get()));
    return true;
}

bool Sahf(Cpu &cpu, const Instruction &) {
    Flags &flags = cpu.registers.flags;
    flags.SetArithmetic((flags.Get() & flagOf) | cpu.Get<uint8_t>(ah));
    return true;
}

// The source is read, and its faults come, whether the condition holds or not; 32 bits always clear the
// upper half.
template <unsigned code>
struct ConditionalMove {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        T value;
        if (!ReadRm<T, isMemory>(cpu, i, value)) return false;
        cpu.Set<T>(i.reg, cpu.registers.flags.Test<code>() ? value : cpu.Get<T>(i.reg));
        return true;
    }
};

template <unsigned code>
struct ConditionalSet {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return WriteRm<uint8_t, isMemory>(cpu, i, cpu.registers.flags.Test<code>() ? 1 : 0);
    }
};

} // namespace

const ExecuteTable movRmReg = MakeTable<MovRmReg>();
const ExecuteTable movRegRm = MakeTable<MovRegRm>();
const ExecuteTable movRmImm = MakeTable<MovRmImm>();
const ExecuteTable xchgRmReg = MakeTable<Xchg>();
const ExecuteTable xchgAccumulator = MakeRegisterTable<XchgAccumulator>();
const ExecuteTable movzxByte = MakeTable<Extend<uint8_t>>();
const ExecuteTable movzxWord = MakeTable<Extend<uint16_t>>();
const ExecuteTable movsxByte = MakeTable<Extend<int8_t>>();
const ExecuteTable movsxWord = MakeTable<Extend<int16_t>>();
const ExecuteTable movsxd = MakeTable<Extend<int32_t>>();
const ExecuteTable lea = MakeRegisterTable<Lea>();
const ExecuteTable extendAccumulator = SameForAll(ExtendAccumulator);
const ExecuteTable extendIntoRdx = MakeRegisterTable<ExtendIntoRdx>();
const ExecuteTable bswap = SameForAll(Bswap);
const ExecuteTable xlat = SameForAll(Xlat);
const ExecuteTable lahf = SameForAll(Lahf);
const ExecuteTable sahf = SameForAll(Sahf);

#define SABLE_CONDITIONS(Form)                                                                               \
    {MakeTable<Form<0>>(),  MakeTable<Form<1>>(),  MakeTable<Form<2>>(),  MakeTable<Form<3>>(),              \
     MakeTable<Form<4>>(),  MakeTable<Form<5>>(),  MakeTable<Form<6>>(),  MakeTable<Form<7>>(),              \
     MakeTable<Form<8>>(),  MakeTable<Form<9>>(),  MakeTable<Form<10>>(), MakeTable<Form<11>>(),             \
     MakeTable<Form<12>>(), MakeTable<Form<13>>(), MakeTable<Form<14>>(), MakeTable<Form<15>>()}
const ExecuteTable conditionalMoves[16] = SABLE_CONDITIONS(ConditionalMove);
const ExecuteTable conditionalSets[16] = SABLE_CONDITIONS(ConditionalSet);
#undef SABLE_CONDITIONS

} // namespace sable
