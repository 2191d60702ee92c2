#include "views/disasm_names.h"

#include <gtest/gtest.h>

#include <string>

#include "session/register_names.h"
#include "support/drawn_runs.h"
#include "support/test_font.h"

namespace {

class DisasmNames : public testing::Test {
protected:
    ktColor ColorOf(std::string_view token) const {
        ktColor color = plain;
        names.FindColor(token, color);
        return color;
    }

    static constexpr ktColor plain = ktColorFrom(0xFF123456);
    ktDisasmNames names;
};

TEST_F(DisasmNames, RegistersOfAllWidthsAreKnown) {
    for (const char *name :
         {"rip", "rsp", "rax", "eax", "ax",  "al",  "ah",  "bh",   "ch",   "dh",      "spl",       "sil",
          "dil", "bpl", "r8",  "r8d", "r8w", "r8b", "r15", "r15d", "r15w", "r15b",    "cs",        "gs",
          "cr0", "cr3", "dr0", "dr7", "eip", "ip",  "rfl", "efl",  "fl",   "cs_base", "idt_limit", "tss"})
        EXPECT_EQ(ColorOf(name), ktColorRegister) << name;
}

TEST_F(DisasmNames, ThereIsOneForEachNamedRegisterPart) {
    uint64_t named = 0;
    for (uint32_t key = 0; key < 0x900; ++key) {
        const std::string name = ktRegisterName(key);
        if (name == "Unknown") continue;
        ++named;
        EXPECT_EQ(ColorOf(name), ktColorRegister) << name;
    }
    EXPECT_EQ(names.register_names.KeyCount(), named);
    EXPECT_EQ(named, 65u + 18 + 18 + 16 + 4); // whole, low 32 bits, low 16, low 8, bits 8 to 15
}

TEST_F(DisasmNames, TheNameOfGapsIsNoRegister) { EXPECT_EQ(ColorOf("Unknown"), plain); }

TEST_F(DisasmNames, BranchesAreKnown) {
    const char *const branches[] = {
        "jmp",   "je",    "jz",    "jne",      "jnz",     "ja",      "jnbe",  "jae",  "jnb", "jb",   "jnae",
        "jbe",   "jna",   "jg",    "jnle",     "jge",     "jnl",     "jl",    "jnge", "jle", "jng",  "jc",
        "jnc",   "jo",    "jno",   "js",       "jns",     "jpo",     "jnp",   "jpe",  "jp",  "jcxz", "jecxz",
        "loop",  "loopz", "loope", "loopnz",   "loopne",  "call",    "ret",   "iret", "int", "int3", "into",
        "bound", "enter", "leave", "sysenter", "sysexit", "syscall", "sysret"};
    EXPECT_EQ(std::size(branches), 51u);
    for (const char *name : branches) EXPECT_EQ(ColorOf(name), ktColorBranch) << name;
    EXPECT_EQ(names.branch_names.KeyCount(), 51u);
}

TEST_F(DisasmNames, OnlyWholeLowerCaseWordsCount) {
    for (const char *token : {"JMP", "Rax", "jm", "jmpp", "j", "ra", "raxx", "mov", "ptr", "qword", "jrcxz",
                              "iretq", "fs:", "%rax", ""})
        EXPECT_EQ(ColorOf(token), plain) << token;
}

TEST_F(DisasmNames, AHexNumberNeedsThreeBytes) {
    EXPECT_EQ(ColorOf("0x"), plain);
    EXPECT_EQ(ColorOf("0x1"), ktColorHexNumber);
    EXPECT_EQ(ColorOf("0xffffffff81000000"), ktColorHexNumber);
    EXPECT_EQ(ColorOf("0xyz"), ktColorHexNumber); // what follows is not looked at
    EXPECT_EQ(ColorOf("0X1"), plain);
    EXPECT_EQ(ColorOf("10x1"), plain);
    EXPECT_EQ(ColorOf("123"), plain);
}

class DisasmNamesRecolour : public DisasmNames {
protected:
    void SetUp() override {
        ASSERT_TRUE(list.Reserve());
        list.font = &TestFont();
    }
    /// A letter for each glyph's colour: register, branch, hexadecimal number, '.' for none.
    std::string Colors(const std::string &line) {
        list.text.Clear();
        const int32_t first = list.AddText(0, 0, line.c_str(), 0, plain);
        names.Recolour(list, first, line);
        std::string letters;
        for (uint32_t vertex = 0; vertex < list.text.vertex_count; ++vertex) {
            const ktColor color = list.text.TexturedAt(static_cast<int32_t>(vertex))->color;
            const char letter = color == ktColorRegister    ? 'r'
                                : color == ktColorBranch    ? 'b'
                                : color == ktColorHexNumber ? 'x'
                                                            : '.';
            if (vertex % 4 == 0)
                letters += letter;
            else
                EXPECT_EQ(letters.back(), letter) << "corner " << vertex;
        }
        return letters;
    }

    ktDrawList list;
};

TEST_F(DisasmNamesRecolour, ColoursTokensAndNothingElse) {
    EXPECT_EQ(Colors("0010:0000000000401000: mov qword ptr [rax+rcx*8-0x10], r8d"),
              std::string(38, '.') + "rrr.rrr...xxxx...rrr");
    EXPECT_EQ(Colors("0010:0000000000401000: jnz 0x401020"), ".......................bbb.xxxxxxxx");
}

TEST_F(DisasmNamesRecolour, EachDelimiterEndsAToken) {
    EXPECT_EQ(Colors("rax rbx[rcx]rdx,rsi+rdi-rbp<r8>r9*r10"), "rrr.rrr.rrr.rrr.rrr.rrr.rrr.rr.rr.rrr");
    EXPECT_EQ(Colors("rax:rbx rax\trbx rax(rbx) rax|rbx"), std::string(32, '.'));
}

TEST_F(DisasmNamesRecolour, DelimitersMayStandTogetherAndAtBothEnds) {
    EXPECT_EQ(Colors(" [[rax]],  call< "), "...rrr.....bbbb..");
    EXPECT_EQ(Colors("+"), ".");
}

TEST_F(DisasmNamesRecolour, TheLastTokenEndsWithTheLine) {
    EXPECT_EQ(Colors("ret"), "bbb");
    EXPECT_EQ(Colors("push 0x"), ".......");
}

TEST_F(DisasmNamesRecolour, AnEmptyLineHasNoTokens) { EXPECT_EQ(Colors(""), ""); }

} // namespace
