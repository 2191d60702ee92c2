#pragma once

#include "platform/file.h"
#include "symbols/owned_text.h"

#include <string>
#include <string_view>

/// How the paths of the machine that compiled a unit become paths of this one. Such a path may have either
/// separator; what is built has that of the host.
struct ktSourcePath {
    ktOwnedText root; ///< where the search for a file begins; null: a path is taken as it is
    char separator = ktHostPathSeparator;
    char altSeparator = ktHostPathSeparator == '/' ? '\\' : '/';
    std::string joiner{ktHostPathSeparator}; ///< stands ahead of each component of a result
};

/// `text` cut at both separators and joined anew, without empty components and ".". A result that is not
/// empty begins with the joiner, also for a path that began with a drive letter. ".." takes the component
/// before it away and stays itself: that keeps a place for it in the search, which drops components from the
/// front. Throws std::bad_alloc.
std::string NormalizePath(const ktSourcePath &sourcePath, std::string_view text);

/// The file on this machine for the normalized path `path`: the first of root + path, and the same with
/// leading components of `path` dropped one by one, that can be opened; without a root, `path` itself. False
/// for none. Throws std::bad_alloc.
bool FindSourceFile(const ktSourcePath &sourcePath, ktFileSystem &fileSystem, const std::string &path,
                    std::string &found);
