#pragma once

#include <cstdint>

/// Transport number of a keyword (exact match), 0 for any other word and for null.
uint32_t ktParseTransport(const char *text);
/// Engine number of a keyword (exact match), 0 for any other word and for null.
uint32_t ktParseEngine(const char *text);
/// Keyword of a transport number; "invalid" for a number that no transport has.
const char *ktTransportName(uint32_t number);
