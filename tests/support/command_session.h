#pragma once

#include "app/hex.h"
#include "commands/cmd.h"
#include "commands/cmd_line.h"
#include "platform/host.h"
#include "session/dbg_eng.h"
#include "session/session.h"
#include "support/recording_lines.h"
#include "support/symbol_builder.h"
#include "symbols/space.h"
#include "symbols/space_list.h"

#include <cstdlib>
#include <string>
#include <vector>

/// A session of the static engine with one current space, made by hand, in which single commands run.
struct ktCommandSession {
    ktSession session;
    ktRecordingLines output;
    ktSymbolBuilder builder;
    ktSpace *space = nullptr;

    ktCommandSession() : session(SystemHost(), ktSessionFactories()) {
        session.engineType = ktEngineStatic;
        session.spaces = std::make_unique<ktSpaceList>();
        space = session.spaces->Append(std::make_unique<ktSpace>(0, nullptr));
        session.spaces->SetCurrent(space);
    }

    /// Gives the space memory with these bytes.
    void Write(uint64_t address, const std::vector<uint8_t> &bytes) {
        uint64_t written = 0;
        space->Pages().ReservePages(address, bytes.size());
        space->Pages().WritePages(address, bytes.data(), bytes.size(), &written, ktPinnedGeneration);
    }

    /// Runs `command` in this session with the arguments that the parser would make of `words`.
    uint32_t Run(ktCmd &command, std::vector<std::string> words) {
        output.lines.clear();
        ktCmdContext context;
        context.session = &session;
        context.output = &output;
        command.SetCmdContext(context);
        std::vector<ktCmdArg> args;
        for (uint32_t i = 0; i < words.size(); ++i) {
            const uint32_t type = command.GetArgType(i);
            args.push_back({type, words[i].data(), Value(type, words[i]), nullptr});
        }
        return command.Execute(args.data(), static_cast<uint32_t>(args.size()));
    }

private:
    static uint64_t Value(uint32_t type, std::string &word) {
        switch (type) {
        case ktArgAddress:
        case ktArgAddressOrLocation:
        case ktArgHex:
            return ktParseHex(word.c_str());
        case ktArgDecimal:
            return std::strtoull(word.c_str(), nullptr, 10);
        default:
            return reinterpret_cast<uint64_t>(word.data());
        }
    }
};
