#pragma once

#include "commands/cmd_processor.h"
#include "commands/cmd_set.h"
#include "session/session.h"
#include "support/fake_dbg_eng.h"
#include "support/fake_disasm.h"
#include "support/fake_gui.h"
#include "support/fake_host.h"
#include "support/recording_lines.h"
#include "support/scripted_cmd.h"
#include "symbols/space.h"
#include "symbols/space_list.h"

#include <memory>
#include <string>
#include <vector>

/// The set that a session of ktSessionRig installs: "update" and "wait" on the worker, "hello" at once.
class ktRigCmdSet final : public ktCmdSet {
public:
    ktRigCmdSet() {
        update.synchronous = false;
        wait.synchronous = false;
        latest = this;
        ++alive;
    }
    ~ktRigCmdSet() override {
        if (latest == this) latest = nullptr;
        --alive;
    }
    static std::unique_ptr<ktCmdSet> Create() { return std::make_unique<ktRigCmdSet>(); }
    ktCmd *GetCommand(uint64_t index) override {
        ktCmd *const commands[] = {&update, &wait, &hello};
        return index < 3 ? commands[index] : nullptr;
    }

    ktScriptedCmd update{"update"};
    ktScriptedCmd wait{"wait"};
    ktScriptedCmd hello{"hello"};

    static inline ktRigCmdSet *latest = nullptr; ///< the one made last, while it lives
    static inline int alive = 0;
};

/// A session over a ktFakeTarget that is stopped at `ip`, with all that the session works with around it.
struct ktSessionRig {
    static constexpr uint64_t ip = 0x401100; ///< code is wanted from the page's start on
    static constexpr uint64_t sp = 0x700010;
    static constexpr uint64_t cr3 = 0x80000000001A5003;
    static constexpr uint64_t root = 0x1A5000; ///< cr3 as addresses carry it

    static constexpr ktSessionFactories fakes = {ktFakeDisasm::Create, ktRigCmdSet::Create,
                                                 ktFakeTarget::CreateEngine};

    explicit ktSessionRig(const ktSessionFactories &factories = fakes) : session(host, factories) {
        target.SetRegister(ktRegIp, ip);
        target.SetRegister(ktRegSp, sp);
        target.SetRegister(ktRegCr3, cr3);
        target.SetRegister(ktRegCs, 0x10);
        target.SetRegister(ktRegSs, 0x18);
        target.SetStop(false, 2);
        target.Map(0x400000, 0x4000);
        target.Map(0x700000, 0x1000);
        startupGui.context.gui = &gui;
        processor.StartWorker();
        processor.RegisterSet(&startup);
        session.cmdProcessor = &processor;
        session.gui = &gui;
        session.outputLines = &output;
        session.logLines = &log;
        session.taskPool = &pool;
    }

    bool Connect() { return session.Connect(ktEngineSable, ktTransportUsb3, nullptr); }
    /// Connects, and forgets the calls that this took.
    bool ConnectQuietly() {
        const bool done = Connect();
        target.ForgetCalls();
        return done;
    }
    const ktSnapshot *Published() const { return session.publishedSnapshot; }
    ktSpace *Current() const { return session.spaces->Current(); }

    ktFakeTarget target;
    ktFakeHost host;
    ktFakeGui gui;
    ktRecordingLines log;
    ktRecordingLines output;
    ktTaskPool pool;
    ktCmdProcessor processor;
    ktScriptedCmd startupGui{"q"};
    ktScriptedCmdSet startup{&startupGui};
    ktSession session;
};
