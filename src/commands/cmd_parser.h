#pragma once

#include "commands/cmd_line.h"

#include <cstdint>

class ktNameTrie;

/// Turns a typed line into a ktCmdLine: the command that the first word names and the arguments that it
/// declares. Never prints, but logs a declared kind that has no parser, which is a programming fault.
class ktCmdParser {
public:
    /// Makes a malloc'd copy of a text, or null without memory.
    using CopyText = char *(*)(const char *);

    /// `names` maps each name to its ktCmd and outlives the parser.
    explicit ktCmdParser(const ktNameTrie &names, CopyText copy = ktCopyText);

    /// Parses `line` into `out`, which the caller has zeroed, with `cursor` and `length` set. On failure
    /// `out->error` tells why, and the arguments read so far stay in `out` to be released.
    bool Parse(const char *line, ktCmdLine *out) const;

private:
    bool FindCommand(ktCmdLine *out) const;
    bool ReadArgs(ktCmdLine *out) const;
    void StoreArg(ktCmdLine *out, uint32_t type, const char *token) const;

    const ktNameTrie &commandNames;
    CopyText copyText;
};
