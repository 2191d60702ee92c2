#pragma once

class ktCutText;

/// Prints `format`, a text of unknown origin, the way printf prints a format that has no arguments behind
/// it, and never looks for one:
/// - "%%" prints a percent sign;
/// - a numeric conversion (d i u o x X p, e f g a and their capitals) prints 0, with its flags, width,
///   precision and length honoured; p prints as x does, and a "*" counts as 0;
/// - a character or text conversion (c s and their capitals) prints the empty text, padded to its width;
/// - n prints nothing;
/// - the percent sign of anything else is copied as it stands, and what follows is read as text again.
/// The time is linear in the length of `format`, and ends when `text` is full.
void PrintBareFormat(ktCutText &text, const char *format);
