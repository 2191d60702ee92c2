#include "commands/transport.h"

#include <cstring>
#include <span>

namespace {

struct Keyword {
    const char *text;
    uint32_t number;
};

constexpr Keyword engines[] = {{"static", 1}, {"sable", 2}};

constexpr Keyword transports[] = {
    {"serial", 1}, {"usb2", 2},  {"usb3", 3},   {"firewire", 4}, {"thunderbolt", 5},
    {"net", 6},    {"audio", 7}, {"memory", 8}, {"pipe", 9},     {"local", 10},
};

uint32_t NumberOf(std::span<const Keyword> keywords, const char *text) {
    if (!text) return 0;
    for (const Keyword &keyword : keywords)
        if (std::strcmp(keyword.text, text) == 0) return keyword.number;
    return 0;
}

} // namespace

uint32_t ktParseTransport(const char *text) { return NumberOf(transports, text); }

uint32_t ktParseEngine(const char *text) { return NumberOf(engines, text); }

const char *ktTransportName(uint32_t number) {
    for (const Keyword &keyword : transports)
        if (keyword.number == number) return keyword.text;
    return "invalid";
}
