#include "session/register_names.h"

#include "session/context.h"

#include <iterator>

namespace {

/// A register and its parts; null for a part that has no name, and for a label that is the name.
struct Row {
    const char *name;
    const char *label = nullptr;
    const char *low32 = nullptr;
    const char *low16 = nullptr;
    const char *low8 = nullptr;
    const char *high8 = nullptr;
};

// By index. The instruction pointer has no byte, cr3 no parts, the flags no byte.
constexpr Row rows[] = {
    {"rip", nullptr, "eip", "ip"},
    {"cr3"},
    {"rsp", nullptr, "esp", "sp", "spl"},
    {"rax", nullptr, "eax", "ax", "al", "ah"},
    {"rbx", nullptr, "ebx", "bx", "bl", "bh"},
    {"rcx", nullptr, "ecx", "cx", "cl", "ch"},
    {"rdx", nullptr, "edx", "dx", "dl", "dh"},
    {"rsi", nullptr, "esi", "si", "sil"},
    {"rdi", nullptr, "edi", "di", "dil"},
    {"rbp", nullptr, "ebp", "bp", "bpl"},
    {"rfl", "rflags", "efl", "fl"},
    {"r8", nullptr, "r8d", "r8w", "r8b"},
    {"r9", nullptr, "r9d", "r9w", "r9b"},
    {"r10", nullptr, "r10d", "r10w", "r10b"},
    {"r11", nullptr, "r11d", "r11w", "r11b"},
    {"r12", nullptr, "r12d", "r12w", "r12b"},
    {"r13", nullptr, "r13d", "r13w", "r13b"},
    {"r14", nullptr, "r14d", "r14w", "r14b"},
    {"r15", nullptr, "r15d", "r15w", "r15b"},
    {"cs", "CS Selector"},
    {"cs_access", "CS Access"},
    {"cs_base", "CS Base"},
    {"cs_limit", "CS Limit"},
    {"ds", "DS Selector"},
    {"ds_access", "DS Access"},
    {"ds_base", "DS Base"},
    {"ds_limit", "DS Limit"},
    {"ss", "SS Selector"},
    {"ss_access", "SS Access"},
    {"ss_base", "SS Base"},
    {"ss_limit", "SS Limit"},
    {"es", "ES Selector"},
    {"es_access", "ES Access"},
    {"es_base", "ES Base"},
    {"es_limit", "ES Limit"},
    {"fs", "FS Selector"},
    {"fs_access", "FS Access"},
    {"fs_base", "FS Base"},
    {"fs_limit", "FS Limit"},
    {"gs", "GS Selector"},
    {"gs_access", "GS Access"},
    {"gs_base", "GS Base"},
    {"gs_limit", "GS Limit"},
    {"cr0"},
    {"cr2"},
    {"cr4"},
    {"cr8"},
    {"gdt_base", "GDT Base"},
    {"gdt_limit", "GDT Limit"},
    {"idt_base", "IDT Base"},
    {"idt_limit", "IDT Limit"},
    {"ldt", "LDT Selector"},
    {"ldt_access", "LDT Access"},
    {"ldt_base", "LDT Base"},
    {"ldt_limit", "LDT Limit"},
    {"tss", "TSS"},
    {"tss_access", "TSS Access"},
    {"tss_base", "TSS Base"},
    {"tss_limit", "TSS Limit"},
    {"dr0"},
    {"dr1"},
    {"dr2"},
    {"dr3"},
    {"dr6"},
    {"dr7"},
};
static_assert(std::size(rows) == ktRegisterCount);

constexpr char unknown[] = "Unknown";

const char *PartName(const Row &row, uint32_t part) {
    switch (part) {
    case ktRegPartLow32:
        return row.low32;
    case ktRegPartLow16:
        return row.low16;
    case ktRegPartLow8:
        return row.low8;
    case ktRegPartHigh8:
        return row.high8;
    default:
        return nullptr;
    }
}

const char *NameOfPart(uint32_t key) {
    const uint32_t index = key & 0xFF;
    const char *name = index < std::size(rows) ? PartName(rows[index], key - index) : nullptr;
    return name ? name : unknown;
}

} // namespace

const char *ktRegisterName(uint32_t key) { return key < std::size(rows) ? rows[key].name : NameOfPart(key); }

const char *ktRegisterLabel(uint32_t key) {
    return key < std::size(rows) && rows[key].label ? rows[key].label : ktRegisterName(key);
}
