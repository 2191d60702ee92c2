#pragma once

#include <string>

class ktWindowSystem;

/// The clipboard that all components use. Null until the windows are there: copies and pastes fail then.
/// Main thread.
void SetClipboardSystem(ktWindowSystem *system);
/// Puts a text on the clipboard. False for null and when the clipboard cannot be had.
bool CopyToClipboard(const char *text);
/// The clipboard's text. False when it cannot be had or there is none.
bool PasteFromClipboard(std::string &text);
