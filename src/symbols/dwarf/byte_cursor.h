#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

static_assert(std::endian::native == std::endian::little, "numbers are copied as the file holds them");

/// Bounds-checked reading of little-endian bytes that somebody else keeps. A read past the end fails: it
/// gives 0, moves nothing, and Failed() stays true from then on.
class ktByteCursor {
public:
    ktByteCursor() = default;
    explicit ktByteCursor(std::span<const uint8_t> bytes)
        : begin(bytes.data()), next(bytes.data()), end(bytes.data() + bytes.size()) {}

    uint64_t Position() const { return static_cast<uint64_t>(next - begin); }
    uint64_t Remaining() const { return static_cast<uint64_t>(end - next); }
    bool IsAtEnd() const { return next == end; }
    bool Failed() const { return failed; }
    /// Also to be told of failures that lie in the meaning of what was read.
    void Fail() { failed = true; }

    /// Moves to an absolute position; the end itself is one. A seek beyond fails.
    bool Seek(uint64_t position) {
        if (position > static_cast<uint64_t>(end - begin)) return Refuse();
        next = begin + position;
        return true;
    }
    bool Skip(uint64_t distance) {
        if (distance > Remaining()) return Refuse();
        next += distance;
        return true;
    }

    uint8_t U8() { return Fixed<uint8_t>(); }
    uint16_t U16() { return Fixed<uint16_t>(); }
    uint32_t U32() { return Fixed<uint32_t>(); }
    uint64_t U64() { return Fixed<uint64_t>(); }
    /// A number of `size` bytes; more than 8 fail.
    uint64_t Number(uint64_t size) {
        uint64_t value = 0;
        if (size > sizeof value || size > Remaining()) {
            Refuse();
            return 0;
        }
        if (size != 0) std::memcpy(&value, next, size); // there may be no bytes at all
        next += size;
        return value;
    }
    /// The 4-or-8 field of the 32-bit and the 64-bit format.
    uint64_t Offset(bool is32) { return is32 ? U32() : U64(); }

    /// However long; what does not fit into 64 bits is dropped. Without an end before the end of the bytes it
    /// fails.
    uint64_t Uleb() {
        if (next != end && *next < 0x80) return *next++;
        uint64_t value = 0;
        uint32_t shift = 0;
        for (const uint8_t *byte = next; byte != end; ++byte) {
            if (shift < 64) value |= static_cast<uint64_t>(*byte & 0x7F) << shift;
            shift = shift < 64 ? shift + 7 : shift;
            if (*byte < 0x80) {
                next = byte + 1;
                return value;
            }
        }
        Refuse();
        return 0;
    }
    int64_t Sleb() {
        uint64_t value = 0;
        uint32_t shift = 0;
        for (const uint8_t *byte = next; byte != end; ++byte) {
            if (shift < 64) value |= static_cast<uint64_t>(*byte & 0x7F) << shift;
            shift = shift < 64 ? shift + 7 : shift;
            if (*byte < 0x80) {
                if (shift < 64 && (*byte & 0x40)) value |= ~uint64_t(0) << shift;
                next = byte + 1;
                return static_cast<int64_t>(value);
            }
        }
        Refuse();
        return 0;
    }
    void SkipLeb() {
        const uint8_t *byte = next;
        while (byte != end && *byte >= 0x80) ++byte;
        if (byte == end) {
            Refuse();
        } else {
            next = byte + 1;
        }
    }
    /// A zero-terminated string, the zero passed and not included; in the section it stands behind the text.
    std::string_view String() {
        const void *zero = next != end ? std::memchr(next, 0, Remaining()) : nullptr;
        if (!zero) {
            Refuse();
            return {};
        }
        const std::string_view text(reinterpret_cast<const char *>(next),
                                    static_cast<size_t>(static_cast<const uint8_t *>(zero) - next));
        next += text.size() + 1;
        return text;
    }

    /// The next `size` bytes as they are; empty past the end.
    std::string_view Text(uint64_t size) {
        const auto *text = reinterpret_cast<const char *>(next);
        return Skip(size) ? std::string_view(text, size) : std::string_view();
    }

private:
    template <class T>
    T Fixed() {
        T value = 0;
        if (Remaining() < sizeof value) {
            Refuse();
            return 0;
        }
        std::memcpy(&value, next, sizeof value);
        next += sizeof value;
        return value;
    }
    bool Refuse() {
        failed = true;
        return false;
    }

    const uint8_t *begin = nullptr;
    const uint8_t *next = nullptr;
    const uint8_t *end = nullptr;
    bool failed = false;
};
