#include "platform/file.h"

#include <climits>

const char ktHostPathSeparator = '/';
const size_t ktLongestHostPath = PATH_MAX - 1; // the limit counts the terminator

bool IsHostPathSeparator(char c) {
    // Paths that were made on another system are typed here as well, so a backslash cuts too.
    return c == '/' || c == '\\';
}
