#include "commands/cmd_processor.h"

#include "commands/cmd.h"
#include "commands/cmd_parser.h"
#include "commands/cmd_set.h"
#include "platform/thread.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

/// Between two looks at whether the worker is idle.
constexpr uint32_t idlePollMilliseconds = 15;

/// Hands each text of the arguments to `drop` and nulls it. Numbers and the count stay.
template <typename Drop>
void DropTexts(ktCmdLine *line, Drop drop) {
    const uint32_t count = std::min(line->argCount, ktMaxArgs);
    for (ktCmdArg *arg = line->args; arg != line->args + count; ++arg) {
        const ktArgKind &kind = ktFindArgKind(arg->type);
        drop(arg->text);
        arg->text = nullptr;
        if (kind.holdsText) {
            drop(reinterpret_cast<char *>(arg->value));
            arg->value = 0;
        }
        if (kind.hasExtra) {
            drop(arg->extra);
            arg->extra = nullptr;
        }
    }
}

} // namespace

ktCmdProcessor::ktCmdProcessor() {
    queuedTask.entry = RunQueuedTask;
    queuedTask.argCount = 1;
    queuedTask.args[0] = reinterpret_cast<uint64_t>(this);
}

ktCmdProcessor::~ktCmdProcessor() {
    worker.WaitUntilIdle(); // a running command may use all that goes here, and a queued one would hold Stop
    pathCandidates.ClearWithValues();
    addressCandidates.ClearWithValues();
    locationCandidates.ClearWithValues();
    worker.Stop();
    ReleaseArgs(&queuedLine);
}

bool ktCmdProcessor::StartWorker() {
    if (!worker.Start(1)) return false;
    // A worker counts as busy for a moment while it starts, which would take the texts of a first line.
    // One that has run a task has started.
    ktTask nothing;
    nothing.entry = [](ktTask *) -> uint64_t { return 0; };
    if (worker.Submit(&nothing, nullptr)) worker.WaitUntilIdle();
    return true;
}

bool ktCmdProcessor::RegisterSet(ktCmdSet *set) {
    if (!set) return false;
    ktLockGuard lock(guard);
    if (set == currentSet) return true;
    commands.clear();
    commandNames.Clear();
    for (uint64_t index = 0; ktCmd *command = set->GetCommand(index); ++index) {
        commands.push_back(command);
        commandNames.Insert(command->GetName(), reinterpret_cast<uint64_t>(command));
    }
    std::sort(commands.begin(), commands.end(), [](const ktCmd *left, const ktCmd *right) {
        return std::strcmp(left->GetName(), right->GetName()) < 0;
    });
    currentSet = set;
    // A finished command may go with its set, so CancelRunning must not reach it any more. One that still
    // runs lives: it is `connect`, whose set stays.
    if (pendingRuns == 0 && std::find(commands.begin(), commands.end(), queuedLine.command) == commands.end())
        queuedLine.command = nullptr;
    return true;
}

uint32_t ktCmdProcessor::RunLine(const char *line) {
    ktCmdLine parsed = {};
    parsed.cursor = line;
    parsed.length = line ? static_cast<uint32_t>(std::strlen(line)) : 0;
    if (!ParseLine(line, &parsed)) {
        ReleaseArgs(&parsed);
        if (parsed.error == ktCmdErrUnknownCommand || parsed.error == ktCmdErrEmptyLine) return ktCmdUnknown;
        AddToHistory(line); // even if repeated, so that a mistyped line can be recalled and mended
        return ktCmdBadArguments;
    }
    // A busy system still takes lines without arguments, such as `break`; others run without their texts.
    if (IsBusy()) ReleaseArgs(&parsed);
    uint32_t status;
    if (parsed.command->IsSynchronous()) {
        status = parsed.command->Execute(parsed.args, parsed.argCount);
        parsed.command = nullptr; // `disconnect` has deleted itself
        ReleaseArgs(&parsed);
    } else {
        status = Queue(parsed);
    }
    AddToHistoryUnlessRepeated(line);
    return status;
}

/// Takes over the texts of `line`.
uint32_t ktCmdProcessor::Queue(const ktCmdLine &line) {
    {
        ktLockGuard lock(guard);
        ReleaseArgs(&queuedLine); // of a line that has not begun and never will: this one takes its place
        queuedLine = line;
        ++pendingRuns;
    }
    uint32_t id = 0;
    const bool accepted = worker.Submit(&queuedTask, &id);
    ktLockGuard lock(guard);
    queuedTaskId = id;
    if (accepted) return ktCmdQueued;
    --pendingRuns;
    return ktCmdQueueFull;
}

uint64_t ktCmdProcessor::RunQueuedTask(ktTask *task) {
    return reinterpret_cast<ktCmdProcessor *>(task->args[0])->RunQueuedLine();
}

uint64_t ktCmdProcessor::RunQueuedLine() {
    ktCmdLine line; // of its own, since a line queued during the run replaces queuedLine
    {
        ktLockGuard lock(guard);
        line = queuedLine;
        DropTexts(&queuedLine, [](char *) {}); // they are the copy's now
    }
    const uint32_t status = line.command->Execute(line.args, line.argCount);
    ReleaseArgs(&line);
    queuedResult = status;
    ktLockGuard lock(guard);
    --pendingRuns;
    return status;
}

bool ktCmdProcessor::CancelRunning() {
    {
        ktLockGuard lock(guard); // `disconnect` deletes commands, but takes them out first
        if (!queuedLine.command || !queuedLine.command->Cancel()) return false;
    }
    worker.WaitUntilIdle();
    return true;
}

void ktCmdProcessor::StopCommands() {
    // A request reaches a command only once it has begun, and an event may queue a line meanwhile.
    while (IsBusy()) {
        for (ktCmd *command : Commands()) command->Cancel();
        CancelRunning();
        SleepMilliseconds(idlePollMilliseconds);
    }
}

bool ktCmdProcessor::IsBusy() { return worker.IsBusy(); }

bool ktCmdProcessor::ParseLine(const char *line, ktCmdLine *out) {
    ktLockGuard lock(guard);
    return ktCmdParser(commandNames).Parse(line, out);
}

void ktCmdProcessor::ReleaseArgs(ktCmdLine *line) {
    DropTexts(line, [](char *text) { std::free(text); });
}

char *ktCmdProcessor::FormatLine(const ktCmdLine &line) {
    if (!line.command) return nullptr;
    std::string text = line.command->GetName();
    for (uint32_t i = 0; i < std::min(line.argCount, ktMaxArgs) && line.args[i].text; ++i) {
        const char *quote = ktFindArgKind(line.args[i].type).quoted ? "\"" : "";
        text.append(" ").append(quote).append(line.args[i].text).append(quote);
    }
    return ktCopyText(text.c_str());
}

ktCmd *ktCmdProcessor::FindCommand(const char *name) const {
    ktLockGuard lock(guard);
    return name ? reinterpret_cast<ktCmd *>(commandNames.FindValue(name)) : nullptr;
}

std::vector<ktCmd *> ktCmdProcessor::Commands() const {
    ktLockGuard lock(guard);
    return commands;
}

std::vector<const char *> ktCmdProcessor::History() const {
    ktLockGuard lock(guard);
    std::vector<const char *> lines;
    lines.reserve(history.size());
    for (const auto &line : history) lines.push_back(line.get());
    return lines;
}

ktCmdSet *ktCmdProcessor::CurrentSet() const {
    ktLockGuard lock(guard);
    return currentSet;
}

void ktCmdProcessor::AddToHistory(const char *line) {
    if (!line) return;
    ktLockGuard lock(guard);
    if (char *copy = ktCopyText(line)) history.emplace_back(copy);
}

void ktCmdProcessor::AddToHistoryUnlessRepeated(const char *line) {
    if (!line) return;
    ktLockGuard lock(guard);
    if (history.empty() || std::strcmp(history.back().get(), line) != 0) AddToHistory(line);
}
