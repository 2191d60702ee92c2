#pragma once

#include "app/app.h"
#include "app/log_lines.h"
#include "commands/cmd.h"
#include "commands/cmd_line.h"
#include "commands/cmd_processor.h"
#include "session/session.h"

#include <memory>
#include <string>

/// The whole program below its windows, with the engine library that stands beside the running file.
class ktLiveApp {
public:
    ktLiveApp() { isStarted = app->Init(nullptr, nullptr, "", 0) && app->Start(); }
    ~ktLiveApp() { app->Shutdown(); }
    ktLiveApp(const ktLiveApp &) = delete;
    ktLiveApp &operator=(const ktLiveApp &) = delete;

    bool IsReady() const { return isStarted && app->engineLibrary; }
    /// Runs a line's command on this thread, whatever thread it is meant for; its status.
    uint32_t Execute(const std::string &text) {
        ktCmdLine line = {};
        line.cursor = text.c_str();
        line.length = static_cast<uint32_t>(text.size());
        uint32_t status = ktCmdUnknown;
        if (app->processor->ParseLine(text.c_str(), &line)) {
            status = line.command->Execute(line.args, line.argCount);
            line.command = nullptr; // `disconnect` has deleted itself
        }
        ktCmdProcessor::ReleaseArgs(&line);
        return status;
    }
    /// A copy of the published snapshot's registers; not complete when the target runs, or without a session.
    ktContext Registers() const {
        ktSnapshot *snapshot = app->session->publishedSnapshot;
        if (!snapshot) return {};
        const ktLockGuard guard(snapshot->lock);
        return snapshot->context;
    }

    const std::unique_ptr<ktApp> app = std::make_unique<ktApp>();

private:
    bool isStarted = false;
};
