#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

/// A terminated string in one word, which may be null: a private copy, or a text that was lent.
class ktOwnedText {
public:
    ktOwnedText() = default;
    ktOwnedText(ktOwnedText &&other) noexcept : word(std::exchange(other.word, 0)) {}
    ktOwnedText &operator=(ktOwnedText &&other) noexcept {
        std::swap(word, other.word);
        return *this;
    }
    ~ktOwnedText() {
        if (word & ownedBit) Free();
    }

    const char *Get() const { return reinterpret_cast<const char *>(word & ~ownedBit); }
    /// Replaces the text by a private copy; for null, and without memory, the old text stays and the
    /// result is false. `source` may be this text or a part of it.
    bool Assign(const char *source);
    /// The same for `source` as it is, which may lack a terminator.
    bool Assign(std::string_view source);
    /// Refers to `lasting` from now on, without a copy: it outlives this object.
    void Lend(const char *lasting) {
        if (word & ownedBit) Free();
        word = reinterpret_cast<uintptr_t>(lasting);
    }

private:
    // Above every address that a process can have.
    static constexpr uintptr_t ownedBit = uintptr_t(1) << 63;

    void Free();

    uintptr_t word = 0;
};
