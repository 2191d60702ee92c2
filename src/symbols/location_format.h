#pragma once

#include "symbols/location.h"

#include <string>
#include <string_view>

/// Working record that turns locations into strings and strings into their parts. Each user has its
/// own; buffers keep their memory between uses.
class ktLocationFormat {
public:
    std::string text;              ///< the output of Format
    uint64_t mask = ktLocationAll; ///< ktLocationPart bits to format or parse
    std::string moduleText;
    std::string unitText;
    std::string functionText;
    std::string typeText;
    std::string offsetText; ///< at most 23 characters
    uint64_t offset = 0;

    /// Fills `text` from the parts of `location` that `mask` asks for. True.
    bool Format(const ktLocation &location);
    /// Fills the parts from `source` by `mask`; false when a separator that `mask` asks for is missing.
    bool Parse(std::string_view source);
};
