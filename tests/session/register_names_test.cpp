#include "session/register_names.h"

#include "session/context.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

namespace {

/// Every key that has a name, and the name.
const std::map<uint32_t, std::string> names = {
    {0, "rip"},
    {1, "cr3"},
    {2, "rsp"},
    {3, "rax"},
    {4, "rbx"},
    {5, "rcx"},
    {6, "rdx"},
    {7, "rsi"},
    {8, "rdi"},
    {9, "rbp"},
    {10, "rfl"},
    {11, "r8"},
    {12, "r9"},
    {13, "r10"},
    {14, "r11"},
    {15, "r12"},
    {16, "r13"},
    {17, "r14"},
    {18, "r15"},
    {19, "cs"},
    {20, "cs_access"},
    {21, "cs_base"},
    {22, "cs_limit"},
    {23, "ds"},
    {24, "ds_access"},
    {25, "ds_base"},
    {26, "ds_limit"},
    {27, "ss"},
    {28, "ss_access"},
    {29, "ss_base"},
    {30, "ss_limit"},
    {31, "es"},
    {32, "es_access"},
    {33, "es_base"},
    {34, "es_limit"},
    {35, "fs"},
    {36, "fs_access"},
    {37, "fs_base"},
    {38, "fs_limit"},
    {39, "gs"},
    {40, "gs_access"},
    {41, "gs_base"},
    {42, "gs_limit"},
    {43, "cr0"},
    {44, "cr2"},
    {45, "cr4"},
    {46, "cr8"},
    {47, "gdt_base"},
    {48, "gdt_limit"},
    {49, "idt_base"},
    {50, "idt_limit"},
    {51, "ldt"},
    {52, "ldt_access"},
    {53, "ldt_base"},
    {54, "ldt_limit"},
    {55, "tss"},
    {56, "tss_access"},
    {57, "tss_base"},
    {58, "tss_limit"},
    {59, "dr0"},
    {60, "dr1"},
    {61, "dr2"},
    {62, "dr3"},
    {63, "dr6"},
    {64, "dr7"},
    // Low 32 bits.
    {256, "eip"},
    {258, "esp"},
    {259, "eax"},
    {260, "ebx"},
    {261, "ecx"},
    {262, "edx"},
    {263, "esi"},
    {264, "edi"},
    {265, "ebp"},
    {266, "efl"},
    {267, "r8d"},
    {268, "r9d"},
    {269, "r10d"},
    {270, "r11d"},
    {271, "r12d"},
    {272, "r13d"},
    {273, "r14d"},
    {274, "r15d"},
    // Low 16 bits.
    {512, "ip"},
    {514, "sp"},
    {515, "ax"},
    {516, "bx"},
    {517, "cx"},
    {518, "dx"},
    {519, "si"},
    {520, "di"},
    {521, "bp"},
    {522, "fl"},
    {523, "r8w"},
    {524, "r9w"},
    {525, "r10w"},
    {526, "r11w"},
    {527, "r12w"},
    {528, "r13w"},
    {529, "r14w"},
    {530, "r15w"},
    // Low 8 bits.
    {1026, "spl"},
    {1027, "al"},
    {1028, "bl"},
    {1029, "cl"},
    {1030, "dl"},
    {1031, "sil"},
    {1032, "dil"},
    {1033, "bpl"},
    {1035, "r8b"},
    {1036, "r9b"},
    {1037, "r10b"},
    {1038, "r11b"},
    {1039, "r12b"},
    {1040, "r13b"},
    {1041, "r14b"},
    {1042, "r15b"},
    // Bits 8 to 15.
    {2051, "ah"},
    {2052, "bh"},
    {2053, "ch"},
    {2054, "dh"},
};

/// The labels that are not the name.
const std::map<uint32_t, std::string> labels = {
    {10, "rflags"},      {19, "CS Selector"}, {20, "CS Access"},   {21, "CS Base"},     {22, "CS Limit"},
    {23, "DS Selector"}, {24, "DS Access"},   {25, "DS Base"},     {26, "DS Limit"},    {27, "SS Selector"},
    {28, "SS Access"},   {29, "SS Base"},     {30, "SS Limit"},    {31, "ES Selector"}, {32, "ES Access"},
    {33, "ES Base"},     {34, "ES Limit"},    {35, "FS Selector"}, {36, "FS Access"},   {37, "FS Base"},
    {38, "FS Limit"},    {39, "GS Selector"}, {40, "GS Access"},   {41, "GS Base"},     {42, "GS Limit"},
    {47, "GDT Base"},    {48, "GDT Limit"},   {49, "IDT Base"},    {50, "IDT Limit"},   {51, "LDT Selector"},
    {52, "LDT Access"},  {53, "LDT Base"},    {54, "LDT Limit"},   {55, "TSS"},         {56, "TSS Access"},
    {57, "TSS Base"},    {58, "TSS Limit"},
};

constexpr uint32_t lastKey = 0x1FFFF; // far behind the last part

} // namespace

TEST(RegisterNames, EveryKeyHasItsNameAndEveryGapIsUnknown) {
    for (uint32_t key = 0; key <= lastKey; ++key) {
        const auto row = names.find(key);
        ASSERT_EQ(row == names.end() ? "Unknown" : row->second, ktRegisterName(key)) << key;
    }
}

TEST(RegisterNames, EveryKeyHasItsLabelAndTheRestIsTheName) {
    for (uint32_t key = 0; key <= lastKey; ++key) {
        const auto row = labels.find(key);
        ASSERT_EQ(row == labels.end() ? ktRegisterName(key) : row->second, ktRegisterLabel(key)) << key;
    }
}

TEST(RegisterNames, PartsFollowTheRegistersIndex) {
    EXPECT_STREQ(ktRegisterName(ktRegSp + ktRegPartLow16), "sp");
    EXPECT_STREQ(ktRegisterName(3 + ktRegPartLow32), "eax");
    EXPECT_STREQ(ktRegisterName(3 + ktRegPartLow8), "al");
    EXPECT_STREQ(ktRegisterName(3 + ktRegPartHigh8), "ah");
    EXPECT_STREQ(ktRegisterName(3 + ktRegWhole), "rax");
}

TEST(RegisterNames, GapsAreUnknown) {
    for (const uint32_t key : {65u, 255u, 257u, 275u, 513u, 531u, 1024u, 1025u, 1034u, 1043u, 2048u, 2050u,
                               2055u, 0x300u, 0x303u, 0x403u + 0x800u, 0x1003u, 0x10003u, 0xFFFFFFFFu}) {
        EXPECT_STREQ(ktRegisterName(key), "Unknown") << key;
        EXPECT_STREQ(ktRegisterLabel(key), "Unknown") << key;
    }
}

TEST(RegisterNames, NoNameStandsForTwoKeys) {
    std::set<std::string> seen;
    for (const auto &row : names) EXPECT_TRUE(seen.insert(row.second).second) << row.second;
    EXPECT_EQ(names.size(), 65u + 18 + 18 + 16 + 4);
}
