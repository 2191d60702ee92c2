#include "platform/file.h"

#include <algorithm>

std::string HostPathLastComponent(const std::string &path) {
    const auto separator = std::find_if(path.rbegin(), path.rend(), IsHostPathSeparator);
    return std::string(separator.base(), path.end());
}
