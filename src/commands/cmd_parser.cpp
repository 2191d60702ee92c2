#include "commands/cmd_parser.h"

#include "app/hex.h"
#include "app/log.h"
#include "commands/cmd.h"
#include "commands/name_trie.h"

namespace {

constexpr uint32_t commandWordLimit = 64;

bool Fail(ktCmdLine *line, ktCmdError error) {
    line->error = error;
    return false;
}

char NextByte(ktCmdLine *line) {
    ++line->position;
    return *line->cursor++;
}

/// Reads one token, quotes removed, and the space that ends it. False when it has `limit` bytes or more.
bool ReadToken(ktCmdLine *line, uint32_t limit, char (&token)[ktMaxTokenLimit]) {
    enum { unquoted, insideQuotes, behindQuotes } state = unquoted;
    if (*line->cursor == '"') {
        NextByte(line);
        state = insideQuotes;
    }
    uint32_t count = 0;
    while (*line->cursor) {
        const char byte = NextByte(line);
        if (state == insideQuotes) {
            if (byte == '"') {
                state = behindQuotes;
                continue;
            }
        } else {
            if (byte == ' ') break;
            if (state == behindQuotes) continue;
        }
        token[count++] = byte;
        if (count == limit) return Fail(line, ktCmdErrTokenTooLong);
    }
    token[count] = 0;
    return true;
}

uint64_t ParseDecimal(const char *text) {
    uint64_t value = 0;
    for (; *text; ++text)
        if (*text >= '0' && *text <= '9') value = value * 10 + static_cast<uint64_t>(*text - '0');
    return value;
}

} // namespace

ktCmdParser::ktCmdParser(const ktNameTrie &names, CopyText copy) : commandNames(names), copyText(copy) {}

bool ktCmdParser::Parse(const char *line, ktCmdLine *out) const {
    if (!line || !*line) return Fail(out, ktCmdErrEmptyLine);
    return FindCommand(out) && ReadArgs(out);
}

bool ktCmdParser::FindCommand(ktCmdLine *out) const {
    char word[ktMaxTokenLimit];
    if (!ReadToken(out, commandWordLimit, word)) return false;
    out->command = reinterpret_cast<ktCmd *>(commandNames.FindValue(word));
    return out->command || Fail(out, ktCmdErrUnknownCommand);
}

bool ktCmdParser::ReadArgs(ktCmdLine *out) const {
    for (uint32_t position = 0;; ++position) {
        const uint32_t type = out->command->GetArgType(position);
        if (type == ktArgNone) break; // what is left of the line is ignored
        if (position == ktMaxArgs) return Fail(out, ktCmdErrTooManyArgs);
        const uint32_t limit = ktFindArgKind(type).tokenLimit;
        if (limit == 0) {
            ktLog("Unknown argument type %d", static_cast<int>(type));
            return Fail(out, ktCmdErrBadArgType);
        }
        char token[ktMaxTokenLimit];
        if (!ReadToken(out, limit, token)) return false;
        // An empty token uses up its position without filling an argument.
        if (*token) StoreArg(out, type, token);
    }
    return out->argCount >= out->command->GetMinArgs() || Fail(out, ktCmdErrTooFewArgs);
}

void ktCmdParser::StoreArg(ktCmdLine *out, uint32_t type, const char *token) const {
    const ktArgKind &kind = ktFindArgKind(type);
    ktCmdArg &arg = out->args[out->argCount++];
    arg.type = type;
    arg.text = copyText(token);
    if (kind.holdsText) {
        arg.value = reinterpret_cast<uint64_t>(arg.text ? copyText(token) : nullptr);
    } else {
        arg.value = kind.decimal ? ParseDecimal(token) : ktParseHex(token);
        if (kind.hasExtra) arg.extra = arg.text ? copyText(token) : nullptr;
    }
}
