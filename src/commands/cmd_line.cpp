#include "commands/cmd_line.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace {

constexpr ktArgKind TextKind(uint32_t limit) { return {limit, true, false, false, false}; }
constexpr ktArgKind QuotedKind(uint32_t limit) { return {limit, true, false, false, true}; }
constexpr ktArgKind HexKind(uint32_t limit) { return {limit, false, false, false, false}; }
constexpr ktArgKind HexAndTextKind(uint32_t limit) { return {limit, false, false, true, false}; }
constexpr ktArgKind DecimalKind(uint32_t limit) { return {limit, false, true, false, false}; }
constexpr ktArgKind noKind = {0, false, false, false, false};

// By ktArgType.
constexpr ktArgKind kinds[] = {
    noKind,              // 0
    noKind,              // 1
    TextKind(255),       // ktArgLocation
    TextKind(0),         // ktArgReserved
    QuotedKind(250),     // ktArgPath
    TextKind(64),        // ktArgCommand
    HexKind(32),         // ktArgAddress
    HexAndTextKind(255), // ktArgAddressOrLocation
    QuotedKind(255),     // ktArgTypeLocation
    TextKind(255),       // ktArgModule
    HexKind(32),         // ktArgHex
    DecimalKind(32),     // ktArgDecimal
    TextKind(255),       // ktArgEngine
    TextKind(255),       // ktArgTransport
    TextKind(255),       // ktArgTransportAddress
    TextKind(255),       // ktArgExpression
    TextKind(255),       // ktArgString
};
static_assert(std::size(kinds) == ktArgString + 1);
static_assert(std::ranges::all_of(kinds,
                                  [](const ktArgKind &kind) { return kind.tokenLimit <= ktMaxTokenLimit; }));

} // namespace

const ktArgKind &ktFindArgKind(uint32_t type) { return type <= ktArgString ? kinds[type] : noKind; }

char *ktCopyText(const char *text) {
    const size_t size = std::strlen(text) + 1;
    char *copy = static_cast<char *>(std::malloc(size));
    if (copy) std::memcpy(copy, text, size);
    return copy;
}
