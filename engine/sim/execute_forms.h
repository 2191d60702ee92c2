#pragma once

#include "sim/cpu_memory.h"
#include "sim/execute.h"

/// Building blocks of operations. An operation `Op` is a class with Op::Do<T>; `Form::Run<T, isMemory>` wraps
/// it with its operands and becomes eight functions of an ExecuteTable.
namespace sable {

template <class Form>
constexpr ExecuteTable MakeTable() {
    return {{{&Form::template Run<uint8_t, false>, &Form::template Run<uint16_t, false>,
              &Form::template Run<uint32_t, false>, &Form::template Run<uint64_t, false>},
             {&Form::template Run<uint8_t, true>, &Form::template Run<uint16_t, true>,
              &Form::template Run<uint32_t, true>, &Form::template Run<uint64_t, true>}}};
}

/// For what looks at Instruction::width itself, or does not care.
constexpr ExecuteTable SameForAll(Execute execute) {
    return {{{execute, execute, execute, execute}, {execute, execute, execute, execute}}};
}

/// For operations without a memory operand that depend on the width.
template <class Form>
constexpr ExecuteTable MakeRegisterTable() {
    constexpr Execute byte = &Form::template Run<uint8_t>, word = &Form::template Run<uint16_t>;
    constexpr Execute dword = &Form::template Run<uint32_t>, qword = &Form::template Run<uint64_t>;
    return {{{byte, word, dword, qword}, {byte, word, dword, qword}}};
}

template <class T, bool isMemory>
bool ReadRm(Cpu &cpu, const Instruction &i, T &value) {
    if constexpr (isMemory) {
        return cpu.Load<T>(i.segment, cpu.Offset(i), value);
    } else {
        value = cpu.Get<T>(i.rm);
        return true;
    }
}

template <class T, bool isMemory>
bool WriteRm(Cpu &cpu, const Instruction &i, T value) {
    if constexpr (isMemory) {
        return cpu.Store<T>(i.segment, cpu.Offset(i), value);
    } else {
        cpu.Set<T>(i.rm, value);
        return true;
    }
}

/// The same for functions that are not made per operand.
template <class T>
bool ReadRm(Cpu &cpu, const Instruction &i, T &value) {
    return i.isMemory ? ReadRm<T, true>(cpu, i, value) : ReadRm<T, false>(cpu, i, value);
}

/// rm = change(rm); change may set flags, since nothing can fail after it.
template <class T, bool isMemory, class Change>
bool ChangeRm(Cpu &cpu, const Instruction &i, const Change &change) {
    if constexpr (isMemory) {
        OperandPlace place;
        T value;
        if (!cpu.Open<T>(i.segment, cpu.Offset(i), place, value)) return false;
        cpu.Close<T>(place, change(value));
    } else {
        cpu.Set<T>(i.rm, change(cpu.Get<T>(i.rm)));
    }
    return true;
}

/// rm = Op(rm, source); an Op with `writes` false only sets flags.
template <class Op, class T, bool isMemory>
bool Combine(Cpu &cpu, const Instruction &i, T source) {
    if constexpr (Op::writes) {
        return ChangeRm<T, isMemory>(
            cpu, i, [&](T value) { return Op::template Do<T>(cpu.registers.flags, value, source); });
    } else {
        T value;
        if (!ReadRm<T, isMemory>(cpu, i, value)) return false;
        Op::template Do<T>(cpu.registers.flags, value, source);
        return true;
    }
}

template <class Op>
struct RmRegForm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return Combine<Op, T, isMemory>(cpu, i, cpu.Get<T>(i.reg));
    }
};

template <class Op>
struct RmImmForm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return Combine<Op, T, isMemory>(cpu, i, T(i.immediate));
    }
};

template <class Op>
struct RegRmForm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        T source;
        if (!ReadRm<T, isMemory>(cpu, i, source)) return false;
        const T result = Op::template Do<T>(cpu.registers.flags, cpu.Get<T>(i.reg), source);
        if constexpr (Op::writes) cpu.Set<T>(i.reg, result);
        return true;
    }
};

template <class Op>
struct RmForm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        return ChangeRm<T, isMemory>(cpu, i,
                                     [&](T value) { return Op::template Do<T>(cpu.registers.flags, value); });
    }
};

} // namespace sable
