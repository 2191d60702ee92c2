#include "disasm/xed_disasm.h"

#include <algorithm>
#include <cstring>
#include <iterator>

extern "C" {
#include <xed/xed-interface.h>
}

#include "symbols/space.h"

namespace {

struct ModeRow {
    int32_t mode;
    xed_machine_mode_enum_t machineMode;
    xed_address_width_enum_t width;
};

/// Real mode and 16-bit protected mode share a machine mode; reading back gives the later row.
constexpr ModeRow modeRows[] = {
    {ktModeReal, XED_MACHINE_MODE_REAL_16, XED_ADDRESS_WIDTH_16b},
    {ktModeProtected16, XED_MACHINE_MODE_REAL_16, XED_ADDRESS_WIDTH_16b},
    {ktModeLegacy32, XED_MACHINE_MODE_LEGACY_32, XED_ADDRESS_WIDTH_32b},
    {ktModeLegacy16, XED_MACHINE_MODE_LEGACY_16, XED_ADDRESS_WIDTH_16b},
    {ktModeLong64, XED_MACHINE_MODE_LONG_64, XED_ADDRESS_WIDTH_64b},
    {ktModeCompat32, XED_MACHINE_MODE_LONG_COMPAT_32, XED_ADDRESS_WIDTH_32b},
    {ktModeCompat16, XED_MACHINE_MODE_LONG_COMPAT_16, XED_ADDRESS_WIDTH_16b},
};

struct RegisterRow {
    xed_reg_enum_t reg;
    uint32_t number;
};

constexpr RegisterRow registerRows[] = {
    {XED_REG_RAX, 1},  {XED_REG_RBX, 2},  {XED_REG_RCX, 3},  {XED_REG_RDX, 4},
    {XED_REG_RSI, 5},  {XED_REG_RDI, 6},  {XED_REG_RBP, 7},  {XED_REG_RSP, 8},
    {XED_REG_R8, 11},  {XED_REG_R9, 12},  {XED_REG_R10, 13}, {XED_REG_R11, 14},
    {XED_REG_R12, 15}, {XED_REG_R13, 16}, {XED_REG_R14, 17}, {XED_REG_R15, 18},
};

/// Room for the longest instruction text: XED's own buffer for a symbol has 512 bytes.
constexpr uint32_t fullTextSize = 1024;

void InitTables() {
    static const bool done = (xed_tables_init(), true);
    static_cast<void>(done);
}

/// Copies `text` with its terminator, cut to `size` bytes, which are not 0.
void CopyText(char *buffer, uint32_t size, const char *text, size_t length) {
    const size_t kept = std::min<size_t>(length, size - 1);
    std::memcpy(buffer, text, kept);
    buffer[kept] = 0;
}

uint8_t ModRmReg(uint8_t modRm) { return (modRm >> 3) & 7; }

} // namespace

ktXedDisasm::ktXedDisasm()
    : machineMode(XED_MACHINE_MODE_REAL_16), addressWidth(XED_ADDRESS_WIDTH_16b),
      stackAddressWidth(XED_ADDRESS_WIDTH_16b) {
    InitTables();
}

uint64_t ktXedDisasm::SetAddress(uint64_t newAddress) {
    const uint64_t old = address;
    address = newAddress;
    return old;
}

void ktXedDisasm::SetSpace(ktSpace *newSpace) {
    if (newSpace == space) return; // FindTarget tells a new space at an old address by its stamp
    space = newSpace;
    DropLookup();
}

bool ktXedDisasm::SetSyntax(uint32_t newSyntax) {
    syntax = newSyntax;
    return true;
}

uint32_t ktXedDisasm::GetMode() {
    const auto row =
        std::find_if(std::rbegin(modeRows), std::rend(modeRows),
                     [this](const ModeRow &candidate) { return candidate.machineMode == machineMode; });
    return row == std::rend(modeRows) ? ktModeReal : static_cast<uint32_t>(row->mode);
}

bool ktXedDisasm::SetMode(int32_t mode) {
    for (const ModeRow &row : modeRows) {
        if (row.mode != mode) continue;
        machineMode = row.machineMode;
        addressWidth = row.width;
        stackAddressWidth = row.width;
        return true;
    }
    return false;
}

bool ktXedDisasm::Decode(xed_decoded_inst_s &instruction, const uint8_t *code, uint64_t size) const {
    xed_state_t state;
    xed_state_init(&state, static_cast<xed_machine_mode_enum_t>(machineMode),
                   static_cast<xed_address_width_enum_t>(addressWidth),
                   static_cast<xed_address_width_enum_t>(stackAddressWidth));
    xed_decoded_inst_zero_set_mode(&instruction, &state);
    const auto used = static_cast<unsigned>(std::min<uint64_t>(size, XED_MAX_INSTRUCTION_BYTES));
    return xed_decode(&instruction, code, used) == XED_ERROR_NONE;
}

uint64_t ktXedDisasm::Disassemble(const uint8_t *code, uint64_t size, char *text, uint32_t textSize) {
    if (text && textSize > 0) text[0] = 0;
    xed_decoded_inst_t instruction;
    if (!Decode(instruction, code, size)) return 0;
    if (text && textSize > 0) Print(instruction, text, textSize);
    return xed_decoded_inst_get_length(&instruction);
}

void ktXedDisasm::Print(const xed_decoded_inst_s &instruction, char *text, uint32_t textSize) {
    if (syntax != ktSyntaxIntel && syntax != ktSyntaxAtt) return;
    // XED refuses short buffers and is not told to end a text that it cuts, so the caller's gets a copy.
    char full[fullTextSize];
    const xed_syntax_enum_t xedSyntax = syntax == ktSyntaxIntel ? XED_SYNTAX_INTEL : XED_SYNTAX_ATT;
    if (!xed_format_context(xedSyntax, &instruction, full, fullTextSize, address, this, NameTarget)) return;
    full[fullTextSize - 1] = 0;
    CopyText(text, textSize, full, std::strlen(full));
}

int ktXedDisasm::NameTarget(uint64_t target, char *buffer, uint32_t size, uint64_t *offset, void *self) {
    auto &disasm = *static_cast<ktXedDisasm *>(self);
    if (!disasm.FindTarget(target)) return 0;
    if (!disasm.format.Format(disasm.lookupResults.front())) return 0;
    *offset = 0; // the text has its own
    if (size == 0) return 0;
    CopyText(buffer, size, disasm.format.text.data(), disasm.format.text.size());
    return 1;
}

/// Brings `lookupResults` to `target`; false when there is no place to name. A move that fails keeps the
/// results, for a later target may lie in their module again.
bool ktXedDisasm::FindTarget(uint64_t target) {
    if (!space) return false;
    if (spaceStamp != space->RemovalStamp()) {
        DropLookup();
        spaceStamp = space->RemovalStamp();
    }
    if (lookupValid) return UpdateAll(*space, &lookupResults, target);
    lookupValid = FindByAddress(*space, lookupResults, target);
    return lookupValid;
}

void ktXedDisasm::DropLookup() {
    lookupResults.clear();
    lookupValid = false;
}

bool ktXedDisasm::IsConditionalJump(const uint8_t *code, uint64_t size) {
    if (size == 0) return false;
    if ((code[0] >= 0x70 && code[0] <= 0x7F) || code[0] == 0xE3) return true;
    return size >= 2 && code[0] == 0x0F && code[1] >= 0x80 && code[1] <= 0x8F;
}

/// Every instruction of the group 0xFF counts, the indirect call included.
bool ktXedDisasm::IsJump(const uint8_t *code, uint64_t size) {
    if (size == 0) return false;
    return (code[0] >= 0xE9 && code[0] <= 0xEB) || code[0] == 0xFF;
}

bool ktXedDisasm::IsCall(const uint8_t *code, uint64_t size) {
    if (size == 0) return false;
    if (code[0] == 0x9A || code[0] == 0xE8) return true;
    return size >= 2 && code[0] == 0xFF && (ModRmReg(code[1]) == 2 || ModRmReg(code[1]) == 3);
}

uint32_t ktXedDisasm::GetIndirectRegister(const uint8_t *code) {
    xed_decoded_inst_t instruction;
    if (!Decode(instruction, code, XED_MAX_INSTRUCTION_BYTES)) return 0;
    if (xed_iform_to_category(xed_decoded_inst_get_iform_enum(&instruction)) != XED_CATEGORY_CALL) return 0;
    const xed_inst_t *pattern = xed_decoded_inst_inst(&instruction);
    if (xed_inst_noperands(pattern) == 0) return 0;
    if (xed_operand_name(xed_inst_operand(pattern, 0)) != XED_OPERAND_REG0) return 0;
    const xed_reg_enum_t reg = xed_decoded_inst_get_reg(&instruction, XED_OPERAND_REG0);
    const auto row = std::find_if(std::begin(registerRows), std::end(registerRows),
                                  [reg](const RegisterRow &candidate) { return candidate.reg == reg; });
    return row == std::end(registerRows) ? 0 : row->number;
}
