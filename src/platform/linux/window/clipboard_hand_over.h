#pragma once

#include <cstdint>
#include <string>

class ktX11Connection;

/// Gives a copied text to the desktop's clipboard manager, so that it outlives this process: the text is
/// offered from a window of `connection`. `text` fits into one property. False at once without a manager,
/// else when it has not taken the text within `milliseconds`.
bool HandClipboardOver(const ktX11Connection &connection, const std::string &text, uint32_t milliseconds);
