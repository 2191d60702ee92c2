#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string_view>
#include <utility>
#include <vector>

/// Memory that is handed out in pieces and goes as a whole. What is made in it is not destroyed one by one.
/// One thread at a time.
class ktArena {
public:
    ktArena() = default;
    ktArena(const ktArena &) = delete;
    ktArena &operator=(const ktArena &) = delete;

    /// Uninitialised; throws std::bad_alloc without memory.
    void *Allocate(size_t size, size_t alignment) {
        const size_t pad = (alignment - reinterpret_cast<uintptr_t>(next)) % alignment;
        if (size + pad > static_cast<size_t>(end - next)) return AllocateInNewBlock(size);
        void *place = next + pad;
        next += pad + size;
        return place;
    }
    template <class T, class... Arguments>
    T *Make(Arguments &&...arguments) {
        return new (Allocate(sizeof(T), alignof(T))) T(std::forward<Arguments>(arguments)...);
    }
    template <class T>
    T *MakeArray(size_t count) {
        // NOLINTNEXTLINE(bugprone-sizeof-expression): arrays of pointers are meant as well
        return static_cast<T *>(Allocate(count * sizeof(T), alignof(T)));
    }
    /// A terminated copy.
    const char *CopyText(std::string_view text) {
        char *copy = MakeArray<char>(text.size() + 1);
        text.copy(copy, text.size());
        copy[text.size()] = 0;
        return copy;
    }
    /// Bytes of memory that it holds.
    size_t MemoryBytes() const { return held; }

private:
    static constexpr size_t firstBlock = 4096;
    static constexpr size_t largestBlock = size_t(256) * 1024;

    void *AllocateInNewBlock(size_t size);

    std::vector<std::unique_ptr<std::byte[]>> blocks;
    std::byte *next = nullptr;
    std::byte *end = nullptr;
    size_t held = 0;
};
