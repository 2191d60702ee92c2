#pragma once

#include <cstdint>

class ktObject;

/// One word that refers to a type: none (0), an object (positive), or an entry of the debug
/// information that is not resolved yet (negative: top bit set, the low 63 bits its offset).
/// It owns nothing by itself: SetObject and Clear of the fields that own a reference are the
/// business of their class.
class ktTypeRef {
public:
    bool IsNone() const { return word == 0; }
    bool IsUnresolved() const { return word < 0; }
    /// The object; null for none and while unresolved. T is what the field's class stores.
    ktObject *Object() const { return word > 0 ? reinterpret_cast<ktObject *>(word) : nullptr; }
    /// Offset of the unresolved entry.
    uint64_t Offset() const { return static_cast<uint64_t>(word) & ~topBit; }
    int64_t Word() const { return word; }

    void SetOffset(uint64_t offset) { word = static_cast<int64_t>(offset | topBit); }
    void SetObject(ktObject *object) { word = reinterpret_cast<int64_t>(object); }
    void Clear() { word = 0; }
    /// Becomes none and hands what Object() gave to the caller.
    ktObject *Detach() {
        ktObject *object = Object();
        Clear();
        return object;
    }
    /// Becomes none and drops the reference to the object that stood here, for fields that own one.
    void Release();

private:
    static constexpr uint64_t topBit = uint64_t(1) << 63;

    int64_t word = 0;
};
