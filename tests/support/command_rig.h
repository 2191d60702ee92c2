#pragma once

#include "commands/cmd_line.h"
#include "commands/session_cmd_set.h"
#include "commands/startup_cmd_set.h"
#include "support/fake_clock.h"
#include "support/session_rig.h"

#include <initializer_list>
#include <memory>
#include <string>

/// A ktSessionRig with the program's own command sets.
struct ktCommandRig : ktSessionRig {
    static std::unique_ptr<ktCmdSet> CreateSessionSet() { return std::make_unique<ktSessionCmdSet>(); }
    static constexpr ktSessionFactories realSets = {ktFakeDisasm::Create, CreateSessionSet,
                                                    ktFakeTarget::CreateEngine};

    explicit ktCommandRig(ktClock &clock = SystemClock()) : ktSessionRig(realSets), startupSet(clock) {
        processor.RegisterSet(&startupSet);
        ktCmdContext context;
        context.session = &session;
        context.output = &output;
        context.processor = &processor;
        context.gui = &gui;
        for (uint64_t i = 0; ktCmd *command = startupSet.GetCommand(i); ++i) command->SetCmdContext(context);
    }
    ~ktCommandRig() { session.Disconnect(); } // the startup set goes before the processor

    /// Runs a line to its end; the status of the run.
    uint64_t Run(const char *line) {
        const uint32_t status = processor.RunLine(line);
        if (status != ktCmdQueued) return status;
        processor.Worker().WaitUntilIdle();
        return processor.LastQueuedStatus();
    }

    ktStartupCmdSet startupSet;
};

/// Binds `command` to a session and runs it with numbers as its arguments.
inline uint32_t ExecuteIn(ktSession *session, ktCmd &command, std::initializer_list<uint64_t> numbers = {}) {
    ktCmdContext context;
    context.session = session;
    command.SetCmdContext(context);
    ktCmdArg args[4] = {};
    uint32_t count = 0;
    for (const uint64_t number : numbers) args[count++].value = number;
    return command.Execute(args, count);
}

/// The same with texts.
inline uint32_t ExecuteIn(ktSession *session, ktCmd &command, std::initializer_list<const char *> texts) {
    ktCmdContext context;
    context.session = session;
    command.SetCmdContext(context);
    std::string copies[4];
    ktCmdArg args[4] = {};
    uint32_t count = 0;
    for (const char *text : texts) {
        if (text) {
            copies[count] = text;
            args[count].text = copies[count].data();
        }
        ++count;
    }
    return command.Execute(args, count);
}
