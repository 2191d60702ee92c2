#pragma once

#include "commands/basic_cmd.h"
#include "commands/cmd_decl.h"
#include "commands/cmd_set.h"

#include <memory>
#include <vector>

/// Every command of the tables, with bodies that do nothing.
class ktDeclaredCmdSet final : public ktCmdSet {
public:
    ktDeclaredCmdSet() {
        for (const ktCmdDecl &decl : ktAllCmdDecls()) commands.push_back(std::make_unique<Idle>(decl.name));
    }
    ktCmd *GetCommand(uint64_t index) override {
        return index < commands.size() ? commands[index].get() : nullptr;
    }

private:
    struct Idle final : ktCmdWith<> {
        using ktCmdWith::ktCmdWith;
        uint32_t Execute(ktCmdArg *, uint32_t) override { return ktCmdOk; }
    };

    std::vector<std::unique_ptr<ktCmd>> commands;
};
