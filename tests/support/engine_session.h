#pragma once

#include "app/log_lines.h"
#include "commands/cmd_processor.h"
#include "commands/session_cmd_set.h"
#include "commands/startup_cmd_set.h"
#include "session/sb_dbg_eng.h"
#include "session/session.h"
#include "support/engine_fixture.h"
#include "support/fake_disasm.h"
#include "support/fake_host.h"
#include "symbols/space.h"
#include "symbols/space_list.h"

#include <memory>
#include <string>
#include <vector>

/// A session with the program's command sets over the engine library for tests: all that stands between a
/// typed line and the library is real. The target is stopped at `ip`.
class ktEngineSession {
public:
    static constexpr uint64_t ip = 0x401100;
    static constexpr uint64_t cr3 = 0x1A5003;

    ktEngineSession() : session(host, {ktFakeDisasm::Create, CreateSet, ktSbDbgEng::Create}) {
        testLibrary->Map(0x400000, 0x4000);
        testLibrary->Map(0x700000, 0x1000);
        testLibrary->With([](ktTestEngine::Machine &m) {
            m.context.rip = ip;
            m.context.rsp = 0x700010;
            m.context.cr3 = cr3;
        });
        remote.Reserve();
        output.Reserve();
        session.cmdProcessor = &processor;
        session.outputLines = &output;
        session.logLines = &remote;
        session.taskPool = &pool;
        processor.StartWorker();
        processor.RegisterSet(&startupSet);
        ktCmdContext context;
        context.session = &session;
        context.output = &output;
        context.processor = &processor;
        for (uint64_t i = 0; ktCmd *command = startupSet.GetCommand(i); ++i) command->SetCmdContext(context);
    }
    ~ktEngineSession() { session.Disconnect(); }

    /// Runs a line to its end; the status of the run.
    uint64_t Run(const std::string &line) {
        const uint32_t status = processor.RunLine(line.c_str());
        if (status != ktCmdQueued) return status;
        processor.Worker().WaitUntilIdle();
        return processor.LastQueuedStatus();
    }
    bool Connect() { return Run("connect sable local") == ktCmdOk; }
    /// The lines of `store` since the last call for it.
    std::vector<std::string> TakeLines(ktLogLines &store) {
        std::vector<std::string> lines;
        store.LockExclusive();
        for (uint64_t i = 0; const char *line = store.GetLine(i); ++i) lines.emplace_back(line);
        store.Clear();
        store.UnlockExclusive();
        return lines;
    }
    std::vector<std::string> Output() { return TakeLines(output); }

    ktTestEngineLibrary testLibrary;
    ktFakeHost host;
    ktLogLines output;
    ktLogLines remote;
    ktTaskPool pool;
    ktCmdProcessor processor;
    ktStartupCmdSet startupSet;
    ktSession session;

private:
    static std::unique_ptr<ktCmdSet> CreateSet() { return std::make_unique<ktSessionCmdSet>(); }
};
