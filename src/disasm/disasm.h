#pragma once

#include <cstdint>

class ktSpace;

enum ktDisasmSyntax : uint32_t { ktSyntaxIntel = 1, ktSyntaxAtt = 2 };

/// Processor modes as the target's context reports them; 2 is not in use.
enum ktProcessorMode : uint32_t {
    ktModeUnknown = 0,
    ktModeReal = 1,
    ktModeProtected16 = 3, ///< treated as real
    ktModeLegacy32 = 4,
    ktModeLegacy16 = 5,
    ktModeLong64 = 6,
    ktModeCompat32 = 7,
    ktModeCompat16 = 8,
};

/// Turns instruction bytes into text. Not thread-safe: its users take turns, and set mode and
/// address before each use.
class ktDisasm {
public:
    virtual ~ktDisasm() = default;
    /// Runtime address of the next instruction; returns the old one.
    virtual uint64_t SetAddress(uint64_t address) = 0;
    /// Space whose symbols label targets, null for none; a change clears the lookup cache.
    virtual void SetSpace(ktSpace *space) = 0;
    /// 1 Intel, 2 AT&T; any other value makes no text. Always true.
    virtual bool SetSyntax(uint32_t syntax) = 0;
    virtual uint32_t GetSyntax() = 0;
    /// Always 0.
    virtual uint32_t GetArchitecture() = 0;
    virtual uint32_t GetMode() = 0;
    /// False, without effect, outside 1 to 8 and for 2.
    virtual bool SetMode(int32_t mode) = 0;
    /// Length in bytes of the instruction at `code`, 0 when the bytes do not decode. Its text goes to
    /// `text`, which may be null, as a terminated string of at most `textSize` bytes.
    virtual uint64_t Disassemble(const uint8_t *code, uint64_t size, char *text, uint32_t textSize) = 0;
    virtual bool IsConditionalJump(const uint8_t *code, uint64_t size) = 0;
    virtual bool IsJump(const uint8_t *code, uint64_t size) = 0;
    virtual bool IsCall(const uint8_t *code, uint64_t size) = 0;
    /// Number of the 64-bit register that an indirect call goes through, 0 for none. `code` has 16 bytes.
    virtual uint32_t GetIndirectRegister(const uint8_t *code) = 0;
};
