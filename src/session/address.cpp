#include "session/address.h"

#include <cinttypes>
#include <cstdio>

#include "app/hex.h"

namespace {

constexpr uint32_t maxTextLength = 63;

} // namespace

bool ParseAddress(const char *text, ktAddress &out) {
    if (text == nullptr || text[0] == 0) return false;
    const bool physical = text[0] == '#';

    char token[maxTextLength + 1];
    uint32_t tokenLength = 0;
    const auto takeToken = [&] {
        token[tokenLength] = 0;
        tokenLength = 0;
        return ktParseHex(token);
    };

    bool hasSelector = false;
    bool hasRoot = false;
    uint64_t selector = 0;
    uint64_t value = 0;
    for (uint32_t i = physical ? 1 : 0; text[i] != 0; ++i) {
        if (i >= maxTextLength) return false;
        if (text[i] == ':') {
            if (physical || hasSelector) return false;
            hasSelector = true;
            selector = takeToken();
        } else if (text[i] == '@') {
            if (physical || hasRoot) return false;
            hasRoot = true;
            value = takeToken();
        } else {
            token[tokenLength++] = text[i];
        }
    }

    const uint64_t last = takeToken();
    if (physical) {
        out.kind = ktAddress::kindPhysical;
    } else {
        out.kind = hasSelector ? ktAddress::kindVirtual : ktAddress::kindLinear;
    }
    out.selector = uint16_t(selector);
    out.value = hasRoot ? value : last;
    out.root = hasRoot ? last : 0;
    return true;
}

bool FormatAddress(const ktAddress &address, char (&text)[ktAddressTextSize]) {
    switch (address.kind) {
    case ktAddress::kindVirtual:
        std::snprintf(text, sizeof text, "%04X:%016" PRIX64, unsigned(address.selector), address.value);
        return true;
    case ktAddress::kindLinear:
        std::snprintf(text, sizeof text, "%016" PRIX64, address.value);
        return true;
    case ktAddress::kindPhysical:
        std::snprintf(text, sizeof text, "#%016" PRIX64, address.value);
        return true;
    default:
        text[0] = 0;
        return false;
    }
}
