#include "platform/linux/window/key_translator.h"

#include "platform/linux/window/key_map.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

// Numbers of the USB keyboard page.
constexpr uint32_t keyA = 4;
constexpr uint32_t keyC = 6;
constexpr uint32_t keyM = 16;
constexpr uint32_t keyQ = 20;
constexpr uint32_t keyZ = 29;
constexpr uint32_t key1 = 30;
constexpr uint32_t key6 = 35;
constexpr uint32_t key7 = 36;
constexpr uint32_t key0 = 39;
constexpr uint32_t keyReturn = 40;
constexpr uint32_t keyEscape = 41;
constexpr uint32_t keyBackspace = 42;
constexpr uint32_t keyTab = 43;
constexpr uint32_t keySpace = 44;
constexpr uint32_t keyMinus = 45;
constexpr uint32_t keyLeftBracket = 47;
constexpr uint32_t keyRightBracket = 48;
constexpr uint32_t keyBackslash = 49;
constexpr uint32_t keyGrave = 53;
constexpr uint32_t keyF4 = 61;
constexpr uint32_t keyF11 = 68;
constexpr uint32_t keyDelete = 76;
constexpr uint32_t keypadEnter = 88;
constexpr uint32_t keypad7 = 95;
constexpr uint32_t keyIso102 = 100;
constexpr uint32_t keyF13 = 104;
constexpr uint32_t leftCtrl = 224;
constexpr uint32_t leftShift = 225;
constexpr uint32_t leftAlt = 226;
constexpr uint32_t rightAlt = 230;

/// The number of a key that makes no character.
constexpr uint32_t noCharacter = 0x40000000;

struct Held {
    bool ctrl = false;
    bool leftAlt = false;
    bool rightAlt = false;
    bool shift = false;
    bool capsLock = false;
    bool numLock = false;
};
constexpr Held nothing{};
constexpr Held ctrl{.ctrl = true};
constexpr Held shift{.shift = true};
constexpr Held alt{.leftAlt = true};
constexpr Held altR{.rightAlt = true};

/// One keyboard. Tells messages as words: d65 key down, u65 key up, c97 character.
class Keyboard {
public:
    std::string Down(uint32_t scancode, uint32_t sym, const Held &held = nothing, bool shiftsLevel = false) {
        messages.clear();
        keys.KeyDown(FactsOf(scancode, sym, held, shiftsLevel), messages);
        return Words();
    }
    std::string Up(uint32_t scancode, uint32_t sym, const Held &held = nothing) {
        messages.clear();
        keys.KeyUp(FactsOf(scancode, sym, held, false), messages);
        return Words();
    }
    std::string Text(std::string_view text) {
        messages.clear();
        keys.Text(text, messages);
        return Words();
    }
    /// A press, and the text that the system makes of it.
    std::string Press(uint32_t scancode, uint32_t sym, const Held &held, std::string_view text) {
        const std::string down = Down(scancode, sym, held);
        const std::string typed = Text(text);
        return typed.empty() ? down : down + " " + typed;
    }

    std::vector<ktNativeMessage> messages;

private:
    static ktKeyFacts FactsOf(uint32_t scancode, uint32_t sym, const Held &held, bool shiftsLevel) {
        ktKeyFacts facts;
        facts.scancode = scancode;
        facts.sym = sym;
        facts.ctrl = held.ctrl;
        facts.leftAlt = held.leftAlt;
        facts.rightAlt = held.rightAlt;
        facts.shift = held.shift;
        facts.capsLock = held.capsLock;
        facts.numLock = held.numLock;
        facts.shiftsLevel = shiftsLevel;
        return facts;
    }

    std::string Words() const {
        std::string words;
        for (const ktNativeMessage &message : messages) {
            if (!words.empty()) words += ' ';
            words += message.kind == ktMessageKind::keyDown     ? 'd'
                     : message.kind == ktMessageKind::keyUp     ? 'u'
                     : message.kind == ktMessageKind::character ? 'c'
                                                                : '?';
            words += std::to_string(message.key);
        }
        return words;
    }

    ktKeyTranslator keys;
};

} // namespace

TEST(KeyMap, LettersAndDigitsHaveTheNumbersOfTheirUpperCaseCharacters) {
    for (uint32_t at = 0; at < 26; ++at) EXPECT_EQ(VirtualKeyOf(keyA + at, 'a' + at, false), 'A' + at);
    for (uint32_t at = 0; at < 9; ++at) EXPECT_EQ(VirtualKeyOf(key1 + at, '1' + at, false), '1' + at);
    EXPECT_EQ(VirtualKeyOf(key0, '0', false), uint32_t('0'));
}

TEST(KeyMap, LettersGoByTheLayout) {
    EXPECT_EQ(VirtualKeyOf(keyQ, 'a', false), uint32_t('A'));   // French
    EXPECT_EQ(VirtualKeyOf(keyZ, 'y', false), uint32_t('Y'));   // German
    EXPECT_EQ(VirtualKeyOf(keyM, ',', false), 188u);            // French
    EXPECT_EQ(VirtualKeyOf(keyQ, 0x439, false), uint32_t('Q')); // Cyrillic
    EXPECT_EQ(VirtualKeyOf(keyQ, '\'', false), 222u);           // Dvorak
}

TEST(KeyMap, TheRowOfDigitsStaysOneWhereDigitsNeedShift) {
    EXPECT_EQ(VirtualKeyOf(key1, '&', false), uint32_t('1'));
    EXPECT_EQ(VirtualKeyOf(key6, '-', false), uint32_t('6'));
    EXPECT_EQ(VirtualKeyOf(key0, 0xE0, false), uint32_t('0'));
    EXPECT_EQ(VirtualKeyOf(key7, noCharacter + key7, false), uint32_t('7'));
}

TEST(KeyMap, FunctionKeysAreNumberedWithoutAGap) {
    for (uint32_t at = 0; at < 12; ++at) {
        EXPECT_EQ(VirtualKeyOf(58 + at, noCharacter, false), 112 + at);
        EXPECT_EQ(VirtualKeyOf(keyF13 + at, noCharacter, false), 124 + at);
    }
    EXPECT_EQ(VirtualKeyOf(keyF4, noCharacter, false), uint32_t(ktKeyF4));
    EXPECT_EQ(VirtualKeyOf(keyF11, noCharacter, false), uint32_t(ktKeyF11));
}

TEST(KeyMap, EveryKeyOfAFullKeyboardHasItsNumber) {
    const struct {
        uint32_t scancode;
        uint32_t key;
    } rows[] = {
        {40, 13},  {41, 27},  {42, 8},   {43, 9},   {44, 32},  {45, 189},  {46, 187}, {47, 219},
        {48, 221}, {49, 220}, {50, 220}, {51, 186}, {52, 222}, {53, 192},  {54, 188}, {55, 190},
        {56, 191}, {57, 20},  {70, 44},  {71, 145}, {72, 19},  {73, 45},   {74, 36},  {75, 33},
        {76, 46},  {77, 35},  {78, 34},  {79, 39},  {80, 37},  {81, 40},   {82, 38},  {83, 144},
        {84, 111}, {85, 106}, {86, 109}, {87, 107}, {88, 13},  {100, 226}, {101, 93}, {118, 93},
        {224, 17}, {225, 16}, {226, 18}, {227, 91}, {228, 17}, {229, 16},  {230, 18}, {231, 92},
    };
    for (const auto &row : rows)
        EXPECT_EQ(VirtualKeyOf(row.scancode, noCharacter, false), row.key) << row.scancode;
}

TEST(KeyMap, SignsGoByTheLayoutAndElseByTheirPlace) {
    const struct {
        char sign;
        uint32_t key;
    } rows[] = {{';', 186}, {'=', 187}, {',', 188},  {'-', 189}, {'.', 190}, {'/', 191},
                {'`', 192}, {'[', 219}, {'\\', 220}, {']', 221}, {'\'', 222}};
    for (const auto &row : rows)
        EXPECT_EQ(VirtualKeyOf(keyIso102, uint32_t(row.sign), false), row.key) << row.sign;
    EXPECT_EQ(VirtualKeyOf(keyIso102, '<', false), 226u);
    EXPECT_EQ(VirtualKeyOf(keyGrave, '^', false), uint32_t(ktKeyGrave));
    EXPECT_EQ(VirtualKeyOf(keyLeftBracket, 0xFC, false), 219u);
}

TEST(KeyMap, TheKeypadMakesDigitsOrMovements) {
    const uint32_t movements[] = {35, 40, 34, 37, 12, 39, 36, 38, 33, 45};
    for (uint32_t at = 0; at < 10; ++at) {
        const uint32_t digit = (at + 1) % 10;
        EXPECT_EQ(VirtualKeyOf(89 + at, noCharacter, true), 96 + digit);
        EXPECT_EQ(VirtualKeyOf(89 + at, noCharacter, false), movements[at]);
    }
    EXPECT_EQ(VirtualKeyOf(99, noCharacter, true), 110u);
    EXPECT_EQ(VirtualKeyOf(99, noCharacter, false), uint32_t(ktKeyDelete));
    EXPECT_TRUE(IsKeypadMovement(99));
    EXPECT_FALSE(IsKeypadMovement(keypadEnter));
}

TEST(KeyMap, UnknownKeysHaveNoNumber) {
    EXPECT_EQ(VirtualKeyOf(0, 0, false), 0u);
    EXPECT_EQ(VirtualKeyOf(511, noCharacter, true), 0u);
    EXPECT_EQ(VirtualKeyOf(UINT32_MAX, UINT32_MAX, true), 0u);
}

TEST(KeyTranslator, ACharacterFollowsItsKey) {
    Keyboard keyboard;
    EXPECT_EQ(keyboard.Press(keyA, 'a', nothing, "a"), "d65 c97");
    EXPECT_EQ(keyboard.Up(keyA, 'a'), "u65");
    EXPECT_EQ(keyboard.Press(keyA, 'a', shift, "A"), "d65 c65");
    EXPECT_EQ(keyboard.Press(key1, '1', shift, "!"), "d49 c33");
    EXPECT_EQ(keyboard.Press(keySpace, ' ', nothing, " "), "d32 c32");
}

TEST(KeyTranslator, MessagesCarryTheScanCodeAndOnePress) {
    Keyboard keyboard;
    keyboard.Down(keyReturn, 13);
    ASSERT_EQ(keyboard.messages.size(), 2u);
    for (const ktNativeMessage &message : keyboard.messages) {
        EXPECT_EQ(message.scan, keyReturn);
        EXPECT_EQ(message.repeat, 1);
    }
    keyboard.Down(511, 'x');
    ASSERT_EQ(keyboard.messages.size(), 1u);
    EXPECT_EQ(keyboard.messages[0].scan, 0xFF);
}

TEST(KeyTranslator, KeysOfTheEditingKindMakeControlCharacters) {
    Keyboard keyboard;
    for (const Held &held : {nothing, shift}) {
        EXPECT_EQ(keyboard.Down(keyReturn, 13, held), "d13 c13");
        EXPECT_EQ(keyboard.Down(keypadEnter, noCharacter, held), "d13 c13");
        EXPECT_EQ(keyboard.Down(keyBackspace, 8, held), "d8 c8");
        EXPECT_EQ(keyboard.Down(keyTab, 9, held), "d9 c9");
        EXPECT_EQ(keyboard.Down(keyEscape, 27, held), "d27 c27");
        EXPECT_EQ(keyboard.Down(keyDelete, 127, held), "d46");
    }
    EXPECT_EQ(keyboard.Down(keyReturn, 13, ctrl), "d13 c10");
    EXPECT_EQ(keyboard.Down(keyBackspace, 8, ctrl), "d8 c127");
    EXPECT_EQ(keyboard.Down(keyTab, 9, ctrl), "d9");
    EXPECT_EQ(keyboard.Down(keyEscape, 27, ctrl), "d27 c27");
    EXPECT_EQ(keyboard.Down(keySpace, ' ', ctrl), "d32 c32");
}

TEST(KeyTranslator, CtrlWithALetterMakesItsControlCharacter) {
    Keyboard keyboard;
    for (const Held &held : {ctrl, Held{.ctrl = true, .shift = true}, Held{.ctrl = true, .capsLock = true}}) {
        for (uint32_t at = 0; at < 26; ++at) {
            char wanted[16];
            std::snprintf(wanted, sizeof wanted, "d%u c%u", 'A' + at, 1 + at);
            EXPECT_EQ(keyboard.Down(keyA + at, 'a' + at, held), wanted);
        }
    }
    // By the layout, or by the place where the layout has no Latin letter.
    EXPECT_EQ(keyboard.Down(keyQ, 'a', ctrl), "d65 c1");
    EXPECT_EQ(keyboard.Down(keyC, 0x441, ctrl), "d67 c3");
}

TEST(KeyTranslator, CtrlWithBracketsMakesControlCharacters) {
    Keyboard keyboard;
    EXPECT_EQ(keyboard.Down(keyLeftBracket, '[', ctrl), "d219 c27");
    EXPECT_EQ(keyboard.Down(keyBackslash, '\\', ctrl), "d220 c28");
    EXPECT_EQ(keyboard.Down(keyIso102, '<', ctrl), "d226 c28");
    EXPECT_EQ(keyboard.Down(keyRightBracket, ']', ctrl), "d221 c29");
    EXPECT_EQ(keyboard.Down(keyLeftBracket, '[', Held{.ctrl = true, .shift = true}), "d219");
    EXPECT_EQ(keyboard.Down(keyLeftBracket, '['), "d219");
}

TEST(KeyTranslator, CtrlAndShiftWithTheCaretAndTheLowLineMakeControlCharacters) {
    Keyboard keyboard;
    const Held both{.ctrl = true, .shift = true};
    EXPECT_EQ(keyboard.Down(key6, '6', both), "d54 c30");
    EXPECT_EQ(keyboard.Down(keyMinus, '-', both), "d189 c31");
    EXPECT_EQ(keyboard.Down(key6, '6', ctrl), "d54");
    EXPECT_EQ(keyboard.Down(keyMinus, '-', ctrl), "d189");
    EXPECT_EQ(keyboard.Down(key6, '6', Held{.ctrl = true, .leftAlt = true, .shift = true}), "d54");
}

TEST(KeyTranslator, CtrlWithADigitMakesNone) {
    Keyboard keyboard;
    EXPECT_EQ(keyboard.Press(key1, '1', ctrl, "1"), "d49");
}

TEST(KeyTranslator, CtrlAndAltMakeNoControlCharacter) {
    Keyboard keyboard;
    const Held both{.ctrl = true, .leftAlt = true};
    EXPECT_EQ(keyboard.Down(keyA, 'a', both), "d65");
    EXPECT_EQ(keyboard.Down(keyReturn, 13, both), "d13");
    EXPECT_EQ(keyboard.Press(key1, '1', both, "1"), "d49");
    EXPECT_EQ(keyboard.Press(key1, '1', Held{.ctrl = true, .leftAlt = true, .shift = true}, "!"), "d49");
    EXPECT_EQ(keyboard.Press(keyQ, 'q', both, "@"), "d81 c64"); // a layout that makes one of both
}

TEST(KeyTranslator, AltNeverTypes) {
    Keyboard keyboard;
    EXPECT_EQ(keyboard.Down(leftAlt, noCharacter, alt), "d18");
    EXPECT_EQ(keyboard.Press(key1, '1', alt, "1"), "d49");
    EXPECT_EQ(keyboard.Press(keyGrave, '`', alt, "`"), "d192");
    EXPECT_EQ(keyboard.Press(keyA, 'a', Held{.leftAlt = true, .shift = true}, "A"), "d65");
    EXPECT_EQ(keyboard.Press(keyA, 'a', Held{.leftAlt = true, .capsLock = true}, "A"), "d65");
    EXPECT_EQ(keyboard.Down(keyReturn, 13, alt), "d13");
    EXPECT_EQ(keyboard.Down(keyBackspace, 8, alt), "d8");
    EXPECT_EQ(keyboard.Up(leftAlt, noCharacter), "u18");
    EXPECT_EQ(keyboard.Press(key1, '1', nothing, "1"), "d49 c49");
}

TEST(KeyTranslator, TheRightAltKeyAloneTypesOnlyWhatItChanged) {
    Keyboard keyboard;
    EXPECT_EQ(keyboard.Down(rightAlt, noCharacter, altR), "d18");
    EXPECT_EQ(keyboard.Press(key1, '1', altR, "1"), "d49");
    EXPECT_EQ(keyboard.Press(key7, '7', altR, "{"), "d55 c123");
    EXPECT_EQ(keyboard.Press(key1, '1', Held{.rightAlt = true, .shift = true}, "!"), "d49");
    EXPECT_EQ(keyboard.Press(keyA, 'a', Held{.rightAlt = true, .capsLock = true}, "A"), "d65");
    EXPECT_EQ(keyboard.Press(key7, '7', Held{.leftAlt = true, .rightAlt = true}, "{"), "d55");
    EXPECT_EQ(keyboard.Press(keypad7, noCharacter + keypad7, Held{.rightAlt = true, .numLock = true}, "7"),
              "d103");
}

TEST(KeyTranslator, AltGrComesAsCtrlAndAlt) {
    Keyboard keyboard;
    EXPECT_EQ(keyboard.Down(rightAlt, noCharacter, altR, true), "d17 d18");
    EXPECT_EQ(keyboard.Press(key7, '7', altR, "{"), "d55 c123");
    EXPECT_EQ(keyboard.Press(keyQ, 'q', altR, "@"), "d81 c64");
    EXPECT_EQ(keyboard.Press(key1, '1', Held{.rightAlt = true, .shift = true}, "\xC2\xA1"), "d49 c161");
    EXPECT_EQ(keyboard.Press(keyA, 'a', altR, ""), "d65"); // no control character
    EXPECT_EQ(keyboard.Up(rightAlt, noCharacter), "u17 u18");
    EXPECT_EQ(keyboard.Up(rightAlt, noCharacter), "u18");
    EXPECT_EQ(keyboard.Press(key7, '7', alt, "7"), "d55");
}

TEST(KeyTranslator, WhatIsHeldFollowsReleases) {
    Keyboard keyboard;
    keyboard.Down(leftCtrl, noCharacter, ctrl);
    EXPECT_EQ(keyboard.Text("x"), "");
    EXPECT_EQ(keyboard.Up(leftCtrl, noCharacter), "u17");
    EXPECT_EQ(keyboard.Text("x"), "c120"); // an input method's
}

TEST(KeyTranslator, LeftAndRightModifiersAreOne) {
    Keyboard keyboard;
    for (const uint32_t right : {0u, 4u}) {
        EXPECT_EQ(keyboard.Down(leftCtrl + right, noCharacter), "d17");
        EXPECT_EQ(keyboard.Down(leftShift + right, noCharacter), "d16");
        EXPECT_EQ(keyboard.Down(leftAlt + right, noCharacter), "d18");
    }
}

TEST(KeyTranslator, TheKeypadFollowsNumLockAndShift) {
    Keyboard keyboard;
    const uint32_t sym = noCharacter + keypad7;
    EXPECT_EQ(keyboard.Press(keypad7, sym, Held{.numLock = true}, "7"), "d103 c55");
    EXPECT_EQ(keyboard.Press(keypad7, sym, nothing, ""), "d36");
    EXPECT_EQ(keyboard.Press(keypad7, sym, Held{.shift = true, .numLock = true}, ""), "d36");
    EXPECT_EQ(keyboard.Press(keypad7, sym, shift, "7"), "d36"); // a movement types nothing
}

TEST(KeyTranslator, EachUtf16UnitIsACharacter) {
    Keyboard keyboard;
    EXPECT_EQ(keyboard.Text("\xC3\xA9\xE2\x82\xAC"), "c233 c8364");
    EXPECT_EQ(keyboard.Text("\xF0\x9F\x98\x80z"), "c55357 c56832 c122");
    EXPECT_EQ(keyboard.Text(""), "");
}

TEST(KeyTranslator, BytesThatAreNoCharacterAreLeftOut) {
    Keyboard keyboard;
    EXPECT_EQ(keyboard.Text("\x80"
                            "a"),
              "c97");
    EXPECT_EQ(keyboard.Text("\xC3"), "");
    EXPECT_EQ(keyboard.Text("\xE2\x82"
                            "b"),
              "c98");
    EXPECT_EQ(keyboard.Text("\xC0\x80"), "");         // longer than needed
    EXPECT_EQ(keyboard.Text("\xE0\x80\x80"), "");     // the same
    EXPECT_EQ(keyboard.Text("\xED\xA0\x80"), "");     // half of a pair
    EXPECT_EQ(keyboard.Text("\xF4\x90\x80\x80"), ""); // above the last one
    EXPECT_EQ(keyboard.Text("\xFF\xFE\xF8q"), "c113");
    EXPECT_EQ(keyboard.Text("\xF4\x8F\xBF\xBF"), "c56319 c57343");
}
