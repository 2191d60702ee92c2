#pragma once

#include <cstddef>
#include <cstdint>

/// Executes bytes on the processor that the tests run on, to compare it with the simulated one.
class NativeCode {
public:
    struct State {
        uint64_t gpr[16]; ///< rax, rcx, rdx, rbx, rsp, rbp, rsi, rdi, r8 to r15
        uint64_t flags;   ///< only arithmetic flags and DF are taken
    };

    /// What runs these tests is x86-64 Linux; elsewhere nothing can be executed.
#if defined(__x86_64__) && defined(__linux__)
    static constexpr bool isPossible = true;
#else
    static constexpr bool isPossible = false;
#endif
    static constexpr uint64_t codeAddress = 0x10100000; ///< where the bytes are executed
    static constexpr uint64_t dataAddress = 0x10000000; ///< dataSize bytes that they may use
    static constexpr size_t dataSize = 0x4000;

    NativeCode();
    ~NativeCode();
    NativeCode(const NativeCode &) = delete;
    NativeCode &operator=(const NativeCode &) = delete;

    /// False when it is not possible, or memory could not be had.
    bool IsThere() const { return code != nullptr; }
    uint8_t *Data() { return data; }
    /// Executes `size` bytes, up to 64, and what they jump to; the last of them goes on to the end of Run.
    /// The bytes must not fault.
    void Run(const uint8_t *bytes, size_t size, State &state);

private:
    uint8_t *code = nullptr;
    uint8_t *data = nullptr;
};
