#pragma once

#include "support/command_rig.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/// Typed commands in a session with the scripted target, each with its own output and calls.
class ktTargetCmdTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(rig.Run("connect sable usb3"), 0u);
        rig.target.ForgetCalls();
    }
    uint64_t Run(const char *line) {
        rig.output.lines.clear();
        rig.target.ForgetCalls();
        return rig.Run(line);
    }
    const std::vector<std::string> &Output() const { return rig.output.lines; }

    ktCommandRig rig;
};
