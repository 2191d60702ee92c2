#include "symbols/space.h"

#include <string_view>
#include <utility>

#include "symbols/image_range.h"
#include "symbols/module.h"
#include "symbols/unique_name.h"

namespace {

/// Names with other bytes cannot stand in a ktNameTrie.
bool IsTrieName(std::string_view name) {
    for (const char c : name) {
        if (static_cast<unsigned char>(c) > 127) return false;
    }
    return true;
}

} // namespace

ktSpace::ktSpace(uint64_t spaceKey, std::unique_ptr<DataReader> spaceTargetReader)
    : key(spaceKey), targetReader(std::move(spaceTargetReader)), reader(&pages, targetReader.get()) {}

ktSpace::~ktSpace() {
    for (ktModule *module : Modules()) module->Release();
}

bool ktSpace::AddModule(ktModule *module) {
    if (!module || !module->AddRef()) return false;
    ktRef<ktModule> reference(module);
    module->Freeze(); // readers come with the first look at the list
    const ktLockGuard guard(modulesLock);
    if (!MakeNameUnique(*module) || !Publish(module)) return false;
    reference.Detach();
    return true;
}

bool ktSpace::MakeNameUnique(ktModule &module) {
    const char *asItCame = module.name.Get();
    std::string candidate;
    const char *free =
        ktUniqueNames().Pick(asItCame, [this](const char *text) { return FindModule(text); }, candidate);
    return free && (free == asItCame || module.name.Assign(free));
}

bool ktSpace::Publish(ktModule *module) {
    const char *moduleName = module->name.Get();
    const bool inTrie = IsTrieName(moduleName);
    if (inTrie && !moduleNames.Insert(moduleName, reinterpret_cast<uint64_t>(module))) return false;
    if (modules.Append(module)) return true;
    if (inTrie) moduleNames.Remove(moduleName);
    return false;
}

ktModule *ktSpace::FindModule(const std::string &moduleName) const {
    if (IsTrieName(moduleName))
        return reinterpret_cast<ktModule *>(moduleNames.FindValue(moduleName.c_str()));
    for (ktModule *module : Modules()) {
        if (moduleName == module->name.Get()) return module;
    }
    return nullptr;
}

void ktSpace::RemoveModule(ktModule *module) {
    if (!module) return;
    const ktLockGuard guard(modulesLock);
    if (!modules.Remove(module)) return;
    if (FindModule(module->name.Get()) == module) moduleNames.Remove(module->name.Get());
    RemoveModulePages(pages, *module);
    removalStamp.store(NewStamp(), std::memory_order_release);
    module->Release();
}

ktModule *ktSpace::GetModule(uint64_t index) const {
    const ktModuleList::View view = Modules();
    return index < view.size() ? view[index] : nullptr;
}
