#include "symbols/module_loader.h"

#include <string>

#include "platform/file.h"
#include "session/file_reader.h"
#include "symbols/elf/elf_loader.h"
#include "symbols/load_request.h"
#include "symbols/pe/pe_loader.h"
#include "symbols/symbol_factory.h"

namespace {

/// The last component of the path without its extensions. A dot in front stays: it starts no extension.
std::string ModuleNameOf(const char *path) {
    std::string name = HostPathLastComponent(path);
    for (size_t dot = name.rfind('.'); dot != std::string::npos && dot != 0; dot = name.rfind('.'))
        name.resize(dot);
    return name;
}

} // namespace

bool LoadFromFile(ktLoadRequest &request, const char *path) {
    if (!path) return false;
    FileReader reader(path);
    if (!reader.IsOpen()) return false;
    request.module.Reset(request.factory->CreateModule());
    if (!request.module) return false;
    const uint64_t position = reader.GetPosition();
    if (!LoadElf(request, reader) && !(reader.Seek(position) && LoadPe(request, reader, true))) {
        request.module.Reset();
        return false;
    }
    request.module->name.Assign(ModuleNameOf(path));
    return true;
}
