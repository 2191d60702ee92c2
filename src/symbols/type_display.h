#pragma once

class DataReader;
class ktCutText;
class ktLines;
class ktType;

/// Adds the lines that show `type` to `output`, each cut to 511 characters. With a `reader`, which may be
/// null, a basic type is followed by the value at the reader's position: twice as many hexadecimal digits
/// as the type has bytes, of the first 8 bytes in memory order. A value that cannot be read in whole is
/// left out, and so is one of more than 64 KiB, which no type of a real program has.
void ShowType(const ktType &type, DataReader *reader, ktLines &output);

/// Appends the description of `type`: the chain of modifiers and arrays from it on, up to the first type
/// with a name of its own ("pointer to const char", "array[3] of int"). The number of an array is the
/// upper bound of its first dimension less the lower one. A chain that comes back to itself ends when
/// `text` is full.
void DescribeType(const ktType &type, ktCutText &text);
