#include <bit>

#include "sim/execute_forms.h"

namespace sable {

namespace {

template <class T>
constexpr unsigned bitsOf = 8 * sizeof(T);

struct BitTest {
    static constexpr bool writes = false;
    template <class T>
    static T Change(T value, T) {
        return value;
    }
};
struct BitSet {
    static constexpr bool writes = true;
    template <class T>
    static T Change(T value, T bit) {
        return T(value | bit);
    }
};
struct BitReset {
    static constexpr bool writes = true;
    template <class T>
    static T Change(T value, T bit) {
        return T(value & T(~bit));
    }
};
struct BitComplement {
    static constexpr bool writes = true;
    template <class T>
    static T Change(T value, T bit) {
        return T(value ^ bit);
    }
};

// Only the carry flag is touched.
template <class Op, class T>
T TestBit(Cpu &cpu, T value, unsigned number) {
    const T bit = T(T(1) << number);
    cpu.registers.flags.SetCarry((value & bit) != 0);
    return Op::template Change<T>(value, bit);
}

// With a register as the number, memory is a string of bits that reaches to both sides of the operand.
template <class Op, bool isByNumber>
struct BitForm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        const T number = isByNumber ? T(i.immediate) : cpu.Get<T>(i.reg);
        const unsigned within = unsigned(number) & (bitsOf<T> - 1);
        if constexpr (!isMemory) {
            const T result = TestBit<Op, T>(cpu, cpu.Get<T>(i.rm), within);
            if constexpr (Op::writes) cpu.Set<T>(i.rm, result);
            return true;
        } else {
            uint64_t offset = cpu.Offset(i);
            if constexpr (!isByNumber) {
                const int64_t units = (int64_t(std::make_signed_t<T>(number)) - int64_t(within)) / bitsOf<T>;
                offset = (offset + uint64_t(units) * sizeof(T)) & Cpu::widthMask[i.addressWidth];
            }
            T value;
            if constexpr (Op::writes) {
                OperandPlace place;
                if (!cpu.Open<T>(i.segment, offset, place, value)) return false;
                cpu.Close<T>(place, TestBit<Op, T>(cpu, value, within));
            } else {
                if (!cpu.Load<T>(i.segment, offset, value)) return false;
                TestBit<Op, T>(cpu, value, within);
            }
            return true;
        }
    }
};

// Only the zero flag is defined. A source of 0 leaves the destination alone.
template <bool isForward>
struct BitScan {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        T source;
        if (!ReadRm<T, isMemory>(cpu, i, source)) return false;
        cpu.registers.flags.SetZero(source == 0);
        if (source == 0) return true;
        const int number =
            isForward ? std::countr_zero(source) : int(bitsOf<T>) - 1 - std::countl_zero(source);
        cpu.Set<T>(i.reg, T(number));
        return true;
    }
};

struct Popcnt {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        if ((i.prefixes & prefixRepeat) == 0) return ExecuteInvalid(cpu, i);
        T source;
        if (!ReadRm<T, isMemory>(cpu, i, source)) return false;
        cpu.Set<T>(i.reg, T(std::popcount(source)));
        cpu.registers.flags.SetArithmetic(source == 0 ? uint32_t(flagZf) : 0u);
        return true;
    }
};

// The destination is written in either case, so that a page that may not be written always faults.
struct Cmpxchg {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        const T expected = cpu.Get<T>(0), replacement = cpu.Get<T>(i.reg);
        T value;
        if constexpr (isMemory) {
            OperandPlace place;
            if (!cpu.Open<T>(i.segment, cpu.Offset(i), place, value)) return false;
            cpu.Close<T>(place, value == expected ? replacement : value);
        } else {
            value = cpu.Get<T>(i.rm);
            if (value == expected) cpu.Set<T>(i.rm, replacement);
        }
        if (value != expected) cpu.Set<T>(0, value);
        cpu.registers.flags.SetDifference<T>(expected, value, T(expected - value));
        return true;
    }
};

struct Xadd {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        const T added = cpu.Get<T>(i.reg);
        T value;
        OperandPlace place;
        if constexpr (isMemory) {
            if (!cpu.Open<T>(i.segment, cpu.Offset(i), place, value)) return false;
        } else {
            value = cpu.Get<T>(i.rm);
        }
        const T sum = T(value + added);
        cpu.Set<T>(i.reg, value);
        if constexpr (isMemory) {
            cpu.Close<T>(place, sum);
        } else {
            cpu.Set<T>(i.rm, sum);
        }
        cpu.registers.flags.SetSum<T>(value, added, sum);
        return true;
    }
};

template <class Half>
bool CompareDouble(Cpu &cpu, const Instruction &i) {
    const uint64_t offset = cpu.Offset(i);
    const uint64_t next = (offset + sizeof(Half)) & Cpu::widthMask[i.addressWidth];
    if (sizeof(Half) == 8 && (offset & 15) != 0) return cpu.RaiseGeneral();
    constexpr uint8_t rax = gprRax * 8, rcx = gprRcx * 8, rdx = gprRdx * 8, rbx = gprRbx * 8;
    OperandPlace lowPlace, highPlace;
    Half low, high;
    if (!cpu.Open<Half>(i.segment, offset, lowPlace, low)) return false;
    if (!cpu.Open<Half>(i.segment, next, highPlace, high)) return false;
    const bool isEqual = low == cpu.Get<Half>(rax) && high == cpu.Get<Half>(rdx);
    cpu.Close<Half>(lowPlace, isEqual ? cpu.Get<Half>(rbx) : low);
    cpu.Close<Half>(highPlace, isEqual ? cpu.Get<Half>(rcx) : high);
    if (!isEqual) {
        cpu.Set<Half>(rax, low);
        cpu.Set<Half>(rdx, high);
    }
    cpu.registers.flags.SetZero(isEqual);
    return true;
}

bool CmpxchgDouble(Cpu &cpu, const Instruction &i) {
    return i.width == width64 ? CompareDouble<uint64_t>(cpu, i) : CompareDouble<uint32_t>(cpu, i);
}

} // namespace

#define SABLE_FORMS(Op) {MakeTable<BitForm<Op, false>>(), MakeTable<BitForm<Op, true>>()}
const ExecuteTable bitTests[4][2] = {SABLE_FORMS(BitTest), SABLE_FORMS(BitSet), SABLE_FORMS(BitReset),
                                     SABLE_FORMS(BitComplement)};
#undef SABLE_FORMS
const ExecuteTable bsf = MakeTable<BitScan<true>>();
const ExecuteTable bsr = MakeTable<BitScan<false>>();
const ExecuteTable popcnt = MakeTable<Popcnt>();
const ExecuteTable cmpxchg = MakeTable<Cmpxchg>();
const ExecuteTable xadd = MakeTable<Xadd>();
const ExecuteTable cmpxchgDouble = SameForAll(CmpxchgDouble);

} // namespace sable
