#include "commands/cmd_help.h"

#include "commands/cmd_decl.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

Texts LinesOf(const char *name) {
    Texts lines;
    for (const char *line : ktFindCmdHelp(name).lines) {
        if (!line) break;
        lines.emplace_back(line);
    }
    return lines;
}

// Each kind of argument as a letter.
const char kindLetters[] = "??O?PCALYMHDETNXS";
const std::string edit = "L" + std::string(31, 'H');
constexpr bool atOnce = true, worker = false, hidden = true;

struct Declared {
    const char *name;
    std::string kinds;
    uint32_t minArgs;
    bool atOnce;
    bool hidden = false;
};

const Declared expected[] = {
    {"bc", "D", 1, worker},
    {"bcls", "", 0, worker},
    {"bl", "S", 0, worker},
    {"bp", "L", 1, worker},
    {"break", "", 0, atOnce},
    {"cls", "", 0, atOnce},
    {"cm", "", 0, atOnce},
    {"connect", "ETN", 2, worker},
    {"cpuid", "HH", 1, atOnce},
    {"db", "LH", 1, worker},
    {"dd", "LH", 1, worker},
    {"disconnect", "", 0, atOnce},
    {"dq", "LH", 1, worker},
    {"dt", "YA", 1, atOnce},
    {"dw", "LH", 1, worker},
    {"eb", edit, 2, worker},
    {"ecu", "M", 1, atOnce},
    {"ed", edit, 2, worker},
    {"efn", "O", 1, atOnce},
    {"em", "", 0, atOnce},
    {"eq", edit, 2, worker},
    {"eval", "X", 1, atOnce},
    {"ew", edit, 2, worker},
    {"g", "", 0, atOnce},
    {"gfx.fb", "", 0, worker, hidden},
    {"help", "C", 0, atOnce},
    {"inb", "HH", 1, atOnce},
    {"ind", "HH", 1, atOnce},
    {"inw", "HH", 1, atOnce},
    {"lmf", "PH", 1, worker},
    {"lsf", "MP", 2, worker},
    {"lsr", "M", 1, worker},
    {"mod.detect", "L", 0, atOnce},
    {"outb", "HH", 2, atOnce},
    {"outd", "HH", 2, atOnce},
    {"outw", "HH", 2, atOnce},
    {"pte", "L", 1, atOnce},
    {"q", "", 0, atOnce},
    {"r", "", 0, atOnce},
    {"rdmsr", "H", 1, atOnce},
    {"restart", "", 0, atOnce},
    {"sl", "SSSS", 1, atOnce},
    {"srcpath", "MP", 1, atOnce},
    {"sw", "D", 1, atOnce},
    {"sym.download.folder", "P", 0, atOnce},
    {"sym.folder.add", "P", 1, atOnce},
    {"sym.folder.delete", "D", 1, atOnce},
    {"sym.folder.list", "", 0, atOnce},
    {"sym.server.add", "S", 1, atOnce},
    {"sym.server.delete", "D", 1, atOnce},
    {"sym.server.list", "", 0, atOnce},
    {"t", "D", 0, worker},
    {"tua", "A", 1, worker},
    {"tui", "S", 1, worker},
    {"u", "LD", 1, atOnce},
    {"um", "M", 1, atOnce},
    {"update", "", 0, worker},
    {"xa", "A", 1, atOnce},
    {"xl", "O", 1, atOnce},
};

TEST(CmdDecl, All59CommandsDeclareTheirArgumentsAndTheirThread) {
    const auto decls = ktAllCmdDecls();
    ASSERT_EQ(decls.size(), 59u);
    ASSERT_EQ(std::size(expected), 59u);
    for (size_t i = 0; i < decls.size(); ++i) {
        const ktCmdDecl &decl = decls[i];
        EXPECT_STREQ(decl.name, expected[i].name);
        std::string kinds;
        for (uint32_t position = 0; decl.TypeAt(position) != ktArgNone; ++position)
            kinds += kindLetters[decl.TypeAt(position)];
        EXPECT_EQ(kinds, expected[i].kinds) << decl.name;
        EXPECT_EQ(decl.maxArgs, kinds.size()) << decl.name;
        EXPECT_EQ(decl.minArgs, expected[i].minArgs) << decl.name;
        EXPECT_EQ(decl.runs == ktCmdRuns::atOnce, expected[i].atOnce) << decl.name;
        EXPECT_EQ(decl.hidden, expected[i].hidden) << decl.name;
        EXPECT_EQ(&ktFindCmdDecl(decl.name), &decl);
    }
}

TEST(CmdDecl, NoCommandPasses32Positions) {
    for (const ktCmdDecl &decl : ktAllCmdDecls()) {
        EXPECT_LE(decl.maxArgs, ktMaxArgs) << decl.name;
        EXPECT_EQ(decl.TypeAt(ktMaxArgs), ktArgNone) << decl.name;
        EXPECT_EQ(decl.TypeAt(UINT32_MAX), ktArgNone) << decl.name;
    }
}

TEST(CmdHelp, EveryDeclaredCommandHasItsTexts) {
    const auto texts = ktAllCmdHelp();
    ASSERT_EQ(texts.size(), ktAllCmdDecls().size());
    for (size_t i = 0; i < texts.size(); ++i) {
        const std::string name = texts[i].name;
        EXPECT_EQ(name, ktAllCmdDecls()[i].name);
        EXPECT_EQ(std::string(texts[i].summary).rfind(name + " - ", 0), 0u) << name;
        EXPECT_EQ(texts[i].lines.back(), nullptr) << name;
        const Texts lines = LinesOf(texts[i].name);
        ASSERT_GE(lines.size(), 3u) << name;
        EXPECT_EQ(lines[1], "Syntax:") << name;
        const std::string word = name == "tua" ? "tui" : name;
        EXPECT_EQ((lines[2] + " ").rfind("   " + word + " ", 0), 0u) << name;
    }
}

TEST(CmdHelp, ShortTexts) {
    EXPECT_STREQ(ktFindCmdHelp("bc").summary, "bc - breakpoint clear");
    EXPECT_EQ(LinesOf("bc"), (Texts{"Clears a breakpoint by ID", "Syntax:", "   bc breakpoint_id"}));
    EXPECT_EQ(LinesOf("xl"),
              (Texts{"Examines a location, providing the address if looked up",
                     "Syntax:", "   xl location_string", "Location string is used as follows:",
                     "   module_name!comp_unit_name|function_name, wildcards (*) might be used"}));
}

TEST(CmdHelp, TheLongestTextIsWhole) {
    EXPECT_EQ(LinesOf("connect"),
              (Texts{"Connects to a new debugging session",
                     "Syntax:", "   connect engine_type transport_type [transport_address]",
                     "Current supported engines:", "   static - load data from executables locally",
                     "   sable - SableDbg"}));
}

TEST(CmdHelp, TwoSentencesRunTogetherWithoutABreak) {
    const std::string wildcards = "   module_name!comp_unit_name|function_name, wildcards (*) might be used";
    for (const char *name : {"db", "dw", "dd", "dq"})
        EXPECT_EQ(LinesOf(name).back(), wildcards + "Byte count is specified as a hex value") << name;
    EXPECT_EQ(LinesOf("u").back(), wildcards + "Line count is specified as a decimal value");
}

TEST(CmdHelp, TheWordInTheSyntaxOfEvalIsKept) {
    EXPECT_EQ(LinesOf("eval"),
              (Texts{"Evaluates a mathematical expression, using numbers and C like operators",
                     "Syntax:", "   eval exrpession", "Example:", "   eval \"1 + (2 * 3)\""}));
}

TEST(CmdHelp, TheSyntaxOfTuaNamesTui) { EXPECT_EQ(LinesOf("tua")[2], "   tui linear_address"); }

TEST(CmdHelp, QuotesInsideALineAreKept) {
    EXPECT_EQ(LinesOf("sl")[4], "sl exec byte");
    EXPECT_EQ(LinesOf("sl")[5], "Will look up \"cu!temp|ExecSuperByteHere\", \"byte!exec|function\" etc");
}

TEST(CmdHelp, AnUnknownNameHasEmptyTexts) {
    EXPECT_STREQ(ktFindCmdHelp("nosuch").name, "");
    EXPECT_STREQ(ktFindCmdHelp("nosuch").summary, "");
    EXPECT_TRUE(LinesOf("nosuch").empty());
    EXPECT_STREQ(ktFindCmdDecl("nosuch").name, "");
}

} // namespace

TEST(CmdHelp, EveryTextIsToTheLetterWhatUsersKnow) {
    std::ostringstream all;
    for (const ktCmdHelp &help : ktAllCmdHelp()) {
        all << help.name << '\t' << help.summary << '\n';
        for (const std::string &line : LinesOf(help.name)) all << help.name << '\t' << line << '\n';
    }
    std::ifstream file(SABLE_TEST_DATA "/help_texts.txt");
    ASSERT_TRUE(file.is_open());
    std::ostringstream golden;
    golden << file.rdbuf();
    EXPECT_EQ(all.str(), golden.str());
}
