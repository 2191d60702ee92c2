#pragma once

#include "commands/cmd.h"
#include "commands/cmd_line.h"
#include "commands/cmd_set.h"

#include <atomic>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// A command whose declarations and body a test sets as it likes.
class ktScriptedCmd : public ktCmd {
public:
    using Body = std::function<uint32_t(ktCmdArg *args, uint32_t argCount)>;

    explicit ktScriptedCmd(std::string newName, std::vector<uint32_t> newTypes = {}, uint32_t newMinArgs = 0)
        : name(std::move(newName)), types(std::move(newTypes)), minArgs(newMinArgs) {}

    void SetCmdContext(const ktCmdContext &newContext) override { context = newContext; }
    void GetCmdContext(ktCmdContext *out) override {
        if (out) *out = context;
    }
    uint32_t Execute(ktCmdArg *args, uint32_t argCount) override {
        ++runs;
        return body ? body(args, argCount) : uint32_t{ktCmdOk};
    }
    const char *GetName() const override { return name.c_str(); }
    const char *GetSummary() const override { return summary.c_str(); }
    const char *GetHelpLine(uint32_t index) const override {
        return index < helpLines.size() ? helpLines[index].c_str() : nullptr;
    }
    uint32_t GetMaxArgs() const override { return static_cast<uint32_t>(types.size()); }
    uint32_t GetMinArgs() const override { return minArgs; }
    uint32_t GetArgType(uint32_t index) const override {
        return index < types.size() ? types[index] : uint32_t{ktArgNone};
    }
    bool IsSynchronous() const override { return synchronous; }
    bool IsHidden() const override { return hidden; }
    bool Cancel() override {
        ++cancels;
        return onCancel && onCancel();
    }

    std::string name;
    std::string summary;
    std::vector<std::string> helpLines;
    std::vector<uint32_t> types; ///< ktArgType of each position
    uint32_t minArgs;
    bool synchronous = true;
    bool hidden = false;
    Body body;                      ///< without one, Execute gives ktCmdOk
    std::function<bool()> onCancel; ///< without one, Cancel gives false
    ktCmdContext context;
    std::atomic<uint32_t> runs = 0;
    std::atomic<uint32_t> cancels = 0;
};

/// A set of commands that a test owns.
class ktScriptedCmdSet : public ktCmdSet {
public:
    ktScriptedCmdSet(std::initializer_list<ktCmd *> newCommands) : commands(newCommands) {}
    ktCmd *GetCommand(uint64_t index) override {
        ++asked;
        return index < commands.size() ? commands[index] : nullptr;
    }

    std::vector<ktCmd *> commands;
    uint32_t asked = 0; ///< calls of GetCommand
};
