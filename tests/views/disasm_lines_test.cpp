#include "views/disasm_lines.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "disasm/xed_disasm.h"
#include "support/allocation_count.h"
#include "support/fake_disasm.h"

namespace {

constexpr uint64_t blockValue = 0x401000;

ktSnapshotState StateOf(const std::vector<uint8_t> &code, uint64_t pointerOffset,
                        uint64_t value = blockValue) {
    ktSnapshotState state;
    state.codeAddress.value = value;
    state.codeAddress.root = 0x1A5000;
    state.codeAddress.selector = 0x10;
    state.codeAddress.kind = ktAddress::kindVirtual;
    state.codeSize = code.size();
    std::copy(code.begin(), code.end(), state.code);
    state.context.values[ktRegIp] = value + pointerOffset;
    state.context.mode = ktModeLong64;
    return state;
}

/// Decodes what stands in the first byte: that many bytes, 0 for none, whether they are there or not.
void MakeToy(ktFakeDisasm &disasm) {
    disasm.decode = [](const ktFakeDisasm::Call &call, std::string &text) {
        text = "op" + std::to_string(call.code[0]);
        return uint64_t{call.code[0]};
    };
}

std::vector<uint32_t> Offsets(const ktDisasmLines &lines) {
    return {lines.offsets.begin(), lines.offsets.begin() + lines.line_count};
}

class DisasmLines : public testing::Test {
protected:
    DisasmLines() { MakeToy(disasm); }
    bool Decode(const ktSnapshotState &state) { return lines->Decode(state, disasm); }

    ktFakeDisasm disasm;
    std::unique_ptr<ktDisasmLines> lines = std::make_unique<ktDisasmLines>();
};

TEST_F(DisasmLines, AreNoneAtFirst) {
    EXPECT_EQ(lines->line_count, 0u);
    EXPECT_EQ(lines->base.kind, ktAddress::kindNone);
    EXPECT_FALSE(lines->FindPointer(0));
}

TEST_F(DisasmLines, BeginAtTheBlocksStartWhenThatLeadsToThePointer) {
    ASSERT_TRUE(Decode(StateOf({2, 9, 3, 9, 9, 1, 1}, 5)));
    EXPECT_EQ(Offsets(*lines), (std::vector<uint32_t>{0, 2, 5, 6}));
    EXPECT_EQ(lines->current_line, 2u);
    EXPECT_STREQ(lines->TextOf(1), "op3");
    EXPECT_EQ(lines->AddressOf(1), blockValue + 2);
}

TEST_F(DisasmLines, BeginAtTheFirstPlaceThatLeadsToThePointer) {
    // From 0 the walk goes 0, 3, 5 and from 1 it goes 1, 5: both pass over the pointer at 4, which 2 reaches.
    ASSERT_TRUE(Decode(StateOf({3, 4, 2, 2, 1, 1}, 4)));
    EXPECT_EQ(Offsets(*lines), (std::vector<uint32_t>{2, 4, 5}));
    EXPECT_EQ(lines->current_line, 1u);
}

TEST_F(DisasmLines, ABlockMayBeginAtThePointer) {
    ASSERT_TRUE(Decode(StateOf({1, 1}, 0)));
    EXPECT_EQ(lines->current_line, 0u);
    EXPECT_EQ(lines->line_count, 2u);
}

TEST_F(DisasmLines, BytesThatDoNotDecodeTakeOneByteAndMakeNoLine) {
    ASSERT_TRUE(Decode(StateOf({0, 0, 2, 9, 0, 1, 0}, 5)));
    EXPECT_EQ(Offsets(*lines), (std::vector<uint32_t>{2, 5}));
    EXPECT_EQ(lines->current_line, 1u);
}

TEST_F(DisasmLines, AnInstructionPastTheBlocksEndIsTheLast) {
    ASSERT_TRUE(Decode(StateOf({1, 200, 7}, 1)));
    EXPECT_EQ(Offsets(*lines), (std::vector<uint32_t>{0, 1}));
}

TEST_F(DisasmLines, AreAtMost512) {
    ASSERT_TRUE(Decode(StateOf(std::vector<uint8_t>(1024, 1), 100)));
    EXPECT_EQ(lines->line_count, 512u);
    EXPECT_EQ(lines->offsets[511], 511u);
    EXPECT_EQ(lines->current_line, 100u);
}

TEST_F(DisasmLines, APointerPastThe512thLineMovesTheStart) {
    ASSERT_TRUE(Decode(StateOf(std::vector<uint8_t>(1024, 1), 511)));
    EXPECT_EQ(lines->offsets[0], 0u);
    ASSERT_TRUE(Decode(StateOf(std::vector<uint8_t>(1024, 1), 700, blockValue + 0x1000)));
    EXPECT_EQ(lines->offsets[0], 189u);
    EXPECT_EQ(lines->current_line, 511u);
    EXPECT_EQ(lines->line_count, 512u);
}

TEST_F(DisasmLines, NothingChangesWhenNoPlaceLeadsToThePointer) {
    ASSERT_TRUE(Decode(StateOf({1, 1, 1}, 1)));
    EXPECT_FALSE(Decode(StateOf({2, 2, 0}, 2, 0x500000))); // no instruction starts at the pointer
    EXPECT_EQ(lines->base.value, blockValue);
    EXPECT_EQ(Offsets(*lines), (std::vector<uint32_t>{0, 1, 2}));
    EXPECT_EQ(lines->current_line, 1u);
    EXPECT_STREQ(lines->TextOf(0), "op1");
}

TEST_F(DisasmLines, AFailedSearchIsNotMadeAgain) {
    const ktSnapshotState hopeless = StateOf({2, 2, 0}, 2);
    EXPECT_FALSE(lines->IsHopeless(hopeless));
    EXPECT_FALSE(Decode(hopeless));
    EXPECT_TRUE(lines->IsHopeless(hopeless));
    const size_t asked = disasm.calls.size();
    EXPECT_FALSE(Decode(hopeless));
    EXPECT_EQ(disasm.calls.size(), asked);
}

TEST_F(DisasmLines, AFailedSearchIsMadeAgainWhenAnythingHasChanged) {
    const ktSnapshotState hopeless = StateOf({2, 2, 0}, 2);
    ASSERT_FALSE(Decode(hopeless));
    EXPECT_FALSE(lines->IsHopeless(StateOf({2, 2, 1}, 2)));
    EXPECT_FALSE(lines->IsHopeless(StateOf({2, 2, 0}, 1)));
    EXPECT_FALSE(lines->IsHopeless(StateOf({2, 2, 0, 0}, 2)));
    EXPECT_FALSE(lines->IsHopeless(StateOf({2, 2, 0}, 2, 0x500000)));
    ktSnapshotState otherMode = hopeless;
    otherMode.context.mode = ktModeLegacy32;
    EXPECT_FALSE(lines->IsHopeless(otherMode));
    EXPECT_TRUE(Decode(StateOf({2, 2, 1}, 2)));
    EXPECT_TRUE(lines->IsHopeless(hopeless));
}

TEST_F(DisasmLines, InAnUnknownModeAFailedSearchIsMadeAgain) {
    ktXedDisasm xed;
    ktSnapshotState state = StateOf({0x06}, 0); // push es, which 64-bit code does not have
    state.context.mode = ktModeUnknown;
    xed.SetMode(ktModeLong64);
    EXPECT_FALSE(lines->Decode(state, xed));
    EXPECT_FALSE(lines->IsHopeless(state));
    xed.SetMode(ktModeLegacy32);
    EXPECT_TRUE(lines->Decode(state, xed));
}

TEST_F(DisasmLines, APointerOutsideTheBlockNeedsNoSearch) {
    for (const uint64_t offset : {uint64_t{3}, uint64_t{4096}, ~uint64_t{0}}) {
        EXPECT_TRUE(lines->IsHopeless(StateOf({1, 1, 1}, offset)));
        EXPECT_FALSE(Decode(StateOf({1, 1, 1}, offset)));
    }
    EXPECT_TRUE(lines->IsHopeless(StateOf({}, 0)));
    EXPECT_TRUE(disasm.calls.empty());
}

TEST_F(DisasmLines, AnAddressOfNoKindIsNoBlock) {
    ktSnapshotState state = StateOf({1, 1, 1}, 1);
    state.codeAddress.kind = ktAddress::kindNone;
    EXPECT_TRUE(lines->IsHopeless(state));
    EXPECT_FALSE(Decode(state));
    EXPECT_FALSE(lines->Shows(state.codeAddress));
}

TEST_F(DisasmLines, ASizeThatIsTooLargeIsCutToTheRecord) {
    ktSnapshotState state = StateOf(std::vector<uint8_t>(1024, 16), 16);
    state.codeSize = UINT64_MAX;
    ASSERT_TRUE(Decode(state));
    EXPECT_EQ(lines->line_count, 64u);
}

TEST_F(DisasmLines, EachInstructionIsDecodedAtItsAddressInTheContextsMode) {
    ktSnapshotState state = StateOf({1, 2, 9, 1}, 3);
    state.context.mode = ktModeCompat32;
    ASSERT_TRUE(Decode(state));
    ASSERT_FALSE(disasm.calls.empty());
    for (const ktFakeDisasm::Call &call : disasm.calls) {
        EXPECT_EQ(call.mode, int32_t{ktModeCompat32});
        EXPECT_EQ(call.code.size(), 4 - (call.address - blockValue));
        EXPECT_EQ(call.code[0], state.code[call.address - blockValue]);
    }
}

TEST_F(DisasmLines, EachPlaceIsMeasuredOnceAndOnlyLinesArePrinted) {
    ASSERT_TRUE(Decode(StateOf({3, 4, 2, 2, 1, 1}, 4)));
    std::map<uint64_t, int> measured;
    std::vector<uint64_t> printed;
    for (const ktFakeDisasm::Call &call : disasm.calls) {
        if (call.textSize == 0)
            EXPECT_EQ(++measured[call.address], 1);
        else
            printed.push_back(call.address);
        EXPECT_TRUE(call.textSize == 0 || call.textSize == ktDisasmLines::lineSize);
    }
    EXPECT_EQ(printed, (std::vector<uint64_t>{blockValue + 2, blockValue + 4, blockValue + 5}));
}

TEST_F(DisasmLines, TheWorstBlockIsMeasuredOnceAPlace) {
    std::vector<uint8_t> code(1024,
                              1); // each walk comes to the place in front of the pointer and jumps over it
    code[1022] = 2;
    code[1023] = 1;
    EXPECT_FALSE(Decode(StateOf({code.begin(), code.end() - 1}, 1023)));
    code[1023] = 0;
    EXPECT_FALSE(Decode(StateOf(code, 1023)));
    EXPECT_LE(disasm.calls.size(), 1024u);
}

TEST_F(DisasmLines, ALongTextIsCutAtTheLinesEnd) {
    disasm.decode = [](const ktFakeDisasm::Call &, std::string &text) {
        text.assign(300, 'a');
        return uint64_t{1};
    };
    ASSERT_TRUE(Decode(StateOf({1}, 0)));
    EXPECT_EQ(std::strlen(lines->TextOf(0)), 127u);
}

TEST_F(DisasmLines, AnOldTextDoesNotStayWhereNoneIsMade) {
    ktXedDisasm xed;
    ASSERT_TRUE(lines->Decode(StateOf({0x90}, 0), xed));
    EXPECT_STREQ(lines->TextOf(0), "nop");
    xed.SetSyntax(7);
    ASSERT_TRUE(lines->Decode(StateOf({0x90}, 0, 0x500000), xed));
    EXPECT_STREQ(lines->TextOf(0), "");
}

TEST_F(DisasmLines, TheSameBlockIsToldByWhatItsKindHas) {
    const auto shows = [this](uint32_t kind, void (*change)(ktAddress &)) {
        lines->base.Reset();
        lines->base.kind = kind;
        ktAddress other = lines->base;
        change(other);
        return lines->Shows(other);
    };
    const auto same = [](ktAddress &) {};
    const auto value = [](ktAddress &address) { ++address.value; };
    const auto root = [](ktAddress &address) { ++address.root; };
    const auto selector = [](ktAddress &address) { ++address.selector; };
    const auto kind = [](ktAddress &address) { ++address.kind; };
    const auto rest = [](ktAddress &address) { ++address.width, ++address.attribute; };
    for (const uint32_t known : {ktAddress::kindVirtual, ktAddress::kindLinear, ktAddress::kindPhysical}) {
        EXPECT_TRUE(shows(known, same)) << known;
        EXPECT_TRUE(shows(known, rest)) << known;
        EXPECT_FALSE(shows(known, value)) << known;
        EXPECT_FALSE(shows(known, kind)) << known;
    }
    EXPECT_FALSE(shows(ktAddress::kindVirtual, root));
    EXPECT_FALSE(shows(ktAddress::kindVirtual, selector));
    EXPECT_FALSE(shows(ktAddress::kindLinear, root));
    EXPECT_TRUE(shows(ktAddress::kindLinear, selector));
    EXPECT_TRUE(shows(ktAddress::kindPhysical, root));
    EXPECT_TRUE(shows(ktAddress::kindPhysical, selector));
    EXPECT_FALSE(shows(ktAddress::kindNone, same));
    EXPECT_FALSE(shows(ktAddress::kindMsr, same));
}

class DisasmLinesPointer : public DisasmLines {
protected:
    void SetUp() override { ASSERT_TRUE(Decode(StateOf({2, 9, 3, 9, 9, 1, 2, 9, 1, 1}, 5))); } // 0 2 5 6 8 9
    bool Find(uint64_t offset) { return lines->FindPointer(lines->base.value + offset); }
};

TEST_F(DisasmLinesPointer, EveryLineIsFoundFromEveryLine) {
    for (uint32_t from = 0; from < lines->line_count; ++from) {
        for (uint32_t to = 0; to < lines->line_count; ++to) {
            lines->current_line = from;
            EXPECT_TRUE(Find(lines->offsets[to])) << from << " to " << to;
            EXPECT_EQ(lines->current_line, to);
        }
    }
}

TEST_F(DisasmLinesPointer, WhatIsNoLinesStartIsFoundFromNowhere) {
    for (uint32_t from = 0; from < lines->line_count; ++from) {
        lines->current_line = from;
        for (const uint64_t offset : {1u, 3u, 4u, 7u, 10u, 1000u}) {
            EXPECT_FALSE(Find(offset)) << from << " to " << offset;
            EXPECT_EQ(lines->current_line, from);
        }
        EXPECT_FALSE(lines->FindPointer(lines->base.value - 1));
        EXPECT_FALSE(lines->FindPointer(0));
    }
}

TEST_F(DisasmLinesPointer, NeedsNoDisassembler) {
    disasm.calls.clear();
    EXPECT_TRUE(Find(9));
    EXPECT_TRUE(disasm.calls.empty());
}

TEST_F(DisasmLinesPointer, ABlockMayPassTheTopOfTheAddressSpace) {
    ASSERT_TRUE(Decode(StateOf({2, 9, 3, 9, 9, 1, 2, 9, 1, 1}, 5, UINT64_MAX - 3)));
    EXPECT_EQ(lines->AddressOf(lines->current_line), 1u);
    EXPECT_TRUE(Find(0));
    EXPECT_TRUE(Find(8));
    EXPECT_EQ(lines->AddressOf(lines->current_line), 4u);
}

TEST(DisasmLinesXed, ABlockThatBeginsInAnInstructionIsAligned) {
    // mov rax, 0x9090909090c3c3c3 cut at its front, then push rbp; mov rbp, rsp; ret
    const std::vector<uint8_t> code = {0xC3, 0xC3, 0x48, 0xB8, 0x90, 0x55, 0x48, 0x89,
                                       0xE5, 0xC3, 0x90, 0x90, 0x90, 0x90, 0x90};
    ktXedDisasm xed;
    auto lines = std::make_unique<ktDisasmLines>();
    ASSERT_TRUE(lines->Decode(StateOf(code, 5), xed));
    // From 0, 1 and 2 the long mov swallows the pointer; from 3 the walk goes through mov eax.
    EXPECT_STREQ(lines->TextOf(lines->current_line), "push rbp");
    EXPECT_STREQ(lines->TextOf(lines->current_line + 1), "mov rbp, rsp");
    EXPECT_STREQ(lines->TextOf(lines->current_line + 2), "ret "); // as it is printed
    EXPECT_EQ(lines->offsets[0], 4u);
}

TEST(DisasmLinesXed, DecodingAndSearchingAllocateNothing) {
    std::vector<uint8_t> code;
    while (code.size() < 1020)
        for (const int byte : {0x48, 0x89, 0xE5, 0x90}) code.push_back(static_cast<uint8_t>(byte));
    const ktSnapshotState state = StateOf(code, 256);
    ktXedDisasm xed;
    auto lines = std::make_unique<ktDisasmLines>();
    const uint64_t before = AllocationCount();
    EXPECT_TRUE(lines->Decode(state, xed));
    EXPECT_TRUE(lines->FindPointer(blockValue + 260));
    EXPECT_EQ(AllocationCount(), before);
}

/// The search as it is told: each walk decodes and prints all that it passes.
bool DecodePlainly(const ktSnapshotState &state, ktDisasm &disasm, ktDisasmLines &lines) {
    const uint64_t value = state.codeAddress.value;
    for (uint64_t start = 0; start <= state.codeSize; ++start) {
        uint32_t count = 0;
        bool hit = false;
        for (uint64_t at = start; at < state.codeSize && count < ktDisasmLines::maxLines;) {
            disasm.SetSpace(state.space);
            disasm.SetMode(static_cast<int32_t>(state.context.mode));
            disasm.SetAddress(value + at);
            const uint64_t length =
                disasm.Disassemble(state.code + at, state.codeSize - at, lines.lines[count].data(), 128);
            if (length == 0) {
                ++at;
                continue;
            }
            lines.offsets[count] = static_cast<uint32_t>(at);
            if (value + at == state.context.values[ktRegIp]) {
                lines.current_line = count;
                hit = true;
            }
            ++count;
            at += length;
        }
        if (!hit) continue;
        lines.base = state.codeAddress;
        lines.line_count = count;
        return true;
    }
    return false;
}

/// Counts in `outcomes` how often there was no place to begin, and how often there was one.
void ExpectSame(const ktSnapshotState &state, ktDisasm &disasm, const std::string &what, int (&outcomes)[2]) {
    const auto quick = std::make_unique<ktDisasmLines>();
    const auto plain = std::make_unique<ktDisasmLines>();
    const bool found = DecodePlainly(state, disasm, *plain);
    ASSERT_EQ(quick->Decode(state, disasm), found) << what;
    ++outcomes[found];
    if (!found) return;
    ASSERT_EQ(Offsets(*quick), Offsets(*plain)) << what;
    ASSERT_EQ(quick->current_line, plain->current_line) << what;
    for (uint32_t line = 0; line < plain->line_count; ++line)
        ASSERT_STREQ(quick->TextOf(line), plain->TextOf(line)) << what << " line " << line;
}

TEST(DisasmLinesRandom, TheQuickSearchFindsWhatThePlainOneFinds) {
    std::mt19937 random(20260911);
    ktXedDisasm xed;
    ktFakeDisasm toy;
    int outcomes[2] = {};
    constexpr uint32_t modes[] = {ktModeReal, ktModeLegacy32, ktModeLong64, ktModeCompat16};
    for (int round = 0; round < 300; ++round) {
        const uint64_t top = 1 + random() % 30; // few different bytes make alignments rare
        std::vector<uint8_t> code(1 + random() % (round % 20 == 0 ? 1024 : 64));
        for (uint8_t &byte : code) byte = static_cast<uint8_t>(random());
        ktSnapshotState state =
            StateOf(code, random() % (code.size() + 2), random() % 8 ? 0x7000 : ~uint64_t{7});
        state.context.mode = modes[random() % 4];
        ExpectSame(state, xed, "xed " + std::to_string(round), outcomes);
        for (uint8_t &byte : state.code) byte = static_cast<uint8_t>(byte % top * (random() % 3 != 0));
        toy.calls.clear();
        toy.decode = [](const ktFakeDisasm::Call &call, std::string &text) {
            text = std::to_string(call.code[0]);
            return std::min<uint64_t>(call.code[0], call.code.size());
        };
        ExpectSame(state, toy, "toy " + std::to_string(round), outcomes);
    }
    EXPECT_GT(outcomes[false], 50);
    EXPECT_GT(outcomes[true], 50);
}

TEST(DisasmLinesRandom, TheQuickSearchAgreesWhereTheLinesRunOut) {
    std::mt19937 random(7);
    ktFakeDisasm toy;
    MakeToy(toy);
    int outcomes[2] = {};
    int late = 0; // blocks that do not begin at their start, for the lines would run out
    for (int round = 0; round < 6; ++round) {
        std::vector<uint8_t> code(1024);
        for (uint8_t &byte : code)
            byte = static_cast<uint8_t>(random() % 20 == 0 ? 0 : 1 + random() % 40 / 39);
        toy.calls.clear();
        const ktSnapshotState state = StateOf(code, 560 + random() % 100);
        ExpectSame(state, toy, std::to_string(round), outcomes);
        const auto lines = std::make_unique<ktDisasmLines>();
        if (lines->Decode(state, toy) && lines->offsets[0] > 20) ++late;
    }
    EXPECT_GT(late, 2);
}

} // namespace
