#include "sim/execute_forms.h"

namespace sable {

namespace {

struct Add {
    static constexpr bool writes = true;
    template <class T>
    static T Do(Flags &flags, T a, T b) {
        return flags.SetSum<T>(a, b, T(a + b));
    }
};

struct Adc {
    static constexpr bool writes = true;
    template <class T>
    static T Do(Flags &flags, T a, T b) {
        return flags.SetSum<T>(a, b, T(a + b + T(flags.Carry())));
    }
};

struct Sub {
    static constexpr bool writes = true;
    template <class T>
    static T Do(Flags &flags, T a, T b) {
        return flags.SetDifference<T>(a, b, T(a - b));
    }
};

struct Sbb {
    static constexpr bool writes = true;
    template <class T>
    static T Do(Flags &flags, T a, T b) {
        return flags.SetDifference<T>(a, b, T(a - b - T(flags.Carry())));
    }
};

struct Cmp {
    static constexpr bool writes = false;
    template <class T>
    static T Do(Flags &flags, T a, T b) {
        return flags.SetDifference<T>(a, b, T(a - b));
    }
};

template <class T>
T SetLogic(Flags &flags, T value) {
    flags.SetLogic<T>(value);
    return value;
}

struct Or {
    static constexpr bool writes = true;
    template <class T>
    static T Do(Flags &flags, T a, T b) {
        return SetLogic<T>(flags, T(a | b));
    }
};

struct And {
    static constexpr bool writes = true;
    template <class T>
    static T Do(Flags &flags, T a, T b) {
        return SetLogic<T>(flags, T(a & b));
    }
};

struct Xor {
    static constexpr bool writes = true;
    template <class T>
    static T Do(Flags &flags, T a, T b) {
        return SetLogic<T>(flags, T(a ^ b));
    }
};

struct Test {
    static constexpr bool writes = false;
    template <class T>
    static T Do(Flags &flags, T a, T b) {
        return SetLogic<T>(flags, T(a & b));
    }
};

template <class T>
constexpr T signBitOf = T(T(1) << (8 * sizeof(T) - 1));

// INC and DEC leave the carry flag alone.
struct Inc {
    template <class T>
    static T Do(Flags &flags, T a) {
        const T sum = T(a + 1);
        flags.SetResult<T>(sum);
        flags.SetCarryOverflow(flags.Carry(), sum == signBitOf<T>);
        flags.SetAux((sum & 15) == 0);
        return sum;
    }
};

struct Dec {
    template <class T>
    static T Do(Flags &flags, T a) {
        const T difference = T(a - 1);
        flags.SetResult<T>(difference);
        flags.SetCarryOverflow(flags.Carry(), a == signBitOf<T>);
        flags.SetAux((a & 15) == 0);
        return difference;
    }
};

struct Neg {
    template <class T>
    static T Do(Flags &flags, T a) {
        return flags.SetDifference<T>(T(0), a, T(T(0) - a));
    }
};

struct Not {
    template <class T>
    static T Do(Flags &, T a) {
        return T(~a);
    }
};

// Decimal adjustments: al and ah are bytes 0 and 1 of gpr.
constexpr uint8_t al = 0, ah = 1;

// Flags of DAA and DAS: zero, sign and parity of the result, overflow 0.
void SetDecimal(Cpu &cpu, uint8_t result, bool carry, bool aux) {
    Flags &flags = cpu.registers.flags;
    cpu.Set<uint8_t>(al, result);
    flags.SetLogic<uint8_t>(result);
    flags.SetCarry(carry);
    flags.SetAux(aux);
}

bool Daa(Cpu &cpu, const Instruction &) {
    const Flags &flags = cpu.registers.flags;
    const uint8_t old = cpu.Get<uint8_t>(al);
    uint8_t value = old;
    const bool aux = (old & 15) > 9 || flags.Aux();
    const bool carry = old > 0x99 || flags.Carry();
    if (aux) value = uint8_t(value + 6);
    if (carry) value = uint8_t(value + 0x60);
    SetDecimal(cpu, value, carry, aux);
    return true;
}

bool Das(Cpu &cpu, const Instruction &) {
    const Flags &flags = cpu.registers.flags;
    const uint8_t old = cpu.Get<uint8_t>(al);
    uint8_t value = old;
    const bool aux = (old & 15) > 9 || flags.Aux();
    const bool high = old > 0x99 || flags.Carry();
    const bool carry = high || (aux && old < 6);
    if (aux) value = uint8_t(value - 6);
    if (high) value = uint8_t(value - 0x60);
    SetDecimal(cpu, value, carry, aux);
    return true;
}

// AAA and AAS: the other flags are undefined and follow al.
bool AdjustAscii(Cpu &cpu, int direction) {
    Flags &flags = cpu.registers.flags;
    const bool adjusts = (cpu.Get<uint8_t>(al) & 15) > 9 || flags.Aux();
    if (adjusts) cpu.Set<uint16_t>(al, uint16_t(cpu.Get<uint16_t>(al) + direction * 0x106));
    cpu.Set<uint8_t>(al, cpu.Get<uint8_t>(al) & 15);
    flags.SetLogic<uint8_t>(cpu.Get<uint8_t>(al));
    flags.SetCarry(adjusts);
    flags.SetAux(adjusts);
    return true;
}

bool Aaa(Cpu &cpu, const Instruction &) { return AdjustAscii(cpu, 1); }

bool Aas(Cpu &cpu, const Instruction &) { return AdjustAscii(cpu, -1); }

bool Aam(Cpu &cpu, const Instruction &i) {
    const uint8_t base = uint8_t(i.immediate);
    if (base == 0) return cpu.Raise(vectorDivide);
    const uint8_t value = cpu.Get<uint8_t>(al);
    cpu.Set<uint8_t>(ah, uint8_t(value / base));
    cpu.Set<uint8_t>(al, uint8_t(value % base));
    cpu.registers.flags.SetLogic<uint8_t>(uint8_t(value % base));
    return true;
}

bool Aad(Cpu &cpu, const Instruction &i) {
    const uint8_t value = uint8_t(cpu.Get<uint8_t>(al) + cpu.Get<uint8_t>(ah) * uint8_t(i.immediate));
    cpu.Set<uint16_t>(al, value);
    cpu.registers.flags.SetLogic<uint8_t>(value);
    return true;
}

} // namespace

#define SABLE_FORMS(Op) {MakeTable<RmRegForm<Op>>(), MakeTable<RegRmForm<Op>>(), MakeTable<RmImmForm<Op>>()}
const ExecuteTable arithmetic[8][formCount] = {SABLE_FORMS(Add), SABLE_FORMS(Or),  SABLE_FORMS(Adc),
                                               SABLE_FORMS(Sbb), SABLE_FORMS(And), SABLE_FORMS(Sub),
                                               SABLE_FORMS(Xor), SABLE_FORMS(Cmp)};
#undef SABLE_FORMS
const ExecuteTable testRmReg = MakeTable<RmRegForm<Test>>();
const ExecuteTable testRmImm = MakeTable<RmImmForm<Test>>();
const ExecuteTable incRm = MakeTable<RmForm<Inc>>();
const ExecuteTable decRm = MakeTable<RmForm<Dec>>();
const ExecuteTable notRm = MakeTable<RmForm<Not>>();
const ExecuteTable negRm = MakeTable<RmForm<Neg>>();
const ExecuteTable adjustDaa = SameForAll(Daa);
const ExecuteTable adjustDas = SameForAll(Das);
const ExecuteTable adjustAaa = SameForAll(Aaa);
const ExecuteTable adjustAas = SameForAll(Aas);
const ExecuteTable adjustAam = SameForAll(Aam);
const ExecuteTable adjustAad = SameForAll(Aad);

} // namespace sable
