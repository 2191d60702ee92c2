#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "session/address.h"

namespace {

void Check(bool holds) {
    if (!holds) std::abort();
}

bool IsSame(const ktAddress &a, const ktAddress &b) {
    return a.value == b.value && a.root == b.root && a.selector == b.selector && a.width == b.width &&
           a.attribute == b.attribute && a.kind == b.kind;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    ktAddress before;
    before.value = 0x1122334455667788;
    before.root = 0x99AABBCCDDEEFF00;
    before.selector = 0x1234;
    before.width = 4;
    before.attribute = 8;
    before.kind = ktAddress::kindMmioPhysical;

    ktAddress address = before;
    const size_t length = text.find('\0') == std::string::npos ? text.size() : text.find('\0');
    if (!ParseAddress(text.c_str(), address)) {
        Check(IsSame(address, before));
        // What is refused has a bad length or a separator too many.
        const std::string whole = text.substr(0, length);
        const bool isPhysical = length != 0 && whole[0] == '#';
        const auto countOf = [&whole](char c) { return size_t(std::count(whole.begin(), whole.end(), c)); };
        Check(length == 0 || length > 63 || countOf(':') > (isPhysical ? 0 : 1) ||
              countOf('@') > (isPhysical ? 0 : 1));
        return 0;
    }
    Check(length >= 1 && length <= 63);
    Check(address.kind >= ktAddress::kindVirtual && address.kind <= ktAddress::kindPhysical);
    Check(address.width == before.width && address.attribute == before.attribute);
    Check(address.kind == ktAddress::kindVirtual || address.selector == 0);
    Check(address.kind != ktAddress::kindPhysical || address.root == 0);

    // The text form holds all but the root.
    char formatted[ktAddressTextSize];
    Check(FormatAddress(address, formatted));
    ktAddress again = before;
    Check(ParseAddress(formatted, again));
    again.root = address.root;
    Check(IsSame(address, again));
    return 0;
}
