#pragma once

#include "app/task_pool.h"
#include "commands/cmd_line.h"
#include "commands/name_trie.h"
#include "platform/sync.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

class ktCmd;
class ktCmdSet;
class ktSpace;

/// Owner of the command machinery: the current set, its names, the history, and the one-thread
/// worker on which queued commands run.
///
/// Lines come from the entry thread and from the session's event path, and `connect` changes the set on
/// the worker. Runs are not excluded from each other: a lock guards single steps on this object's own
/// data, never a command. A set must outlive every run of its commands.
class ktCmdProcessor {
public:
    ktCmdProcessor();
    ~ktCmdProcessor();
    ktCmdProcessor(const ktCmdProcessor &) = delete;
    ktCmdProcessor &operator=(const ktCmdProcessor &) = delete;

    /// Starts the worker with one thread and returns when that waits for work. False as ktTaskPool::Start.
    bool StartWorker();
    /// Makes `set`, which stays the caller's, the current one. False for null. The set before may be gone
    /// already: nothing of it is touched.
    bool RegisterSet(ktCmdSet *set);
    /// Parses and runs one line; returns a ktCmdStatus, ktCmdQueued for a command that was queued.
    uint32_t RunLine(const char *line);
    /// Asks the command queued last to stop; false when there is none or its Cancel returns false,
    /// else true, after the worker was seen idle.
    bool CancelRunning();
    /// Asks all commands of the current set, and the queued one, to stop, again and again until the worker is
    /// idle. Without limit: a command that does not heed it is waited for. Any thread but the worker.
    void StopCommands();
    /// True while the worker runs or holds a task. Any thread.
    bool IsBusy();

    /// Parses `line` into `out`, which the caller has zeroed, with `cursor` and `length` set.
    bool ParseLine(const char *line, ktCmdLine *out);
    /// Frees the texts of the arguments; safe to call twice on one record.
    static void ReleaseArgs(ktCmdLine *line);
    /// The line rebuilt from its parts, up to the first argument without a text; freed by the caller with
    /// free(). Null without a command and without memory.
    static char *FormatLine(const ktCmdLine &line);

    /// The command registered under exactly this name, or null.
    ktCmd *FindCommand(const char *name) const;
    /// The commands of the current set, sorted by name.
    std::vector<ktCmd *> Commands() const;
    /// Lines as typed, oldest first; never trimmed. The texts live as long as the processor.
    std::vector<const char *> History() const;
    ktCmdSet *CurrentSet() const;
    /// Status that the last queued command ended with; meaningful while IsBusy() is false.
    uint64_t LastQueuedStatus() const { return queuedResult; }
    ktTaskPool &Worker() { return worker; }

    std::atomic<ktSpace *> symbolStore = nullptr; ///< the session's current space; null without one

    ktNameTrie commandNames;        ///< value: ktCmd *, not owned
    ktNameTrie pathCandidates;      ///< value: owned text
    ktNameTrie engineNames;         ///< value: the static keyword text
    ktNameTrie transportCandidates; ///< value: the key text, not owned
    ktNameTrie addressCandidates;   ///< value: owned text
    ktNameTrie locationCandidates;  ///< value: owned text

private:
    struct FreeText {
        void operator()(char *text) const { std::free(text); }
    };

    uint32_t Queue(const ktCmdLine &line);
    static uint64_t RunQueuedTask(ktTask *task);
    uint64_t RunQueuedLine();
    void AddToHistory(const char *line);
    void AddToHistoryUnlessRepeated(const char *line);

    // Guards the members below but the worker, and commandNames. A leaf: commands are asked what they declare
    // under it, and nothing else.
    mutable ktCriticalSection guard;
    std::vector<ktCmd *> commands;
    std::vector<std::unique_ptr<char, FreeText>> history;
    ktCmdSet *currentSet = nullptr;
    ktCmdLine queuedLine = {}; // line handed to the worker last; without its texts once it has begun
    uint32_t pendingRuns = 0;  // of queued commands: submitted and not yet finished
    ktTask queuedTask;         // unchanged but for its id, as it may be in the queue more than once
    uint32_t queuedTaskId = 0; // that the pool gave it
    std::atomic<uint64_t> queuedResult = 0;
    ktTaskPool worker;
};
