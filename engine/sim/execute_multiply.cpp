#include "sim/execute_forms.h"

namespace sable {

namespace {

__extension__ using UInt128 = unsigned __int128;
__extension__ using Int128 = __int128;

template <class T>
struct Twice;
template <>
struct Twice<uint8_t> {
    using Unsigned = uint16_t;
    using Signed = int16_t;
};
template <>
struct Twice<uint16_t> {
    using Unsigned = uint32_t;
    using Signed = int32_t;
};
template <>
struct Twice<uint32_t> {
    using Unsigned = uint64_t;
    using Signed = int64_t;
};
template <>
struct Twice<uint64_t> {
    using Unsigned = UInt128;
    using Signed = Int128;
};

template <class T>
constexpr unsigned bitsOf = 8 * sizeof(T);

constexpr uint8_t raxOffset = 0, rdxOffset = 16;
// Bytes keep their upper half in ah.
template <class T>
constexpr uint8_t upperOffset = sizeof(T) == 1 ? 1 : rdxOffset;

// Zero, sign, parity and auxiliary are undefined after a multiplication; they stay.
void SetMultiplied(Cpu &cpu, bool isWide) { cpu.registers.flags.SetCarryOverflow(isWide, isWide); }

struct Mul {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        using Wide = typename Twice<T>::Unsigned;
        T source;
        if (!ReadRm<T, isMemory>(cpu, i, source)) return false;
        const Wide product = Wide(Wide(cpu.Get<T>(raxOffset)) * source);
        cpu.Set<T>(raxOffset, T(product));
        cpu.Set<T>(upperOffset<T>, T(product >> bitsOf<T>));
        SetMultiplied(cpu, T(product >> bitsOf<T>) != 0);
        return true;
    }
};

template <class T>
typename Twice<T>::Signed SignedProduct(T a, T b) {
    using Signed = std::make_signed_t<T>;
    using Wide = typename Twice<T>::Signed;
    return Wide(Wide(Signed(a)) * Signed(b));
}

struct Imul {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        using Wide = typename Twice<T>::Signed;
        T source;
        if (!ReadRm<T, isMemory>(cpu, i, source)) return false;
        const Wide product = SignedProduct<T>(cpu.Get<T>(raxOffset), source);
        cpu.Set<T>(raxOffset, T(product));
        cpu.Set<T>(upperOffset<T>, T(product >> bitsOf<T>));
        SetMultiplied(cpu, product != Wide(std::make_signed_t<T>(product)));
        return true;
    }
};

template <class T>
void SetTruncated(Cpu &cpu, const Instruction &i, T a, T b) {
    using Wide = typename Twice<T>::Signed;
    const Wide product = SignedProduct<T>(a, b);
    cpu.Set<T>(i.reg, T(product));
    SetMultiplied(cpu, product != Wide(std::make_signed_t<T>(product)));
}

struct ImulReg {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        T source;
        if (!ReadRm<T, isMemory>(cpu, i, source)) return false;
        SetTruncated<T>(cpu, i, cpu.Get<T>(i.reg), source);
        return true;
    }
};

struct ImulImm {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        T source;
        if (!ReadRm<T, isMemory>(cpu, i, source)) return false;
        SetTruncated<T>(cpu, i, source, T(i.immediate));
        return true;
    }
};

template <class T>
typename Twice<T>::Unsigned Dividend(const Cpu &cpu) {
    using Wide = typename Twice<T>::Unsigned;
    return Wide(Wide(Wide(cpu.Get<T>(upperOffset<T>)) << bitsOf<T>) | cpu.Get<T>(raxOffset));
}

template <class T>
void SetDivided(Cpu &cpu, T quotient, T remainder) {
    cpu.Set<T>(raxOffset, quotient);
    cpu.Set<T>(upperOffset<T>, remainder);
}

// All flags are undefined after a division; they stay.
struct Div {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        using Wide = typename Twice<T>::Unsigned;
        T divisor;
        if (!ReadRm<T, isMemory>(cpu, i, divisor)) return false;
        const Wide dividend = Dividend<T>(cpu);
        if (T(dividend >> bitsOf<T>) >= divisor) return cpu.Raise(vectorDivide); // also when it is 0
        SetDivided<T>(cpu, T(dividend / divisor), T(dividend % divisor));
        return true;
    }
};

struct Idiv {
    template <class T, bool isMemory>
    static bool Run(Cpu &cpu, const Instruction &i) {
        using Wide = typename Twice<T>::Unsigned;
        using SignedWide = typename Twice<T>::Signed;
        T divisor;
        if (!ReadRm<T, isMemory>(cpu, i, divisor)) return false;
        if (divisor == 0) return cpu.Raise(vectorDivide);
        // With magnitudes, since the smallest dividend has no negative.
        const Wide dividend = Dividend<T>(cpu);
        const bool isNegative = SignedWide(dividend) < 0;
        const bool divisorIsNegative = std::make_signed_t<T>(divisor) < 0;
        const Wide size = isNegative ? Wide(Wide(0) - dividend) : dividend;
        const Wide divisorSize = divisorIsNegative ? Wide(T(T(0) - divisor)) : Wide(divisor);
        const Wide quotient = Wide(size / divisorSize);
        const Wide remainder = Wide(size % divisorSize);
        const bool quotientIsNegative = isNegative != divisorIsNegative;
        const Wide limit = Wide(Wide(1) << (bitsOf<T> - 1));
        if (quotient > Wide(limit - (quotientIsNegative ? 0u : 1u))) return cpu.Raise(vectorDivide);
        SetDivided<T>(cpu, quotientIsNegative ? T(Wide(0) - quotient) : T(quotient),
                      isNegative ? T(Wide(0) - remainder) : T(remainder));
        return true;
    }
};

} // namespace

const ExecuteTable mulRm = MakeTable<Mul>();
const ExecuteTable imulRm = MakeTable<Imul>();
const ExecuteTable divRm = MakeTable<Div>();
const ExecuteTable idivRm = MakeTable<Idiv>();
const ExecuteTable imulRegRm = MakeTable<ImulReg>();
const ExecuteTable imulRegRmImm = MakeTable<ImulImm>();

} // namespace sable
