#include "symbols/source_path.h"

#include <algorithm>

namespace {

/// Wipes the last component with its separator; the first character always stays.
void DropLastComponent(std::string &path, char separator) {
    if (path.empty()) return;
    const size_t last = path.rfind(separator);
    path.resize(last == path.npos ? 1 : std::max<size_t>(last, 1));
}

} // namespace

std::string NormalizePath(const ktSourcePath &sourcePath, std::string_view text) {
    const char separators[] = {sourcePath.separator, sourcePath.altSeparator, 0};
    std::string result;
    for (size_t start = text.find_first_not_of(separators); start != text.npos;) {
        const size_t end = std::min(text.find_first_of(separators, start), text.size());
        const std::string_view component = text.substr(start, end - start);
        if (component == "..") DropLastComponent(result, sourcePath.separator);
        if (component != ".") result.append(sourcePath.joiner).append(component);
        start = text.find_first_not_of(separators, end);
    }
    return result;
}

bool FindSourceFile(const ktSourcePath &sourcePath, ktFileSystem &fileSystem, const std::string &path,
                    std::string &found) {
    if (!sourcePath.root.Get()) {
        found = path;
        return true;
    }
    const std::string_view root = sourcePath.root.Get();
    if (path.empty() || root.size() > ktLongestHostPath) return false;
    // The length of a build path comes from a file, and a candidate too long to be opened need not be tried.
    const size_t room = ktLongestHostPath - root.size();
    size_t suffix = path.size() > room ? path.find(sourcePath.separator, path.size() - room) : 0;
    for (; suffix != path.npos; suffix = path.find(sourcePath.separator, suffix + 1)) {
        found.assign(root).append(path, suffix);
        if (fileSystem.OpenForRead(found.c_str())) return true;
    }
    return false;
}
