#pragma once

#include <cstdint>

class ktCmd;

/// Kinds of argument that a command declares for its positions. 0 means that no position follows.
enum ktArgType : uint32_t {
    ktArgNone = 0,
    ktArgLocation = 2,
    ktArgReserved = 3, ///< no command uses it; the parser rejects it
    ktArgPath = 4,
    ktArgCommand = 5,
    ktArgAddress = 6,
    ktArgAddressOrLocation = 7,
    ktArgTypeLocation = 8,
    ktArgModule = 9,
    ktArgHex = 10,
    ktArgDecimal = 11,
    ktArgEngine = 12,
    ktArgTransport = 13,
    ktArgTransportAddress = 14,
    ktArgExpression = 15,
    ktArgString = 16,
};

enum ktCmdError : uint32_t {
    ktCmdErrNone = 0,
    ktCmdErrTokenTooLong = 1,
    ktCmdErrUnknownCommand = 2,
    ktCmdErrTooFewArgs = 3,
    ktCmdErrBadArgType = 4,
    ktCmdErrTooManyArgs = 5,
    ktCmdErrEmptyLine = 6,
};

constexpr uint32_t ktMaxArgs = 32;

/// One parsed argument. A plain record: copies share the texts, which ReleaseArgs frees once.
struct ktCmdArg {
    uint32_t type;  ///< ktArgType
    char *text;     ///< malloc'd token as typed, quotes removed
    uint64_t value; ///< the number, or for text kinds a malloc'd second copy of `text`
    char *extra;    ///< a further copy of `text`, for ktArgAddressOrLocation only

    /// The text that `value` holds for the text kinds; null for none.
    const char *ValueText() const { return reinterpret_cast<const char *>(value); }
};

/// One parsed line. A plain record, copied by value when a command is queued.
struct ktCmdLine {
    ktCmd *command;     ///< null if the first word is unknown
    uint32_t error;     ///< ktCmdError
    const char *cursor; ///< next byte of the source line to read
    uint32_t position;  ///< bytes consumed so far
    uint32_t length;    ///< bytes of the line
    uint32_t argCount;
    ktCmdArg args[ktMaxArgs];
};

/// Largest token limit of any kind.
constexpr uint32_t ktMaxTokenLimit = 255;

/// How the parser treats the arguments of one kind.
struct ktArgKind {
    uint32_t tokenLimit; ///< bytes of a token with its terminator; 0: the kind has no parser
    bool holdsText;      ///< `value` owns a text, else it is a number
    bool decimal;        ///< the number is decimal, else hexadecimal
    bool hasExtra;       ///< `extra` owns a further copy
    bool quoted;         ///< the text may hold spaces in normal use: ktCmdProcessor::FormatLine quotes it
};

/// The row of `type`; for a value that is no ktArgType, one without a parser.
const ktArgKind &ktFindArgKind(uint32_t type);

/// A malloc'd copy of `text`, or null when there is no memory.
char *ktCopyText(const char *text);
