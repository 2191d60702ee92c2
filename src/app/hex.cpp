#include "app/hex.h"

uint64_t ktParseHex(const char *text) {
    if (text == nullptr) return 0;
    if (text[0] == '0' && text[1] == 'x') text += 2;
    uint64_t value = 0;
    for (; *text != 0; ++text) {
        const char c = *text;
        if (c >= '0' && c <= '9') {
            value = (value << 4) | uint64_t(c - '0');
        } else if (c >= 'a' && c <= 'f') {
            value = (value << 4) | uint64_t(c - 'a' + 10);
        } else if (c >= 'A' && c <= 'F') {
            value = (value << 4) | uint64_t(c - 'A' + 10);
        }
    }
    return value;
}
