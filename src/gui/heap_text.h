#pragma once

#include <cstdlib>
#include <memory>

struct ktFreeText {
    void operator()(char *text) const { std::free(text); }
};

/// A text from malloc or its like.
using ktHeapText = std::unique_ptr<char, ktFreeText>;
