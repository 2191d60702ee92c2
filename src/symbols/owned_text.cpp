#include "symbols/owned_text.h"

#include <new>

bool ktOwnedText::Assign(const char *source) { return source && Assign(std::string_view(source)); }

bool ktOwnedText::Assign(std::string_view source) {
    char *copy = new (std::nothrow) char[source.size() + 1];
    if (!copy) return false;
    source.copy(copy, source.size());
    copy[source.size()] = 0;
    Lend(copy);
    word |= ownedBit;
    return true;
}

void ktOwnedText::Free() { delete[] Get(); }
