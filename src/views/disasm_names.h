#pragma once

#include "commands/name_trie.h"
#include "gui/color.h"

#include <cstdint>
#include <string_view>

class ktDrawList;

/// The words of an instruction that have a colour of their own. Filled once, at construction; read-only
/// afterwards.
class ktDisasmNames {
public:
    ktDisasmNames();

    /// True when `token` has a colour of its own, which goes to `color`.
    bool FindColor(std::string_view token, ktColor &color) const;
    /// Colours the tokens of `line`, whose glyphs stand from vertex `first` of the text batch on, one for
    /// each byte.
    void Recolour(ktDrawList &list, int32_t first, std::string_view line) const;

    ktNameTrie register_names;
    ktNameTrie branch_names;
};
