#include "gui/draw_list.h"
#include "gui/text_input.h"
#include "platform/native_message.h"
#include "support/allocation_count.h"
#include "support/drawn_text.h"
#include "support/key_events.h"
#include "support/test_clipboard.h"
#include "support/test_font.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// Counts what Enter does in a derived input.
class EnterInput : public ktTextInput {
public:
    bool OnEnter() override {
        ++enters;
        return true;
    }
    int enters = 0;
};

class TextInput : public testing::Test {
protected:
    std::string Text() const { return input.text.Copy().data(); }
    bool Press(uint64_t key, uint32_t mods = 0) { return input.OnKey(KeyDown(key, mods)); }
    void Set(const char *text, uint32_t caret) {
        input.SetText(text);
        input.caret = caret;
    }

    ktTextInput input;
    ktTestClipboard clipboard;
};

class TextInputDraw : public TextInput {
protected:
    static constexpr uint32_t advance = 9;
    static constexpr uint32_t visibleCount = 10;

    void SetUp() override {
        ASSERT_TRUE(list.Reserve());
        list.font = &TestFont();
        input.SetFont(&TestFont());
        ASSERT_EQ(TestFont().CharacterAdvance(), advance);
        input.SetRect(100, 50, visibleCount * advance + 4, 20);
    }
    void Draw() {
        list.text.Clear();
        EXPECT_TRUE(input.Draw(list));
    }
    std::string Shown() {
        const auto texts = DrawnStrings(list);
        return texts.empty() ? "" : texts.front();
    }
    int32_t CaretX() { return list.lines.FlatAt(input.caret_first)->x; }

    ktDrawList list;
};

} // namespace

TEST_F(TextInput, ANewOneIsEmpty) {
    EXPECT_EQ(input.GetKind(), 4u);
    EXPECT_EQ(Text(), "");
    EXPECT_EQ(input.caret, 0u);
    EXPECT_EQ(input.length, 0u);
    EXPECT_EQ(input.capacity, 511u);
    EXPECT_EQ(input.high_water, 0u);
    EXPECT_TRUE(input.reserved_flags[0]);
    EXPECT_TRUE(input.reserved_flags[1]);
    EXPECT_FALSE(input.has_focus);
    EXPECT_EQ(input.back_color, ktColorFrom(0xFF272322));
    EXPECT_EQ(input.text_color, ktColorFrom(0xFFFFFFFF));
    EXPECT_EQ(input.caret_color, ktColorFrom(0x00FFFFFF));
    for (const int32_t first : {input.back_first, input.line_first, input.text_first, input.caret_first})
        EXPECT_EQ(first, -1);
}

TEST_F(TextInput, TypedCharactersGoInAtTheCaret) {
    TypeText(input, "acd");
    input.caret = 1;
    EXPECT_TRUE(input.OnKey(Character('b')));
    EXPECT_EQ(Text(), "abcd");
    EXPECT_EQ(input.caret, 2u);
    EXPECT_EQ(input.length, 4u);
    EXPECT_EQ(input.high_water, 4u);
}

TEST_F(TextInput, OnlyPrintableCharactersAreTaken) {
    for (uint64_t character = 0; character < 300; ++character)
        EXPECT_TRUE(input.OnKey(Character(character))) << character;
    std::string all;
    for (char character = 32; character < 127; ++character) all += character;
    EXPECT_EQ(Text(), all);
    EXPECT_TRUE(input.OnKey(Character(uint64_t{'A'} + (uint64_t{1} << 32))));
    EXPECT_EQ(input.length, 95u);
}

TEST_F(TextInput, TheByteBehind510TypedOnesIsRefused) {
    for (int i = 0; i < 510; ++i) input.OnKey(Character('x'));
    EXPECT_EQ(input.length, 510u);
    input.caret = 0;
    EXPECT_TRUE(input.OnKey(Character('y')));
    EXPECT_EQ(Text(), std::string(510, 'x'));
    EXPECT_EQ(input.caret, 0u);
    EXPECT_EQ(input.high_water, 510u);
}

TEST_F(TextInput, ATextThatIsSetMayFill511Bytes) {
    input.SetText(std::string(600, 'x').c_str());
    EXPECT_EQ(Text(), std::string(511, 'x'));
    EXPECT_EQ(input.length, 511u);
    EXPECT_EQ(input.caret, 511u);
    EXPECT_EQ(input.high_water, 511u);
    input.OnKey(Character('y')); // there is no byte left for it
    EXPECT_EQ(Text(), std::string(511, 'x'));
    Press(ktKeyBackspace);
    input.OnKey(Character('y')); // nor is there at 510
    EXPECT_EQ(Text(), std::string(510, 'x'));
}

TEST_F(TextInput, ATextThatIsSetReplacesTheOneBefore) {
    input.SetText("a long text");
    input.SetText("text");
    EXPECT_EQ(Text(), "text");
    EXPECT_EQ(input.length, 4u);
    EXPECT_EQ(input.caret, 4u);
    EXPECT_EQ(input.high_water, 4u);
    input.SetText(nullptr);
    EXPECT_EQ(Text(), "");
    EXPECT_EQ(input.length, 0u);
    EXPECT_EQ(input.caret, 0u);
    EXPECT_EQ(input.high_water, 0u);
}

TEST_F(TextInput, ClearingZeroesAllBytes) {
    input.SetText(std::string(511, 'x').c_str());
    input.reserved = 7;
    input.scroll = 5;
    input.Clear();
    for (size_t at = 0; at < ktTextInput::textSize; ++at) ASSERT_EQ(input.text[at], 0) << at;
    EXPECT_EQ(input.caret, 0u);
    EXPECT_EQ(input.length, 0u);
    EXPECT_EQ(input.high_water, 0u);
    EXPECT_EQ(input.reserved, 0u);
    EXPECT_EQ(input.scroll, 5u); // the next frame's business
}

TEST_F(TextInput, HighWaterStaysWhenBytesGo) {
    TypeText(input, "abc");
    Press(ktKeyBackspace);
    Press(ktKeyBackspace);
    input.OnKey(Character('d'));
    EXPECT_EQ(Text(), "ad");
    EXPECT_EQ(input.high_water, 3u);
}

TEST_F(TextInput, BackspaceTakesTheByteBeforeTheCaret) {
    Set("abcd", 2);
    EXPECT_TRUE(Press(ktKeyBackspace));
    EXPECT_EQ(Text(), "acd");
    EXPECT_EQ(input.caret, 1u);
    EXPECT_EQ(input.length, 3u);
}

TEST_F(TextInput, BackspaceAtTheStartDoesNothing) {
    Set("abc", 0);
    EXPECT_TRUE(Press(ktKeyBackspace));
    EXPECT_EQ(Text(), "abc");
    EXPECT_EQ(input.length, 3u);
    EXPECT_EQ(input.caret, 0u);
}

TEST_F(TextInput, DeleteTakesTheByteBehindTheCaret) {
    Set("abcd", 1);
    EXPECT_TRUE(Press(ktKeyDelete));
    EXPECT_EQ(Text(), "acd");
    EXPECT_EQ(input.caret, 1u);
    EXPECT_EQ(input.length, 3u);
}

TEST_F(TextInput, DeleteAtTheEndDoesNothing) {
    input.SetText("abc");
    EXPECT_TRUE(Press(ktKeyDelete));
    EXPECT_EQ(Text(), "abc");
    EXPECT_EQ(input.length, 3u);
}

TEST_F(TextInput, ArrowsHomeAndEndMoveTheCaretInsideTheText) {
    input.SetText("ab");
    EXPECT_TRUE(Press(ktKeyRight));
    EXPECT_EQ(input.caret, 2u);
    EXPECT_TRUE(Press(ktKeyLeft));
    EXPECT_EQ(input.caret, 1u);
    EXPECT_TRUE(Press(ktKeyHome));
    EXPECT_EQ(input.caret, 0u);
    EXPECT_TRUE(Press(ktKeyLeft));
    EXPECT_EQ(input.caret, 0u);
    EXPECT_TRUE(Press(ktKeyRight));
    EXPECT_EQ(input.caret, 1u);
    EXPECT_TRUE(Press(ktKeyEnd));
    EXPECT_EQ(input.caret, 2u);
}

TEST_F(TextInput, TabIsLeftToTheWindow) {
    EXPECT_FALSE(Press(ktKeyTab));
    EXPECT_TRUE(input.OnKey(Character('\t')));
    EXPECT_EQ(Text(), "");
}

TEST_F(TextInput, EnterGivesWhatOnEnterGives) {
    input.SetText("abc");
    EXPECT_FALSE(Press(ktKeyEnter));
    EXPECT_EQ(Text(), "abc");
    EnterInput derived;
    EXPECT_TRUE(derived.OnKey(KeyDown(ktKeyEnter)));
    EXPECT_EQ(derived.enters, 1);
    derived.OnKey(Character('\r'));
    EXPECT_EQ(derived.enters, 1);
}

TEST_F(TextInput, EscClears) {
    input.SetText("abc");
    EXPECT_TRUE(Press(ktKeyEscape));
    EXPECT_EQ(Text(), "");
    EXPECT_EQ(input.length, 0u);
}

TEST_F(TextInput, AllOtherKeysAreTakenWithoutEffect) {
    clipboard.Set("pasted");
    for (uint64_t key = 0; key < 300; ++key) {
        Set("abc", 1);
        if (key == ktKeyTab || key == ktKeyEnter) continue;
        EXPECT_TRUE(Press(key)) << key;
        const bool acts = key == ktKeyBackspace || key == ktKeyEscape || key == ktKeyDelete;
        EXPECT_TRUE(acts || Text() == "abc") << key;
    }
}

TEST_F(TextInput, CtrlVPastesAtTheCaret) {
    Set("ab", 1);
    clipboard.Set("123");
    EXPECT_TRUE(Press('V', ktModCtrl));
    EXPECT_EQ(Text(), "a123b");
    EXPECT_EQ(input.caret, 4u);
    EXPECT_EQ(input.length, 5u);
    EXPECT_EQ(input.high_water, 5u);
}

TEST_F(TextInput, VPastesWithCtrlAloneOnly) {
    clipboard.Set("123");
    for (const uint32_t mods : {0u, 2u, 3u, 4u, 5u, 7u, 9u}) {
        EXPECT_TRUE(Press('V', mods)) << mods;
        EXPECT_EQ(Text(), "") << mods;
    }
}

TEST_F(TextInput, APasteShorterThanTheTailRepeatsTheTailsFirstBytes) {
    Set("abcde", 0);
    clipboard.Set("XY");
    Press('V', ktModCtrl);
    EXPECT_EQ(Text(), "XYababa");
    Set("_abc", 1);
    clipboard.Set("X");
    Press('V', ktModCtrl);
    EXPECT_EQ(Text(), "_Xaaa");
    EXPECT_EQ(input.length, 5u);
}

TEST_F(TextInput, APasteAsLongAsTheTailKeepsIt) {
    Set("abc", 0);
    clipboard.Set("XYZ");
    Press('V', ktModCtrl);
    EXPECT_EQ(Text(), "XYZabc");
}

TEST_F(TextInput, APasteIsNotFiltered) {
    clipboard.Set("a\r\nb\t\xFC");
    Press('V', ktModCtrl);
    EXPECT_EQ(Text(), "a\r\nb\t\xFC");
}

TEST_F(TextInput, APasteThatDoesNotFitIsDroppedWhole) {
    input.SetText("abc");
    clipboard.Set(std::string(508, 'x'));
    EXPECT_TRUE(Press('V', ktModCtrl));
    EXPECT_EQ(Text(), "abc");
    clipboard.Set(std::string(507, 'x'));
    Press('V', ktModCtrl);
    EXPECT_EQ(Text(), "abc" + std::string(507, 'x'));
    EXPECT_EQ(input.high_water, 510u);
}

TEST_F(TextInput, AHugePasteIsDropped) {
    clipboard.Set(std::string(5000000, 'x'));
    Press('V', ktModCtrl);
    EXPECT_EQ(input.length, 0u);
}

TEST_F(TextInput, APasteFromAClipboardThatCannotBeHadIsDropped) {
    clipboard.Set("123");
    clipboard.Refuse();
    EXPECT_TRUE(Press('V', ktModCtrl));
    EXPECT_EQ(Text(), "");
}

TEST_F(TextInput, AnEmptyPasteChangesNothing) {
    Set("abc", 1);
    Press('V', ktModCtrl);
    EXPECT_EQ(Text(), "abc");
    EXPECT_EQ(input.caret, 1u);
}

TEST_F(TextInput, TextBehindTheLengthDoesNotComeBack) {
    input.SetText("abcdef");
    input.SetText("a");
    clipboard.Set("b");
    Press('V', ktModCtrl);
    EXPECT_EQ(Text(), "ab");
    input.OnKey(Character('c'));
    EXPECT_EQ(Text(), "abc");
}

TEST_F(TextInput, FocusShowsTheCaret) {
    EXPECT_TRUE(input.SetFocus(true));
    EXPECT_TRUE(input.has_focus);
    EXPECT_EQ(input.caret_color, ktColorFrom(0xFFFFFFFF));
    EXPECT_TRUE(input.SetFocus(false));
    EXPECT_FALSE(input.has_focus);
    EXPECT_EQ(input.caret_color, ktColorFrom(0x00FFFFFF));
}

TEST_F(TextInput, APressIsTakenAndDoesNotMoveTheCaret) {
    Set("abc", 2);
    EXPECT_TRUE(input.OnLeftDown(1, 1));
    EXPECT_TRUE(input.OnLeftUp(1, 1));
    EXPECT_TRUE(input.OnMouseMove(1, 1));
    EXPECT_TRUE(input.OnHoverEnter());
    EXPECT_TRUE(input.OnHoverLeave());
    EXPECT_EQ(input.caret, 2u);
    EXPECT_FALSE(input.OnRightDown(1, 1));
    EXPECT_FALSE(input.OnRightUp(1, 1));
    EXPECT_FALSE(input.OnWheel(true));
}

TEST_F(TextInputDraw, BackLineCaretAndText) {
    input.SetText("ab");
    input.SetFocus(true);
    Draw();
    const ktFlatVertex *back = list.triangles.FlatAt(input.back_first);
    EXPECT_EQ(back[0].x, 100);
    EXPECT_EQ(back[0].y, 50);
    EXPECT_EQ(back[2].x, 194);
    EXPECT_EQ(back[2].y, 70);
    EXPECT_EQ(back[0].color, input.back_color);
    const ktFlatVertex *line = list.lines.FlatAt(input.line_first);
    EXPECT_EQ(line[0].x, 100);
    EXPECT_EQ(line[0].y, 70);
    EXPECT_EQ(line[1].x, 194);
    EXPECT_EQ(line[1].y, 70);
    EXPECT_EQ(line[0].color, input.text_color);
    const ktFlatVertex *caret = list.lines.FlatAt(input.caret_first);
    EXPECT_EQ(caret[0].x, 118);
    EXPECT_EQ(caret[0].y, 50);
    EXPECT_EQ(caret[1].x, 118);
    EXPECT_EQ(caret[1].y, 70);
    EXPECT_EQ(caret[0].color, ktColorFrom(0xFFFFFFFF));
    const auto texts = DrawnTexts(list);
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0].text, "ab");
    EXPECT_EQ(texts[0].x, 100);
    EXPECT_EQ(texts[0].y, 50);
    EXPECT_EQ(texts[0].color, input.text_color);
    EXPECT_EQ(input.text_first, 0);
}

TEST_F(TextInputDraw, LaterFramesRewriteTheSameVertices) {
    Draw();
    input.SetText("abc");
    input.SetRect(10, 20, 60, 20);
    Draw();
    EXPECT_EQ(list.triangles.vertex_count, 4u);
    EXPECT_EQ(list.lines.vertex_count, 4u);
    EXPECT_EQ(list.triangles.FlatAt(input.back_first)->x, 10);
    EXPECT_EQ(CaretX(), 10 + 3 * int32_t{advance});
}

TEST_F(TextInputDraw, ALongTextScrollsWithTheCaret) {
    input.SetText("0123456789abcdef");
    Draw();
    EXPECT_EQ(input.scroll, 6u);
    EXPECT_EQ(Shown(), "6789abcdef");
    EXPECT_EQ(CaretX(), 100 + 10 * int32_t{advance});
    input.caret = 7;
    Draw();
    EXPECT_EQ(input.scroll, 6u);
    EXPECT_EQ(CaretX(), 100 + int32_t{advance});
    input.caret = 2;
    Draw();
    EXPECT_EQ(input.scroll, 2u);
    EXPECT_EQ(Shown(), "23456789ab");
    EXPECT_EQ(CaretX(), 100);
    input.Clear();
    Draw();
    EXPECT_EQ(input.scroll, 0u);
    EXPECT_EQ(Shown(), "");
    EXPECT_EQ(input.text_first, -1);
}

TEST_F(TextInputDraw, RoomForNoCharacterShowsTheWholeText) {
    input.SetRect(100, 50, advance - 1, 20);
    Set("0123456789abcdef", 0);
    Draw();
    EXPECT_EQ(Shown(), "0123456789abcdef");
}

TEST_F(TextInputDraw, WithoutAFontThereIsJustTheField) {
    input.SetFont(nullptr);
    input.SetText("abc");
    Draw();
    EXPECT_EQ(list.triangles.vertex_count, 4u);
    EXPECT_EQ(list.lines.vertex_count, 2u);
    EXPECT_EQ(list.text.vertex_count, 0u);
}

TEST_F(TextInputDraw, AFrameAllocatesNothing) {
    input.SetText(std::string(511, 'x').c_str());
    Draw();
    list.text.Clear();
    const uint64_t before = AllocationCount();
    input.Draw(list);
    EXPECT_EQ(AllocationCount(), before);
}
