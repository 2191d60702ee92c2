#pragma once

#include "commands/cmd_processor.h"
#include "platform/sync.h"
#include "support/scripted_cmd.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

inline std::vector<std::string> HistoryOf(const ktCmdProcessor &processor) {
    std::vector<std::string> lines;
    for (const char *line : processor.History()) lines.emplace_back(line);
    return lines;
}

inline std::vector<std::string> NamesOf(const ktCmdProcessor &processor) {
    std::vector<std::string> names;
    for (const ktCmd *command : processor.Commands()) names.emplace_back(command->GetName());
    return names;
}

using Texts = std::vector<std::string>;

/// A processor with a running worker, and commands of each sort. Declared first, the commands outlive it.
class ktProcessorFixture : public testing::Test {
protected:
    void SetUp() override {
        queued.synchronous = false;
        waiting.synchronous = false;
        waiting.body = [this](ktCmdArg *, uint32_t) {
            begun.Set();
            release.Wait();
            return uint32_t{ktCmdOk};
        };
        ASSERT_TRUE(processor.StartWorker());
        ASSERT_TRUE(processor.RegisterSet(&set));
    }
    void TearDown() override { Finish(); }

    /// Makes the worker busy until Finish.
    void Occupy() {
        ASSERT_EQ(processor.RunLine("wait"), ktCmdQueued);
        begun.Wait();
    }
    void Finish() {
        release.Set();
        processor.Worker().WaitUntilIdle();
    }

    ktEvent begun, release;
    ktScriptedCmd now{"now", {ktArgString, ktArgHex, ktArgAddressOrLocation}};
    ktScriptedCmd queued{"queued", {ktArgString, ktArgHex, ktArgAddressOrLocation}};
    ktScriptedCmd waiting{"wait", {ktArgString}};
    ktScriptedCmd strict{"strict", {ktArgHex}, 1};
    ktScriptedCmdSet set{&now, &queued, &waiting, &strict};
    ktCmdProcessor processor;
};
