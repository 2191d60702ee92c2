#include "platform/dynamic_library.h"

#include "platform/file.h"

#include <algorithm>
#include <climits>
#include <dlfcn.h>
#include <link.h>
#include <new>
#include <string>
#include <unistd.h>

namespace {

/// Start of the file in memory that holds `address`; null when none does.
void *StartOfFile(const void *address) {
    Dl_info facts = {};
    return dladdr(address, &facts) ? facts.dli_fbase : nullptr;
}

/// The same for an opened library: its dynamic section lies inside it.
void *StartOfLibrary(void *handle) {
    const link_map *map = nullptr;
    return dlinfo(handle, RTLD_DI_LINKMAP, static_cast<void *>(&map)) == 0 && map ? StartOfFile(map->l_ld)
                                                                                  : nullptr;
}

class LinuxLibrary final : public ktDynamicLibrary {
public:
    explicit LinuxLibrary(void *opened) : handle(opened), start(StartOfLibrary(opened)) {}
    ~LinuxLibrary() override { dlclose(handle); }
    LinuxLibrary(const LinuxLibrary &) = delete;
    LinuxLibrary &operator=(const LinuxLibrary &) = delete;

    void *Find(const char *symbol) override {
        // dlsym searches the libraries that this one needs as well; theirs are not its own.
        void *found = symbol ? dlsym(handle, symbol) : nullptr;
        return found && start && StartOfFile(found) == start ? found : nullptr;
    }

private:
    void *handle;
    void *start; // in memory
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

std::string DynamicLibraryName(const char *stem) { return std::string("lib").append(stem).append(".so"); }

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
