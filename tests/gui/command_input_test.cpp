#include "gui/command_input.h"
#include "gui/completion.h"
#include "gui/window.h"
#include "platform/native_message.h"
#include "support/key_events.h"
#include "support/processor_fixture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

/// Gives its candidates in a circle.
class FakeCompletion final : public ktCompletion {
public:
    bool BuildCandidates(const char *line) override {
        built.emplace_back(line);
        place = 0;
        return hasCandidates;
    }
    char *NextCandidate(bool forward) override {
        directions.push_back(forward);
        if (candidates.empty()) return nullptr;
        place = (place + (forward ? 1 : candidates.size() - 1)) % candidates.size();
        const std::string &line = candidates[place];
        char *copy = static_cast<char *>(std::malloc(line.size() + 1));
        if (copy) std::memcpy(copy, line.c_str(), line.size() + 1);
        return copy;
    }

    bool hasCandidates = true;
    std::vector<std::string> candidates{"c0", "c1", "c2"};
    std::vector<std::string> built;
    std::vector<bool> directions;
    size_t place = 0;
};

class Page final : public ktWindow {};

class CommandInput : public ktProcessorFixture {
protected:
    void SetUp() override {
        ktProcessorFixture::SetUp();
        input.processor = &processor;
        input.completion = &completion;
    }
    std::string Text() const { return input.text.Copy().data(); }
    bool Press(uint64_t key, uint32_t mods = 0) { return input.OnKey(KeyDown(key, mods)); }
    void Run(const char *line) {
        input.SetText(line);
        Press(ktKeyEnter);
    }

    FakeCompletion completion;
    ktCommandInput input;
};

} // namespace

TEST_F(CommandInput, EnterRunsTheLineAndClearsTheInput) {
    TypeText(input, "now text");
    EXPECT_FALSE(Press(ktKeyEnter));
    EXPECT_EQ(now.runs, 1u);
    EXPECT_EQ(Text(), "");
    EXPECT_EQ(HistoryOf(processor), Texts{"now text"});
}

TEST_F(CommandInput, EnterDuringARunningCommandKeepsTheText) {
    Occupy();
    input.SetText("now");
    input.history_index = 1;
    EXPECT_FALSE(Press(ktKeyEnter));
    EXPECT_EQ(Text(), "now");
    EXPECT_EQ(now.runs, 0u);
    EXPECT_EQ(input.history_index, 1u);
    Finish();
    EXPECT_FALSE(Press(ktKeyEnter));
    EXPECT_EQ(now.runs, 1u);
    EXPECT_EQ(Text(), "");
}

TEST_F(CommandInput, EnterWithoutAProcessorKeepsTheText) {
    input.processor = nullptr;
    input.SetText("now");
    EXPECT_FALSE(Press(ktKeyEnter));
    EXPECT_EQ(Text(), "now");
}

TEST_F(CommandInput, AnUnknownLineIsClearedAsWell) {
    Run("nonsense");
    EXPECT_EQ(Text(), "");
    EXPECT_TRUE(HistoryOf(processor).empty());
}

TEST_F(CommandInput, EscCancelsWhatRunsAndClears) {
    waiting.onCancel = [this] {
        release.Set();
        return true;
    };
    Occupy();
    input.SetText("now");
    EXPECT_TRUE(Press(ktKeyEscape));
    EXPECT_EQ(waiting.cancels, 1u);
    EXPECT_FALSE(processor.IsBusy());
    EXPECT_EQ(Text(), "");
}

TEST_F(CommandInput, EscCancelsNothingWhenNothingRuns) {
    Occupy();
    Finish();
    input.SetText("now");
    EXPECT_TRUE(Press(ktKeyEscape));
    EXPECT_EQ(waiting.cancels, 0u);
    EXPECT_EQ(Text(), "");
    input.processor = nullptr;
    input.SetText("now");
    EXPECT_TRUE(Press(ktKeyEscape));
    EXPECT_EQ(Text(), "");
}

TEST_F(CommandInput, UpGoesBackThroughTheHistoryAndStopsAtTheOldest) {
    Run("now a");
    Run("now b");
    Run("now c");
    for (const char *line : {"now c", "now b", "now a", "now a"}) {
        EXPECT_TRUE(Press(ktKeyUp));
        EXPECT_EQ(Text(), line);
        EXPECT_EQ(input.caret, 5u);
    }
    EXPECT_EQ(input.history_index, 3u);
}

TEST_F(CommandInput, DownComesForwardAndEndsInAnEmptyInput) {
    Run("now a");
    Run("now b");
    Press(ktKeyUp);
    Press(ktKeyUp);
    EXPECT_TRUE(Press(ktKeyDown));
    EXPECT_EQ(Text(), "now b");
    EXPECT_TRUE(Press(ktKeyDown));
    EXPECT_EQ(Text(), "");
    EXPECT_EQ(input.history_index, 0u);
    input.SetText("typed");
    EXPECT_TRUE(Press(ktKeyDown));
    EXPECT_EQ(Text(), "");
}

TEST_F(CommandInput, UpWithAnEmptyHistoryChangesNothing) {
    input.SetText("typed");
    EXPECT_TRUE(Press(ktKeyUp));
    EXPECT_EQ(Text(), "typed");
    EXPECT_EQ(input.history_index, 0u);
    input.processor = nullptr;
    EXPECT_TRUE(Press(ktKeyUp));
    EXPECT_EQ(Text(), "typed");
}

TEST_F(CommandInput, ARunStartsTheHistoryAtItsEndAgain) {
    Run("now a");
    Run("now b");
    Press(ktKeyUp);
    Press(ktKeyUp);
    EXPECT_EQ(Text(), "now a");
    Press(ktKeyEnter);
    EXPECT_EQ(input.history_index, 0u);
    Press(ktKeyUp);
    EXPECT_EQ(Text(), "now a");
    Press(ktKeyUp);
    EXPECT_EQ(Text(), "now b");
}

TEST_F(CommandInput, CharactersWithTheNumbersOfArrowsAreTyped) {
    Run("now a");
    input.OnKey(Character(ktKeyUp));
    input.OnKey(Character(ktKeyDown));
    EXPECT_EQ(Text(), "&(");
}

TEST_F(CommandInput, TabReplacesTheTextWithTheNextCandidate) {
    input.SetText("c");
    EXPECT_FALSE(Press(ktKeyTab));
    EXPECT_EQ(Text(), "c1");
    EXPECT_EQ(input.caret, 2u);
    EXPECT_FALSE(Press(ktKeyTab));
    EXPECT_EQ(Text(), "c2");
    EXPECT_EQ(completion.built, Texts{"c"});
    EXPECT_EQ(completion.directions, (std::vector<bool>{true, true}));
}

TEST_F(CommandInput, ShiftTabTakesTheCandidateBefore) {
    Press(ktKeyTab);
    Press(ktKeyShift, ktModShift);
    EXPECT_FALSE(Press(ktKeyTab, ktModShift));
    EXPECT_EQ(Text(), "c0");
    EXPECT_EQ(completion.built.size(), 1u);
    EXPECT_EQ(completion.directions, (std::vector<bool>{true, false}));
}

TEST_F(CommandInput, TheCharacterOfTheTabKeyDoesNotEndTheCycle) {
    Press(ktKeyTab);
    EXPECT_TRUE(input.OnKey(Character('\t')));
    Press(ktKeyTab);
    EXPECT_EQ(completion.built.size(), 1u);
    EXPECT_EQ(Text(), "c2");
}

TEST_F(CommandInput, AnyOtherKeyOrCharacterEndsTheCycle) {
    for (const ktKeyEvent &event : {KeyDown(ktKeyCtrl), KeyDown(ktKeyLeft), Character('x'), Character(1)}) {
        completion.built.clear();
        Press(ktKeyTab);
        EXPECT_TRUE(input.completionActive);
        input.OnKey(event);
        EXPECT_FALSE(input.completionActive);
        const std::string text = Text();
        Press(ktKeyTab);
        EXPECT_EQ(completion.built.back(), text);
        input.OnKey(KeyDown(ktKeyEscape));
    }
}

TEST_F(CommandInput, TabWithCtrlOrAltIsNotCompletion) {
    for (const uint32_t mods : {1u, 2u, 3u, 5u, 6u, 8u}) EXPECT_FALSE(Press(ktKeyTab, mods)) << mods;
    EXPECT_TRUE(completion.built.empty());
    Press(ktKeyTab);
    Press(ktKeyTab, ktModCtrl);
    EXPECT_TRUE(input.completionActive);
    EXPECT_EQ(completion.directions.size(), 1u);
}

TEST_F(CommandInput, WithoutCandidatesTheTextStays) {
    input.SetText("typed");
    completion.hasCandidates = false;
    EXPECT_FALSE(Press(ktKeyTab));
    EXPECT_FALSE(Press(ktKeyTab));
    EXPECT_EQ(Text(), "typed");
    EXPECT_EQ(completion.built.size(), 2u);
    EXPECT_TRUE(completion.directions.empty());
    completion.hasCandidates = true;
    completion.candidates.clear();
    EXPECT_FALSE(Press(ktKeyTab));
    EXPECT_EQ(Text(), "typed");
    EXPECT_EQ(completion.directions.size(), 1u);
}

TEST_F(CommandInput, WithoutACompletionTabDoesNothing) {
    input.completion = nullptr;
    input.SetText("typed");
    EXPECT_FALSE(Press(ktKeyTab));
    EXPECT_EQ(Text(), "typed");
    EXPECT_FALSE(input.completionActive);
}

TEST_F(CommandInput, TheCaretGoesBeforeTheQuoteThatEndsACandidate) {
    completion.candidates = {"lmf \"C:\\Windows\""};
    Press(ktKeyTab);
    EXPECT_EQ(Text(), "lmf \"C:\\Windows\"");
    EXPECT_EQ(input.caret, input.length - 1);
    completion.candidates = {"lmf \"C:\\Windows\" "};
    Press(ktKeyTab);
    EXPECT_EQ(input.caret, input.length);
}

TEST_F(CommandInput, ACandidateThatIsCutHasItsCaretAtTheEnd) {
    completion.candidates = {std::string(600, 'x') + '"'};
    Press(ktKeyTab);
    EXPECT_EQ(Text(), std::string(511, 'x'));
    EXPECT_EQ(input.caret, 511u);
    completion.candidates = {std::string(510, 'x') + '"'};
    Press(ktKeyTab);
    EXPECT_EQ(input.caret, 510u);
    completion.candidates = {""};
    Press(ktKeyTab);
    EXPECT_EQ(input.caret, 0u);
}

TEST_F(CommandInput, AltGraveGivesItTheFocusOfItsPage) {
    Page page;
    ktTextInput other;
    page.MoveFocus(&other);
    EXPECT_TRUE(input.OnFocusKey(page, KeyDown(ktKeyGrave, ktModAlt)));
    EXPECT_EQ(page.focus, &input);
    EXPECT_TRUE(input.has_focus);
    EXPECT_FALSE(other.has_focus);
    EXPECT_FALSE(input.OnFocusKey(page, KeyDown(ktKeyGrave, ktModAlt)));
    EXPECT_EQ(page.focus, &input);
}

TEST_F(CommandInput, OtherKeysDoNotGiveItTheFocus) {
    Page page;
    for (const uint32_t mods : {0u, 1u, 3u, 4u, 6u})
        EXPECT_FALSE(input.OnFocusKey(page, KeyDown(ktKeyGrave, mods))) << mods;
    EXPECT_FALSE(input.OnFocusKey(page, KeyDown('A', ktModAlt)));
    EXPECT_EQ(page.focus, nullptr);
}
