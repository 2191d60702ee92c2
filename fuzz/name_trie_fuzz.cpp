#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/name_trie_duel.h"

namespace {

void Check(const std::string &fault) {
    if (fault.empty()) return;
    std::fprintf(stderr, "%s\n", fault.c_str());
    std::abort();
}

} // namespace

/// A byte says what to do, and with how long a key; the key's bytes follow. The first byte sets the memory
/// limit.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0 || size > 4096) return 0;
    NameTrieDuel duel(data[0] < 128 ? SIZE_MAX : size_t(data[0]) * 16);
    std::string last;
    for (size_t at = 1; at < size;) {
        const uint8_t operation = data[at] % 4;
        const size_t length = std::min<size_t>(data[at] / 4, size - at - 1);
        std::string key(reinterpret_cast<const char *>(data) + at + 1, length);
        key.resize(key.find('\0') == std::string::npos ? length : key.find('\0'));
        at += 1 + length;
        switch (operation) {
        case 0:
            Check(duel.Insert(key, at));
            break;
        case 1:
            Check(duel.Insert(last + key, at));
            break;
        case 2:
            Check(duel.Remove(key));
            break;
        default:
            Check(duel.Keep(key));
            break;
        }
        Check(duel.CompareStep(key, last));
        Check(duel.CompareStep(last.substr(0, last.size() / 2), last));
        last = key;
    }
    Check(duel.CompareAll());
    return 0;
}
