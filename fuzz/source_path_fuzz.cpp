// Paths of source files: how they are normalized and searched; and the lines of a file.

#include "symbols/source_path.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "support/fake_files.h"
#include "symbols/source_file.h"

namespace {

void Require(bool condition) {
    if (!condition) std::abort();
}

/// Has no file and checks what is asked for.
class NoFiles final : public ktFileSystem {
public:
    NoFiles(const std::string &rootText, const std::string &pathText) : root(rootText), path(pathText) {}
    std::unique_ptr<ktFile> OpenForRead(const char *candidate) override {
        const std::string text = candidate;
        Require(text.starts_with(root) && text.size() > root.size());
        const std::string suffix = text.substr(root.size());
        Require(path.ends_with(suffix) && suffix.size() < last); // ever shorter
        last = suffix.size();
        ++tries;
        return nullptr;
    }
    size_t tries = 0;

private:
    const std::string root, path;
    size_t last = ~size_t(0);
};

void CheckPath(uint8_t mode, const std::string &text) {
    ktSourcePath sourcePath;
    if (mode & 1) {
        std::swap(sourcePath.separator, sourcePath.altSeparator);
        sourcePath.joiner = sourcePath.separator;
    }
    const std::string path = NormalizePath(sourcePath, text);
    Require(path.empty() || path.front() == sourcePath.separator);
    Require(path.size() <= text.size() + 1);
    Require(path.find(sourcePath.altSeparator) == path.npos &&
            !(path + sourcePath.joiner).ends_with(sourcePath.joiner + sourcePath.joiner));
    Require((path + sourcePath.joiner).find(sourcePath.joiner + "." + sourcePath.joiner) == path.npos);

    std::string found;
    const std::string root = mode & 2 ? "/r" : "";
    sourcePath.root.Assign(root);
    NoFiles files(root, path);
    Require(!FindSourceFile(sourcePath, files, path, found));
    Require(files.tries == static_cast<size_t>(std::count(path.begin(), path.end(), sourcePath.separator)));
}

void CheckLines(const std::string &text) {
    ktFakeFiles files;
    files.Add("a", text);
    ktSourceFile file;
    Require(file.Load("a", files));
    Require(file.LineCount() == static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n')));
    size_t start = 0;
    for (uint64_t line = 0; line < file.LineCount(); ++line) {
        const size_t end = text.find('\n', start);
        Require(std::string(text, start, end - start).c_str() == std::string(file.Line(line)));
        start = end + 1;
    }
    Require(!file.Line(file.LineCount()));
}

} // namespace

/// The first byte tells which separator leads and whether there is a root.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const std::string text(reinterpret_cast<const char *>(data + 1), size - 1);
    CheckLines(text);
    CheckPath(data[0], text.c_str());
    return 0;
}
