#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "commands/expression.h"

/// The input is one expression. A parser that is used again gives the same value, or the same refusal.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    static ktExpression used;
    ktExpression fresh;
    if (fresh.Parse(text.c_str()) != used.Parse(text.c_str())) std::abort();
    constexpr uint64_t untouched = 0x5ab1e;
    uint64_t value = untouched, second = untouched;
    const bool known = fresh.Evaluate(&value);
    if (known != used.Evaluate(&second) || value != second) std::abort();
    if (!known && value != untouched) std::abort();
    return 0;
}
