#include "symbols/owned_text.h"

#include <new>

bool ktOwnedText::Assign(const char *source) { return source && Assign(std::string_view(source)); }

bool ktOwnedText::Assign(std::string_view source) {
    std::unique_ptr<char[]> copy(new (std::nothrow) char[source.size() + 1]);
    if (!copy) return false;
    source.copy(copy.get(), source.size());
    copy[source.size()] = 0;
    text = std::move(copy);
    return true;
}
