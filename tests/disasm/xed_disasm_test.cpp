#include "disasm/xed_disasm.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "support/symbol_builder.h"

namespace {

using Bytes = std::vector<uint8_t>;

class XedDisasm : public testing::Test {
protected:
    std::string Text(const Bytes &code) {
        char text[256];
        length = disasm.Disassemble(code.data(), code.size(), text, sizeof text);
        return text;
    }
    uint64_t Length(const Bytes &code) { return disasm.Disassemble(code.data(), code.size(), nullptr, 0); }
    bool IsConditionalJump(const Bytes &code) { return disasm.IsConditionalJump(code.data(), code.size()); }
    bool IsJump(const Bytes &code) { return disasm.IsJump(code.data(), code.size()); }
    bool IsCall(const Bytes &code) { return disasm.IsCall(code.data(), code.size()); }
    uint32_t IndirectRegister(Bytes code) {
        code.resize(16, 0x90);
        return disasm.GetIndirectRegister(code.data());
    }

    ktXedDisasm disasm;
    uint64_t length = 0;
};

TEST_F(XedDisasm, StartsInRealModeWithIntelSyntax) {
    EXPECT_EQ(disasm.GetMode(), ktModeProtected16);
    EXPECT_EQ(disasm.GetSyntax(), ktSyntaxIntel);
    EXPECT_EQ(disasm.GetArchitecture(), 0u);
    EXPECT_EQ(disasm.SetAddress(5), 0u);
    EXPECT_EQ(Text({0xB8, 0x34, 0x12}), "mov ax, 0x1234");
    EXPECT_EQ(length, 3u);
}

TEST_F(XedDisasm, SetAddressGivesTheOldOne) {
    disasm.SetAddress(0x1000);
    EXPECT_EQ(disasm.SetAddress(0x2000), 0x1000u);
}

TEST_F(XedDisasm, ModesReadBackWithRealAsProtected) {
    const std::pair<int32_t, uint32_t> modes[] = {{1, 3}, {3, 3}, {4, 4}, {5, 5}, {6, 6}, {7, 7}, {8, 8}};
    for (const auto &[mode, readBack] : modes) {
        EXPECT_TRUE(disasm.SetMode(mode));
        EXPECT_EQ(disasm.GetMode(), readBack) << mode;
    }
}

TEST_F(XedDisasm, UnknownModesAreRefusedAndTheModeStays) {
    ASSERT_TRUE(disasm.SetMode(6));
    for (const int32_t mode : {2, 9, 0, -1, 0x7FFFFFFF}) {
        EXPECT_FALSE(disasm.SetMode(mode)) << mode;
        EXPECT_EQ(disasm.GetMode(), 6u);
    }
    EXPECT_EQ(Text({0x48, 0x89, 0xE5}), "mov rbp, rsp");
}

TEST_F(XedDisasm, EachModeDecodesItsOwnCode) {
    const Bytes code = {0xB8, 0x78, 0x56, 0x34, 0x12, 0x90};
    const std::pair<int32_t, uint64_t> lengths[] = {{1, 3}, {3, 3}, {4, 5}, {5, 3}, {6, 5}, {7, 5}, {8, 3}};
    for (const auto &[mode, expected] : lengths) {
        ASSERT_TRUE(disasm.SetMode(mode));
        EXPECT_EQ(Length(code), expected) << mode;
    }
    disasm.SetMode(6);
    EXPECT_EQ(Text({0x55}), "push rbp");
    disasm.SetMode(4);
    EXPECT_EQ(Text({0x55}), "push ebp");
    disasm.SetMode(5);
    EXPECT_EQ(Text({0x55}), "push bp");
}

TEST_F(XedDisasm, SixtyFourBitCode) {
    disasm.SetMode(6);
    EXPECT_EQ(Text({0x48, 0x89, 0xE5}), "mov rbp, rsp");
    EXPECT_EQ(length, 3u);
}

TEST_F(XedDisasm, AttSyntax) {
    disasm.SetMode(6);
    EXPECT_TRUE(disasm.SetSyntax(ktSyntaxAtt));
    EXPECT_EQ(disasm.GetSyntax(), ktSyntaxAtt);
    EXPECT_EQ(Text({0x48, 0x89, 0xE5}), "mov %rsp, %rbp");
}

TEST_F(XedDisasm, OtherSyntaxMakesNoText) {
    disasm.SetMode(6);
    for (const uint32_t syntax : {0u, 3u, 99u}) {
        EXPECT_TRUE(disasm.SetSyntax(syntax));
        EXPECT_EQ(disasm.GetSyntax(), syntax);
        EXPECT_EQ(Text({0x48, 0x89, 0xE5}), "");
        EXPECT_EQ(length, 3u);
    }
}

TEST_F(XedDisasm, CutInstructionHasNoLength) {
    disasm.SetMode(6);
    const Bytes code = {0x48, 0xB8, 1, 2, 3, 4, 5, 6, 7, 8};
    for (size_t size = 0; size < code.size(); ++size) {
        EXPECT_EQ(Text(Bytes(code.begin(), code.begin() + static_cast<ptrdiff_t>(size))), "") << size;
        EXPECT_EQ(length, 0u) << size;
    }
    EXPECT_EQ(Text(code), "mov rax, 0x807060504030201");
    EXPECT_EQ(length, 10u);
}

TEST_F(XedDisasm, BytesThatDoNotDecodeHaveNoLength) {
    disasm.SetMode(6);
    EXPECT_EQ(Length({0x06}), 0u); // no push es in 64-bit code
    EXPECT_EQ(Length(Bytes(16, 0x66)), 0u);
}

TEST_F(XedDisasm, NullTextGivesTheLengthAlone) {
    disasm.SetMode(6);
    const Bytes code = {0x48, 0x89, 0xE5};
    EXPECT_EQ(disasm.Disassemble(code.data(), code.size(), nullptr, 256), 3u);
}

TEST_F(XedDisasm, HugeSizeIsNoReasonToReadOn) {
    disasm.SetMode(6);
    const auto code = std::make_unique<uint8_t[]>(15);
    std::fill_n(code.get(), 15, uint8_t{0x66});
    EXPECT_EQ(disasm.Disassemble(code.get(), ~uint64_t(0), nullptr, 0), 0u);
}

TEST_F(XedDisasm, TextIsAlwaysTerminatedAndNeverLongerThanItsBuffer) {
    disasm.SetMode(6);
    const Bytes code = {0x48, 0x89, 0xE5};
    const std::string whole = "mov rbp, rsp";
    for (uint32_t size = 0; size <= 32; ++size) {
        const auto text = std::make_unique<char[]>(size + 1);
        std::fill_n(text.get(), size + 1, 'Z');
        EXPECT_EQ(disasm.Disassemble(code.data(), code.size(), text.get(), size), 3u);
        EXPECT_EQ(text[size], 'Z') << size;
        if (size == 0) continue;
        EXPECT_EQ(std::string(text.get()), whole.substr(0, size - 1)) << size;
    }
}

TEST_F(XedDisasm, BranchTargetsAreRelativeToTheAddress) {
    disasm.SetMode(6);
    disasm.SetAddress(0x1000);
    EXPECT_EQ(Text({0xE8, 0x0B, 0, 0, 0}), "call 0x1010");
    EXPECT_EQ(Text({0x74, 0xFE}), "jz 0x1000");
}

class XedDisasmSymbols : public XedDisasm {
protected:
    XedDisasmSymbols() : space(std::make_unique<ktSpace>(0, nullptr)) {
        disasm.SetMode(6);
        Fill(*space, "kernel");
    }
    void Fill(ktSpace &target, const char *name) {
        ktModule *module = builder.AddModule(name, 0x100000, 0x10000);
        ktCompUnit *unit = builder.AddUnit(module, "main.c");
        builder.AddFunction(unit, "start", {{0x101000, 0x100}});
        builder.AddFunction(unit, "next", {{0x101100, 0x100}});
        builder.Publish(target, module);
    }
    /// The text of a call to `target`.
    std::string Call(uint64_t target) {
        disasm.SetAddress(0x100000);
        const uint64_t distance = target - 0x100005;
        Bytes code = {0xE8};
        for (int shift = 0; shift < 32; shift += 8) code.push_back(static_cast<uint8_t>(distance >> shift));
        return Text(code);
    }

    ktSymbolBuilder builder;
    std::unique_ptr<ktSpace> space;
};

TEST_F(XedDisasmSymbols, TargetInAModuleShowsItsLocation) {
    EXPECT_EQ(Call(0x101010), "call 0x101010");
    disasm.SetSpace(space.get());
    EXPECT_EQ(Call(0x101010), "call 0x101010 <kernel!main.c|start+0x10>");
    EXPECT_EQ(Call(0x101100), "call 0x101100 <kernel!main.c|next>");
    disasm.SetSpace(nullptr);
    EXPECT_EQ(Call(0x101010), "call 0x101010");
}

TEST_F(XedDisasmSymbols, RelativeDataIsNamedToo) {
    disasm.SetSpace(space.get());
    disasm.SetAddress(0x100000);
    EXPECT_EQ(Text({0x48, 0x8D, 0x05, 0xF9, 0x0F, 0, 0}), "lea rax, ptr [rip+0xff9] <kernel!main.c|start>");
}

TEST_F(XedDisasmSymbols, FirstSearchNamesAPlaceWithoutAFunction) {
    disasm.SetSpace(space.get());
    EXPECT_EQ(Call(0x108000), "call 0x108000 <kernel+0x8000>");
}

TEST_F(XedDisasmSymbols, FailedSearchIsRepeated) {
    disasm.SetSpace(space.get());
    EXPECT_EQ(Call(0x500000), "call 0x500000");
    EXPECT_EQ(Call(0x101000), "call 0x101000 <kernel!main.c|start>");
}

TEST_F(XedDisasmSymbols, FailedUpdateGivesThePlainNumberAndKeepsTheResults) {
    disasm.SetSpace(space.get());
    EXPECT_EQ(Call(0x101000), "call 0x101000 <kernel!main.c|start>");
    EXPECT_EQ(Call(0x108000), "call 0x108000");                 // the quick way finds no function
    EXPECT_EQ(Call(0x108000), "call 0x108000 <kernel+0x8000>"); // asked again, the address has not changed
    EXPECT_EQ(Call(0x500000), "call 0x500000");
    EXPECT_EQ(Call(0x101100), "call 0x101100 <kernel!main.c|next>");
}

TEST_F(XedDisasmSymbols, AnotherSpaceDropsTheLookup) {
    ktSpace other(1, nullptr);
    Fill(other, "other");
    disasm.SetSpace(space.get());
    EXPECT_EQ(Call(0x101000), "call 0x101000 <kernel!main.c|start>");
    disasm.SetSpace(&other);
    EXPECT_EQ(Call(0x101000), "call 0x101000 <other!main.c|start>");
    disasm.SetSpace(&other); // no change, the lookup stays
    EXPECT_EQ(Call(0x108000), "call 0x108000");
    disasm.SetSpace(nullptr);
    disasm.SetSpace(&other); // a fresh search
    EXPECT_EQ(Call(0x108000), "call 0x108000 <other+0x8000>");
    disasm.SetSpace(nullptr);
}

TEST_F(XedDisasmSymbols, RemovedModuleIsForgotten) {
    disasm.SetSpace(space.get());
    EXPECT_EQ(Call(0x101000), "call 0x101000 <kernel!main.c|start>");
    space->RemoveModule(space->GetModule(0));
    EXPECT_EQ(Call(0x101000), "call 0x101000");
    EXPECT_EQ(Call(0x101008), "call 0x101008");
    Fill(*space, "again");
    EXPECT_EQ(Call(0x101008), "call 0x101008 <again!main.c|start+0x8>");
}

TEST_F(XedDisasmSymbols, NewSpaceInTheMemoryOfAnOldOneIsANewSpace) {
    alignas(ktSpace) unsigned char memory[sizeof(ktSpace)];
    auto *first = new (memory) ktSpace(1, nullptr);
    Fill(*first, "first");
    disasm.SetSpace(first);
    EXPECT_EQ(Call(0x101000), "call 0x101000 <first!main.c|start>");
    first->~ktSpace();
    auto *second = new (memory) ktSpace(2, nullptr);
    Fill(*second, "second");
    disasm.SetSpace(second);
    EXPECT_EQ(Call(0x101008), "call 0x101008 <second!main.c|start+0x8>");
    disasm.SetSpace(nullptr);
    second->~ktSpace();
}

TEST_F(XedDisasmSymbols, LongNamesAreCut) {
    ktModule *module = builder.AddModule(std::string(3000, 'm').c_str(), 0x200000, 0x1000);
    builder.Publish(*space, module);
    disasm.SetSpace(space.get());
    const std::string text = Call(0x200010);
    EXPECT_EQ(text, "call 0x200010 <" + std::string(255 - 15, 'm'));
}

TEST_F(XedDisasm, ConditionalJumps) {
    for (int opcode = 0; opcode < 256; ++opcode) {
        const auto byte = static_cast<uint8_t>(opcode);
        EXPECT_EQ(IsConditionalJump({byte, 0}), (opcode >= 0x70 && opcode <= 0x7F) || opcode == 0xE3)
            << opcode;
        EXPECT_EQ(IsConditionalJump({0x0F, byte}), opcode >= 0x80 && opcode <= 0x8F) << opcode;
    }
    EXPECT_TRUE(IsConditionalJump({0x0F, 0x84}));
    EXPECT_FALSE(IsConditionalJump({0x0F}));
    EXPECT_TRUE(IsConditionalJump({0x74}));
}

TEST_F(XedDisasm, JumpsCountTheWholeIndirectGroup) {
    for (int opcode = 0; opcode < 256; ++opcode) {
        const auto byte = static_cast<uint8_t>(opcode);
        EXPECT_EQ(IsJump({byte, 0}), opcode == 0xE9 || opcode == 0xEA || opcode == 0xEB || opcode == 0xFF)
            << opcode;
        EXPECT_TRUE(IsJump({0xFF, byte})) << opcode;
    }
    EXPECT_TRUE(IsJump({0xFF}));
    EXPECT_TRUE(IsJump({0xFF, 0xD0})); // an indirect call
}

TEST_F(XedDisasm, Calls) {
    for (int opcode = 0; opcode < 256; ++opcode) {
        const auto byte = static_cast<uint8_t>(opcode);
        EXPECT_EQ(IsCall({byte, 0}), opcode == 0x9A || opcode == 0xE8) << opcode;
        const int reg = (opcode >> 3) & 7;
        EXPECT_EQ(IsCall({0xFF, byte}), reg == 2 || reg == 3) << opcode;
    }
    EXPECT_TRUE(IsCall({0xFF, 0xD0}));
    EXPECT_FALSE(IsCall({0xFF}));
    EXPECT_TRUE(IsCall({0xE8}));
}

TEST_F(XedDisasm, NoBytesAreNoBranch) {
    EXPECT_FALSE(disasm.IsConditionalJump(nullptr, 0));
    EXPECT_FALSE(disasm.IsJump(nullptr, 0));
    EXPECT_FALSE(disasm.IsCall(nullptr, 0));
}

TEST_F(XedDisasm, IndirectCallRegisters) {
    disasm.SetMode(6);
    const uint32_t low[] = {1, 3, 4, 2, 8, 7, 5, 6}; // rax rcx rdx rbx rsp rbp rsi rdi
    for (uint8_t i = 0; i < 8; ++i) {
        EXPECT_EQ(IndirectRegister({0xFF, static_cast<uint8_t>(0xD0 + i)}), low[i]) << int(i);
        EXPECT_EQ(IndirectRegister({0x41, 0xFF, static_cast<uint8_t>(0xD0 + i)}), 11u + i) << int(i);
    }
}

TEST_F(XedDisasm, OtherInstructionsHaveNoIndirectRegister) {
    disasm.SetMode(6);
    EXPECT_EQ(IndirectRegister({0xFF, 0xE0}), 0u);       // jmp rax
    EXPECT_EQ(IndirectRegister({0xFF, 0x10}), 0u);       // call through memory
    EXPECT_EQ(IndirectRegister({0xE8, 0, 0, 0, 0}), 0u); // direct call
    EXPECT_EQ(IndirectRegister({0x48, 0x89, 0xC8}), 0u); // mov rax, rcx
    EXPECT_EQ(IndirectRegister({0x06}), 0u);             // does not decode
    disasm.SetMode(4);
    EXPECT_EQ(IndirectRegister({0xFF, 0xD0}), 0u); // call eax: no 64-bit register
}

} // namespace
