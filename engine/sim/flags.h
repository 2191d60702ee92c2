#pragma once

#include <bit>
#include <cstdint>
#include <type_traits>

namespace sable {

enum FlagBit : uint32_t {
    flagCf = 1,
    flagOne = 2, ///< reads as 1 always
    flagPf = 4,
    flagAf = 0x10,
    flagZf = 0x40,
    flagSf = 0x80,
    flagTf = 0x100,
    flagIf = 0x200,
    flagDf = 0x400,
    flagOf = 0x800,
    flagIopl = 0x3000,
    flagNt = 0x4000,
    flagRf = 0x10000,
    flagVm = 0x20000,
    flagAc = 0x40000,
    flagVif = 0x80000,
    flagVip = 0x100000,
    flagId = 0x200000,
    flagsArithmetic = flagCf | flagPf | flagAf | flagZf | flagSf | flagOf
};

/// RFLAGS. The arithmetic flags are kept as what they are computed from, since most are never looked at.
class Flags {
public:
    uint32_t Get() const {
        return system | (Carry() ? flagCf : 0u) | (Parity() ? flagPf : 0u) | uint32_t(aux & flagAf) |
               (Zero() ? flagZf : 0u) | (Sign() ? flagSf : 0u) | (Overflow() ? flagOf : 0u);
    }
    void Set(uint32_t word) {
        system = (word & ~uint32_t(flagsArithmetic)) | flagOne;
        SetArithmetic(word);
    }
    void SetArithmetic(uint32_t word) {
        const bool zero = (word & flagZf) != 0;
        result = zero ? 0 : 1;
        const bool flipsParity = ((word & flagPf) != 0) != zero;
        mend = (word & flagSf ? signBit : 0) | (flipsParity ? 1 : 0);
        SetCarryOverflow((word & flagCf) != 0, (word & flagOf) != 0);
        aux = word & flagAf;
    }

    bool Carry() const { return carries >> 63 != 0; }
    bool Overflow() const { return ((carries ^ carries << 1) & signBit) != 0; }
    bool Zero() const { return result == 0; }
    bool Sign() const { return ((result ^ mend) & signBit) != 0; }
    bool Parity() const { return (std::popcount(uint8_t(result ^ mend)) & 1) == 0; }
    bool Aux() const { return (aux & flagAf) != 0; }
    bool Has(FlagBit systemFlag) const { return (system & systemFlag) != 0; }
    uint32_t Iopl() const { return system >> 12 & 3; }

    /// Condition code 0 to 15 of jcc, setcc and cmovcc.
    template <unsigned code>
    bool Test() const {
        bool holds = false;
        if constexpr (code >> 1 == 0) holds = Overflow();
        if constexpr (code >> 1 == 1) holds = Carry();
        if constexpr (code >> 1 == 2) holds = Zero();
        if constexpr (code >> 1 == 3) holds = Carry() || Zero();
        if constexpr (code >> 1 == 4) holds = Sign();
        if constexpr (code >> 1 == 5) holds = Parity();
        if constexpr (code >> 1 == 6) holds = Sign() != Overflow();
        if constexpr (code >> 1 == 7) holds = Zero() || Sign() != Overflow();
        return holds != ((code & 1) != 0);
    }

    /// Zero, sign and parity of `value`; carry, overflow and auxiliary stay.
    template <class T>
    void SetResult(T value) {
        result = uint64_t(int64_t(std::make_signed_t<T>(value)));
        mend = 0;
    }
    /// All six. `carry` has at each bit the carry (or borrow) out of it, `nibble` the carry into bit 4 there.
    template <class T>
    void SetAll(T value, T carry, T nibble) {
        SetResult(value);
        carries = uint64_t(carry) << (64 - 8 * sizeof(T));
        aux = nibble;
    }
    /// For `sum` of `a`, `b` and perhaps a carry; returns it.
    template <class T>
    T SetSum(T a, T b, T sum) {
        SetAll<T>(sum, T((a & b) | ((a | b) & ~sum)), T(a ^ b ^ sum));
        return sum;
    }
    /// For `difference` of `a` and `b` and perhaps a borrow; returns it.
    template <class T>
    T SetDifference(T a, T b, T difference) {
        SetAll<T>(difference, T((~a & b) | ((~a | b) & difference)), T(a ^ b ^ difference));
        return difference;
    }
    template <class T>
    void SetLogic(T value) {
        SetResult(value);
        carries = 0;
        aux = 0;
    }
    void SetCarryOverflow(bool carry, bool overflow) {
        carries = (carry ? signBit : 0) | (carry != overflow ? signBit >> 1 : 0);
    }
    void SetCarry(bool carry) { SetCarryOverflow(carry, Overflow()); }
    void SetAux(bool on) { aux = on ? flagAf : 0u; }
    void SetZero(bool zero) { SetArithmetic((Get() & ~uint32_t(flagZf)) | (zero ? flagZf : 0u)); }
    void SetSystem(FlagBit bit, bool on) { system = on ? system | bit : system & ~uint32_t(bit); }

private:
    static constexpr uint64_t signBit = uint64_t(1) << 63;

    uint64_t result = 1;       // zero flag: it is 0
    uint64_t mend = 0;         // sign and parity flag: of result ^ mend, so that any mix can be set
    uint64_t carries = 0;      // carry flag: bit 63; overflow: bit 63 differs from bit 62
    uint64_t aux = 0;          // auxiliary flag: bit 4
    uint32_t system = flagOne; // the flags that are not arithmetic
};

} // namespace sable
