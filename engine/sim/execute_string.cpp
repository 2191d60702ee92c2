// String instructions and ports. Each round of a repeated instruction is complete when the next begins, so
// that a fault or an interrupt in the middle leaves registers with which it goes on.
#include "sim/execute_forms.h"

namespace sable {

namespace {

constexpr uint8_t rax = gprRax * 8, rdx = gprRdx * 8;

uint64_t Index(const Cpu &cpu, const Instruction &i, Gpr slot) {
    return cpu.registers.gpr[slot] & Cpu::widthMask[i.addressWidth];
}

void SetIndex(Cpu &cpu, const Instruction &i, Gpr slot, uint64_t value) {
    const uint8_t offset = uint8_t(slot * 8);
    if (i.addressWidth == width16) cpu.Set<uint16_t>(offset, uint16_t(value));
    if (i.addressWidth == width32) cpu.Set<uint32_t>(offset, uint32_t(value));
    if (i.addressWidth == width64) cpu.Set<uint64_t>(offset, value);
}

void Advance(Cpu &cpu, const Instruction &i, Gpr slot, unsigned bytes) {
    const uint64_t step = cpu.registers.flags.Has(flagDf) ? uint64_t(0) - bytes : bytes;
    SetIndex(cpu, i, slot, cpu.registers.gpr[slot] + step);
}

// A Round executes once; Round::compares says that the zero flag may end the repetition.
template <class Round>
struct StringForm {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &i) {
        if ((i.prefixes & (prefixRepeat | prefixRepeatNot)) == 0) return Round::template Once<T>(cpu, i);
        uint64_t count = Index(cpu, i, gprRcx);
        for (unsigned rounds = cpu.RoundLimit(); count != 0; --rounds) {
            if (rounds == 0 || cpu.IsBlockCut()) return cpu.LeaveRepeating(i);
            if (!Round::template Once<T>(cpu, i)) return false;
            SetIndex(cpu, i, gprRcx, --count);
            const bool wantsZero = (i.prefixes & prefixRepeat) != 0;
            if (Round::compares && cpu.registers.flags.Zero() != wantsZero) break;
        }
        return true;
    }
};

struct Movs {
    static constexpr bool compares = false;
    template <class T>
    static bool Once(Cpu &cpu, const Instruction &i) {
        T value;
        if (!cpu.Load<T>(i.segment, Index(cpu, i, gprRsi), value)) return false;
        if (!cpu.Store<T>(segEs, Index(cpu, i, gprRdi), value)) return false;
        Advance(cpu, i, gprRsi, sizeof(T));
        Advance(cpu, i, gprRdi, sizeof(T));
        return true;
    }
};

struct Cmps {
    static constexpr bool compares = true;
    template <class T>
    static bool Once(Cpu &cpu, const Instruction &i) {
        T left, right;
        if (!cpu.Load<T>(i.segment, Index(cpu, i, gprRsi), left)) return false;
        if (!cpu.Load<T>(segEs, Index(cpu, i, gprRdi), right)) return false;
        Advance(cpu, i, gprRsi, sizeof(T));
        Advance(cpu, i, gprRdi, sizeof(T));
        cpu.registers.flags.SetDifference<T>(left, right, T(left - right));
        return true;
    }
};

struct Stos {
    static constexpr bool compares = false;
    template <class T>
    static bool Once(Cpu &cpu, const Instruction &i) {
        if (!cpu.Store<T>(segEs, Index(cpu, i, gprRdi), cpu.Get<T>(rax))) return false;
        Advance(cpu, i, gprRdi, sizeof(T));
        return true;
    }
};

struct Lods {
    static constexpr bool compares = false;
    template <class T>
    static bool Once(Cpu &cpu, const Instruction &i) {
        T value;
        if (!cpu.Load<T>(i.segment, Index(cpu, i, gprRsi), value)) return false;
        cpu.Set<T>(rax, value);
        Advance(cpu, i, gprRsi, sizeof(T));
        return true;
    }
};

struct Scas {
    static constexpr bool compares = true;
    template <class T>
    static bool Once(Cpu &cpu, const Instruction &i) {
        T value;
        if (!cpu.Load<T>(segEs, Index(cpu, i, gprRdi), value)) return false;
        Advance(cpu, i, gprRdi, sizeof(T));
        const T wanted = cpu.Get<T>(rax);
        cpu.registers.flags.SetDifference<T>(wanted, value, T(wanted - value));
        return true;
    }
};

// Ports have up to 4 bytes; with REX.W they are still read as 4.
template <class T>
constexpr unsigned portSize = sizeof(T) > 4 ? 4 : sizeof(T);

uint16_t PortInDx(const Cpu &cpu) { return cpu.Get<uint16_t>(rdx); }

template <class T>
bool In(Cpu &cpu, uint16_t port) {
    if (!cpu.CheckPort(port, portSize<T>)) return false;
    const uint32_t value = cpu.GetBus().ReadPort(cpu.Core(), port, portSize<T>);
    if constexpr (sizeof(T) < 4) {
        cpu.Set<T>(rax, T(value));
    } else {
        cpu.Set<uint32_t>(rax, value);
    }
    return true;
}

template <class T>
bool Out(Cpu &cpu, uint16_t port) {
    if (!cpu.CheckPort(port, portSize<T>)) return false;
    cpu.GetBus().WritePort(cpu.Core(), port, portSize<T>, uint32_t(cpu.Get<T>(rax)));
    return true;
}

// The destination is checked before the port is read, since reading may change the device.
struct Ins {
    static constexpr bool compares = false;
    template <class T>
    static bool Once(Cpu &cpu, const Instruction &i) {
        using Word = std::conditional_t<(sizeof(T) > 4), uint32_t, T>;
        if (!cpu.CheckPort(PortInDx(cpu), sizeof(Word))) return false;
        OperandPlace place;
        Word old;
        if (!cpu.Open<Word>(segEs, Index(cpu, i, gprRdi), place, old)) return false;
        cpu.Close<Word>(place, Word(cpu.GetBus().ReadPort(cpu.Core(), PortInDx(cpu), sizeof(Word))));
        Advance(cpu, i, gprRdi, sizeof(Word));
        return true;
    }
};

struct Outs {
    static constexpr bool compares = false;
    template <class T>
    static bool Once(Cpu &cpu, const Instruction &i) {
        using Word = std::conditional_t<(sizeof(T) > 4), uint32_t, T>;
        if (!cpu.CheckPort(PortInDx(cpu), sizeof(Word))) return false;
        Word value;
        if (!cpu.Load<Word>(i.segment, Index(cpu, i, gprRsi), value)) return false;
        cpu.GetBus().WritePort(cpu.Core(), PortInDx(cpu), sizeof(Word), value);
        Advance(cpu, i, gprRsi, sizeof(Word));
        return true;
    }
};

struct InImm {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return In<T>(cpu, uint8_t(i.immediate));
    }
};

struct InDx {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &) {
        return In<T>(cpu, PortInDx(cpu));
    }
};

struct OutImm {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return Out<T>(cpu, uint8_t(i.immediate));
    }
};

struct OutDx {
    template <class T>
    static bool Run(Cpu &cpu, const Instruction &) {
        return Out<T>(cpu, PortInDx(cpu));
    }
};

} // namespace

const ExecuteTable movs = MakeRegisterTable<StringForm<Movs>>();
const ExecuteTable cmps = MakeRegisterTable<StringForm<Cmps>>();
const ExecuteTable stos = MakeRegisterTable<StringForm<Stos>>();
const ExecuteTable lods = MakeRegisterTable<StringForm<Lods>>();
const ExecuteTable scas = MakeRegisterTable<StringForm<Scas>>();
const ExecuteTable ins = MakeRegisterTable<StringForm<Ins>>();
const ExecuteTable outs = MakeRegisterTable<StringForm<Outs>>();
const ExecuteTable inImm = MakeRegisterTable<InImm>();
const ExecuteTable inDx = MakeRegisterTable<InDx>();
const ExecuteTable outImm = MakeRegisterTable<OutImm>();
const ExecuteTable outDx = MakeRegisterTable<OutDx>();

} // namespace sable
