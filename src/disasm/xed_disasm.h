#pragma once

#include "disasm/disasm.h"
#include "symbols/location_format.h"

struct xed_decoded_inst_s;

/// ktDisasm over Intel XED. A new one decodes 16-bit code until SetMode chooses.
class ktXedDisasm final : public ktDisasm {
public:
    /// Fills XED's tables once in the life of the process. Any thread.
    ktXedDisasm();

    uint64_t SetAddress(uint64_t newAddress) override;
    /// A space that dies must be taken away first, by null or another one.
    void SetSpace(ktSpace *newSpace) override;
    bool SetSyntax(uint32_t newSyntax) override;
    uint32_t GetSyntax() override { return syntax; }
    uint32_t GetArchitecture() override { return 0; }
    uint32_t GetMode() override;
    bool SetMode(int32_t mode) override;
    uint64_t Disassemble(const uint8_t *code, uint64_t size, char *text, uint32_t textSize) override;
    bool IsConditionalJump(const uint8_t *code, uint64_t size) override;
    bool IsJump(const uint8_t *code, uint64_t size) override;
    bool IsCall(const uint8_t *code, uint64_t size) override;
    uint32_t GetIndirectRegister(const uint8_t *code) override;

private:
    bool Decode(xed_decoded_inst_s &instruction, const uint8_t *code, uint64_t size) const;
    void Print(const xed_decoded_inst_s &instruction, char *text, uint32_t textSize);
    /// XED's callback: the name of a target, see xed_disassembly_callback_fn_t.
    static int NameTarget(uint64_t target, char *buffer, uint32_t size, uint64_t *offset, void *self);
    bool FindTarget(uint64_t target);
    void DropLookup();

    uint32_t syntax = ktSyntaxIntel;
    uint32_t machineMode;       ///< a xed_machine_mode_enum_t
    uint32_t addressWidth;      ///< bytes
    uint32_t stackAddressWidth; ///< bytes
    uint64_t address = 0;       ///< of the next instruction
    bool lookupValid = false;   ///< `lookupResults` can be moved to the next target
    ktSpace *space = nullptr;
    uint64_t spaceStamp = 0; ///< the space's when `lookupResults` were found
    ktLocationList lookupResults;
    ktLocationFormat format;
};
