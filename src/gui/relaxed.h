#pragma once

#include <array>
#include <atomic>
#include <cstddef>

/// A field that the main thread writes while the render thread reads it, or the other way round. Each access
/// is whole; nothing is said about the order of two fields: a frame drawn from half of a change is followed
/// by the next one, which shows all of it.
template <class T>
class ktRelaxed {
public:
    constexpr ktRelaxed() = default;
    constexpr ktRelaxed(T initial) : value(initial) {} // a plain value serves wherever the field is set
    ktRelaxed(const ktRelaxed &) = delete;
    ktRelaxed &operator=(const ktRelaxed &) = delete;
    ktRelaxed &operator=(T newValue) {
        value.store(newValue, std::memory_order_relaxed);
        return *this;
    }
    operator T() const { return Get(); }
    T Get() const { return value.load(std::memory_order_relaxed); }
    T operator->() const { return Get(); }

private:
    std::atomic<T> value{};
};

/// A text of at most Size - 1 bytes that one thread writes while another reads it.
template <size_t Size>
class ktSharedText {
public:
    constexpr ktSharedText() = default;
    ktSharedText(const ktSharedText &) = delete;
    ktSharedText &operator=(const ktSharedText &) = delete;

    char operator[](size_t index) const { return bytes[index].load(std::memory_order_relaxed); }
    void SetByte(size_t index, char byte) { bytes[index].store(byte, std::memory_order_relaxed); }
    /// Takes the first Size - 1 bytes of `text` at most; the rest of the buffer is left alone.
    void Set(const char *text) {
        size_t at = 0;
        for (; at + 1 < Size && text[at] != 0; ++at) SetByte(at, text[at]);
        SetByte(at, 0);
    }
    /// Fills `out`, which is terminated even when a writer is at work.
    void CopyTo(std::array<char, Size> &out) const {
        for (size_t at = 0; at < Size; ++at) out[at] = (*this)[at];
        out[Size - 1] = 0;
    }
    std::array<char, Size> Copy() const {
        std::array<char, Size> out;
        CopyTo(out);
        return out;
    }

private:
    std::array<std::atomic<char>, Size> bytes{};
};
