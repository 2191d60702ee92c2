#pragma once

#include "commands/cmd.h"

struct ktCmdDecl;
struct ktCmdHelp;

/// A command whose name, help texts, argument kinds and thread stand in the tables of cmd_help.h and
/// cmd_decl.h: a derived class adds its context and Execute.
class ktBasicCmd : public ktCmd {
public:
    /// `name` is the word that the user types: the key of the command's rows.
    explicit ktBasicCmd(const char *name);
    const char *GetName() const final;
    const char *GetSummary() const final;
    const char *GetHelpLine(uint32_t index) const final;
    uint32_t GetMaxArgs() const final;
    uint32_t GetMinArgs() const final;
    uint32_t GetArgType(uint32_t index) const final;
    bool IsSynchronous() const final;
    bool IsHidden() const final;

private:
    const ktCmdDecl &decl;
    const ktCmdHelp &help;
};

/// One member of ktCmdContext each, for ktCmdWith.
struct ktNeedsSession {
    void Take(const ktCmdContext &context) { session = context.session; }
    void Give(ktCmdContext &context) const { context.session = session; }
    ktSession *session = nullptr;
};

struct ktNeedsOutput {
    void Take(const ktCmdContext &context) { output = context.output; }
    void Give(ktCmdContext &context) const { context.output = output; }
    ktLines *output = nullptr;
};

struct ktNeedsPool {
    void Take(const ktCmdContext &context) { pool = context.pool; }
    void Give(ktCmdContext &context) const { context.pool = pool; }
    ktTaskPool *pool = nullptr;
};

struct ktNeedsProcessor {
    void Take(const ktCmdContext &context) { processor = context.processor; }
    void Give(ktCmdContext &context) const { context.processor = processor; }
    ktCmdProcessor *processor = nullptr;
};

struct ktNeedsGui {
    void Take(const ktCmdContext &context) { gui = context.gui; }
    void Give(ktCmdContext &context) const { context.gui = gui; }
    ktGuiLink *gui = nullptr;
};

/// A table-described command that keeps just the named members of the context, as the members `session`,
/// `output`, `pool`, `processor`, `gui`. Writing the context back touches no other member of the record.
template <typename... Needs>
class ktCmdWith : public ktBasicCmd, protected Needs... {
public:
    using ktBasicCmd::ktBasicCmd;
    void SetCmdContext(const ktCmdContext &context) final { (Needs::Take(context), ...); }
    void GetCmdContext(ktCmdContext *context) final {
        if (context) (Needs::Give(*context), ...);
    }
};

using ktSessionCmd = ktCmdWith<ktNeedsSession>;
using ktSessionOutputCmd = ktCmdWith<ktNeedsSession, ktNeedsOutput>;
using ktSessionPoolCmd = ktCmdWith<ktNeedsSession, ktNeedsPool>;
