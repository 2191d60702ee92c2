#pragma once

#include <array>
#include <span>

/// The texts of one command.
struct ktCmdHelp {
    const char *name;
    const char *summary;
    std::array<const char *, 7> lines; ///< the detailed help, ended by null
};

/// All texts, sorted by name.
std::span<const ktCmdHelp> ktAllCmdHelp();
/// The row of `name`; for a name in no row, a row of empty texts.
const ktCmdHelp &ktFindCmdHelp(const char *name);
