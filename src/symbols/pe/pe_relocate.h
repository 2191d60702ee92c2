#pragma once

#include <cstdint>

class ktPeFile;

/// Moves the image of `pe`, in memory, from `imageBase` to `requestedBase`; 0 asks for nothing. False without
/// an image, when the image may not be moved, and when its relocation records are missing or broken; the
/// image is then not to be used any more.
bool Relocate(ktPeFile &pe, uint64_t requestedBase);
