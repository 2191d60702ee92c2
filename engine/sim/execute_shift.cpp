#include "sim/execute_forms.h"

namespace sable {

namespace {

template <class T>
constexpr unsigned bitsOf = 8 * sizeof(T);
// Counts are taken modulo 32, or 64 for operands of 64 bits, before the operation sees them.
template <class T>
constexpr unsigned countMask = sizeof(T) == 8 ? 63 : 31;

template <class T>
bool TopBit(T value) {
    return (value >> (bitsOf<T> - 1) & 1) != 0;
}

template <class T>
bool BelowTopBit(T value) {
    return (value >> (bitsOf<T> - 2) & 1) != 0;
}

// Each Do gets a count that is not 0. Overflow is defined for a count of 1 only; the formula for it serves
// all counts. The auxiliary flag is undefined after a shift and cleared.
template <class T>
T SetShifted(Flags &flags, T result, bool carry, bool overflow) {
    flags.SetLogic<T>(result);
    flags.SetCarryOverflow(carry, overflow);
    return result;
}

struct Shl {
    template <class T>
    static T Do(Flags &flags, T value, unsigned count) {
        const T result = count < bitsOf<T> ? T(uint64_t(value) << count) : T(0);
        const bool carry = count <= bitsOf<T> && (uint64_t(value) >> (bitsOf<T> - count) & 1) != 0;
        return SetShifted<T>(flags, result, carry, TopBit(result) != carry);
    }
};

struct Shr {
    template <class T>
    static T Do(Flags &flags, T value, unsigned count) {
        const T result = count < bitsOf<T> ? T(value >> count) : T(0);
        const bool carry = count <= bitsOf<T> && (value >> (count - 1) & 1) != 0;
        return SetShifted<T>(flags, result, carry, TopBit(value));
    }
};

struct Sar {
    template <class T>
    static T Do(Flags &flags, T value, unsigned count) {
        constexpr unsigned unused = 64 - 8 * sizeof(T);
        const int64_t wide = int64_t(uint64_t(value) << unused) >> unused;
        return SetShifted<T>(flags, T(wide >> count), (wide >> (count - 1) & 1) != 0, false);
    }
};

struct Rol {
    template <class T>
    static T Do(Flags &flags, T value, unsigned count) {
        const unsigned turn = count % bitsOf<T>;
        const T result = turn == 0 ? value : T(T(value << turn) | T(value >> (bitsOf<T> - turn)));
        const bool carry = (result & 1) != 0;
        flags.SetCarryOverflow(carry, TopBit(result) != carry);
        return result;
    }
};

struct Ror {
    template <class T>
    static T Do(Flags &flags, T value, unsigned count) {
        const unsigned turn = count % bitsOf<T>;
        const T result = turn == 0 ? value : T(T(value >> turn) | T(value << (bitsOf<T> - turn)));
        flags.SetCarryOverflow(TopBit(result), TopBit(result) != BelowTopBit(result));
        return result;
    }
};

// Rotations through the carry flag turn a number with one bit more.
struct Rcl {
    template <class T>
    static T Do(Flags &flags, T value, unsigned count) {
        const unsigned turn = count % (bitsOf<T> + 1);
        if (turn == 0) return value;
        T result = turn == bitsOf<T> ? T(0) : T(value << turn);
        result = T(result | T(T(flags.Carry()) << (turn - 1)));
        if (turn > 1) result = T(result | T(value >> (bitsOf<T> + 1 - turn)));
        const bool carry = (value >> (bitsOf<T> - turn) & 1) != 0;
        flags.SetCarryOverflow(carry, TopBit(result) != carry);
        return result;
    }
};

struct Rcr {
    template <class T>
    static T Do(Flags &flags, T value, unsigned count) {
        const unsigned turn = count % (bitsOf<T> + 1);
        if (turn == 0) return value;
        T result = turn == bitsOf<T> ? T(0) : T(value >> turn);
        result = T(result | T(T(flags.Carry()) << (bitsOf<T> - turn)));
        if (turn > 1) result = T(result | T(value << (bitsOf<T> + 1 - turn)));
        const bool carry = (value >> (turn - 1) & 1) != 0;
        flags.SetCarryOverflow(carry, TopBit(result) != BelowTopBit(result));
        return result;
    }
};

// A count of 0 changes nothing, but the operand is checked for writing all the same.
template <class Op, class T, bool isMemory>
bool ShiftRm(Cpu &cpu, const Instruction &i, unsigned count) {
    return ChangeRm<T, isMemory>(cpu, i, [&](T value) {
        return count == 0 ? value : Op::template Do<T>(cpu.registers.flags, value, count);
    });
}

template <class Op>
struct ByImm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return ShiftRm<Op, T, isMemory>(cpu, i, unsigned(i.immediate) & countMask<T>);
    }
};

template <class Op>
struct ByOne {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return ShiftRm<Op, T, isMemory>(cpu, i, 1);
    }
};

constexpr uint8_t clOffset = gprRcx * 8;

template <class Op>
struct ByCl {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return ShiftRm<Op, T, isMemory>(cpu, i, cpu.Get<uint8_t>(clOffset) & countMask<T>);
    }
};

// Words with a count above 16 are undefined: the source is shifted in, then the word itself again.
struct Shld {
    template <class T>
    static T Do(Flags &flags, T value, T fill, unsigned count) {
        if (count > bitsOf<T>) return Do<T>(flags, fill, value, count - bitsOf<T>);
        const T shifted = count == bitsOf<T> ? T(0) : T(value << count);
        const T result = T(shifted | T(fill >> (bitsOf<T> - count)));
        const bool carry = (value >> (bitsOf<T> - count) & 1) != 0;
        return SetShifted<T>(flags, result, carry, TopBit(result) != TopBit(value));
    }
};

struct Shrd {
    template <class T>
    static T Do(Flags &flags, T value, T fill, unsigned count) {
        if (count > bitsOf<T>) return Do<T>(flags, fill, value, count - bitsOf<T>);
        const T shifted = count == bitsOf<T> ? T(0) : T(value >> count);
        const T result = T(shifted | T(fill << (bitsOf<T> - count)));
        const bool carry = (value >> (count - 1) & 1) != 0;
        return SetShifted<T>(flags, result, carry, TopBit(result) != TopBit(value));
    }
};

template <class Op, bool isByCl>
struct DoubleForm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        const unsigned given = isByCl ? cpu.Get<uint8_t>(clOffset) : unsigned(i.immediate);
        const unsigned count = given & countMask<T>;
        const T fill = cpu.Get<T>(i.reg);
        return ChangeRm<T, isMemory>(cpu, i, [&](T value) {
            return count == 0 ? value : Op::template Do<T>(cpu.registers.flags, value, fill, count);
        });
    }
};

} // namespace

#define SABLE_FORMS(Op) {MakeTable<ByImm<Op>>(), MakeTable<ByOne<Op>>(), MakeTable<ByCl<Op>>()}
// Number 6 is a second SHL.
const ExecuteTable shifts[8][shiftFormCount] = {SABLE_FORMS(Rol), SABLE_FORMS(Ror), SABLE_FORMS(Rcl),
                                                SABLE_FORMS(Rcr), SABLE_FORMS(Shl), SABLE_FORMS(Shr),
                                                SABLE_FORMS(Shl), SABLE_FORMS(Sar)};
#undef SABLE_FORMS
const ExecuteTable shldImm = MakeTable<DoubleForm<Shld, false>>();
const ExecuteTable shldCl = MakeTable<DoubleForm<Shld, true>>();
const ExecuteTable shrdImm = MakeTable<DoubleForm<Shrd, false>>();
const ExecuteTable shrdCl = MakeTable<DoubleForm<Shrd, true>>();

} // namespace sable
