#pragma once

#include "commands/cmd_line.h"

#include <array>
#include <cstdint>
#include <span>

enum class ktCmdRuns : uint8_t {
    atOnce, ///< on the thread of the caller
    worker, ///< on the processor's worker
};

/// What one command declares about itself: its argument positions and where it runs.
struct ktCmdDecl {
    const char *name;
    uint32_t minArgs;
    uint32_t maxArgs;
    std::array<ktArgType, 4> types; ///< of the first positions; the last one set repeats up to maxArgs
    ktCmdRuns runs;
    bool hidden = false; ///< passed over by `help` and the completion of command names

    /// The kind of position `index`; ktArgNone at and past maxArgs.
    ktArgType TypeAt(uint32_t index) const;
};

/// All declarations, sorted by name.
std::span<const ktCmdDecl> ktAllCmdDecls();
/// The row of `name`; for a name in no row, a row with an empty name that declares nothing.
const ktCmdDecl &ktFindCmdDecl(const char *name);
