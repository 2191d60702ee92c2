#include "platform/file.h"

const char ktHostPathSeparator = '/';

bool IsHostPathSeparator(char c) {
    // Paths that were made on another system are typed here as well, so a backslash cuts too.
    return c == '/' || c == '\\';
}
