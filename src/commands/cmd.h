#pragma once

#include <cstdint>

struct ktCmdArg;
class ktCmdProcessor;
class ktGuiLink;
class ktLines;
class ktSession;
class ktTaskPool;

/// Statuses of commands and of ktCmdProcessor::RunLine. No text is attached to them.
enum ktCmdStatus : uint32_t {
    ktCmdOk = 0,
    ktCmdCleared = 1,       ///< `cls` done
    ktCmdQueued = 2,        ///< handed to the worker
    ktCmdUnknown = 3,       ///< unknown command or empty line
    ktCmdFailed = 4,        ///< no session, or an engine operation reported failure
    ktCmdBadArguments = 5,  ///< bad arguments, or `q` with no window
    ktCmdNotLoaded = 6,     ///< a module could not be loaded from its file
    ktCmdNoSpaces = 8,      ///< the session has no live connection
    ktCmdNotRegistered = 9, ///< a loaded module could not be added to the space
    ktCmdNotFound = 10,     ///< a name, location or address was not found or not readable
    ktCmdNoType = 11,       ///< `dt` found no such type
    ktCmdReadFailed = 12,   ///< no current space, or a read from it failed
    ktCmdWriteFailed = 13,  ///< a write to an IO port failed
    ktCmdNoPath = 15,       ///< `srcpath` could not copy the path
    ktCmdNoEngine = 16,
    ktCmdBadExpression = 17, ///< `eval` could not parse the expression
    ktCmdEngineFailed = 18,  ///< an engine operation or search failed; a breakpoint was not found
    ktCmdQueueFull = 19,
    ktCmdCancelled = 20,
    ktCmdNoDisasm = 21,
    ktCmdUpdateFailed = 22,
    ktCmdPciFailed = 25,
    ktCmdNoDisplay = 26,
    ktCmdAlreadyLoaded = 27, ///< the address lies inside a registered module
};

/// What commands may need. A plain record of pointers, none of them owned.
struct ktCmdContext {
    ktSession *session = nullptr;
    ktLines *output = nullptr;
    ktTaskPool *pool = nullptr; ///< the application's pool
    ktCmdProcessor *processor = nullptr;
    ktGuiLink *gui = nullptr;
};

/// A user action. Execute runs on the thread that IsSynchronous chooses.
class ktCmd {
public:
    virtual ~ktCmd() = default;
    /// Copies the members that this command uses out of the record.
    virtual void SetCmdContext(const ktCmdContext &context) = 0;
    /// Writes those members back into the record; null does nothing.
    virtual void GetCmdContext(ktCmdContext *context) = 0;
    /// Runs the command with the first element of the parsed argument array; returns a ktCmdStatus.
    virtual uint32_t Execute(ktCmdArg *args, uint32_t argCount) = 0;
    /// The word that the user types.
    virtual const char *GetName() const = 0;
    /// The one line that `help` lists.
    virtual const char *GetSummary() const = 0;
    /// Line `index` of the detailed help; null past the end.
    virtual const char *GetHelpLine(uint32_t index) const = 0;
    /// Argument positions declared.
    virtual uint32_t GetMaxArgs() const { return 0; }
    /// Arguments that must be present.
    virtual uint32_t GetMinArgs() const { return 0; }
    /// The ktArgType of position `index`; 0 at and past GetMaxArgs().
    virtual uint32_t GetArgType(uint32_t index) const;
    /// True: runs on the caller's thread. False: runs on the processor's worker.
    virtual bool IsSynchronous() const { return false; }
    /// True: `help` and the completion of command names pass it over.
    virtual bool IsHidden() const { return false; }
    /// Asks a running command to stop. Always returns false.
    virtual bool Cancel() { return false; }
};
