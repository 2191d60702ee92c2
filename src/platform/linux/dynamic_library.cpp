#include "platform/dynamic_library.h"

#include "platform/file.h"

#include <algorithm>
#include <climits>
#include <dlfcn.h>
#include <new>
#include <string>
#include <unistd.h>

namespace {

class LinuxLibrary final : public ktDynamicLibrary {
public:
    explicit LinuxLibrary(void *opened) : handle(opened) {}
    ~LinuxLibrary() override { dlclose(handle); }
    LinuxLibrary(const LinuxLibrary &) = delete;
    LinuxLibrary &operator=(const LinuxLibrary &) = delete;

    void *Find(const char *symbol) override { return symbol ? dlsym(handle, symbol) : nullptr; }

private:
    void *handle;
};

/// The folder of the running program with its last separator; empty when the system does not tell.
std::string ProgramFolder() {
    char path[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0 || length == static_cast<ssize_t>(sizeof path)) return {};
    const std::string program(path, static_cast<size_t>(length));
    return program.substr(0, program.rfind('/') + 1);
}

void *Open(const std::string &name) { return dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL); }

} // namespace

std::unique_ptr<ktDynamicLibrary> LoadDynamicLibrary(const char *name) {
    const std::string bareName = name ? name : "";
    // The loader takes an empty name for the program itself, and one with a separator for a path.
    if (bareName.empty() || std::any_of(bareName.begin(), bareName.end(), IsHostPathSeparator))
        return nullptr;
    void *handle = nullptr;
    const std::string folder = ProgramFolder();
    if (!folder.empty()) handle = Open(folder + bareName);
    if (!handle) handle = Open(bareName);
    if (!handle) return nullptr;
    std::unique_ptr<ktDynamicLibrary> library(new (std::nothrow) LinuxLibrary(handle));
    if (!library) dlclose(handle);
    return library;
}
