#include "session/engine_library.h"

#include "abi/functions.h"
#include "platform/dynamic_library.h"
#include "platform/sync.h"

#include <cstring>
#include <iterator>
#include <new>

namespace {

#define SABLE_FUNCTION_NAME(name, parameters) #name,
constexpr const char *functionNames[] = {SABLE_ENGINE_FUNCTIONS(SABLE_FUNCTION_NAME)};
#undef SABLE_FUNCTION_NAME

static_assert(std::size(functionNames) == ktEngineFunctionCount);

std::unique_ptr<ktDynamicLibrary> LoadByName() {
    return LoadDynamicLibrary(DynamicLibraryName("SableEng").c_str());
}

ktCriticalSection instanceLock; // over the two below
std::unique_ptr<ktEngineLibrary> instance;
ktEngineLibrary::Loader instanceLoader = LoadByName;

} // namespace

std::span<const char *const> ktEngineFunctionNames() { return functionNames; }

ktEngineLibrary::ktEngineLibrary() = default;

ktEngineLibrary::~ktEngineLibrary() = default;

ktEngineLibrary *ktEngineLibrary::Get() {
    const ktLockGuard guard(instanceLock);
    if (instance) return instance.get();
    std::unique_ptr<ktEngineLibrary> made(new (std::nothrow) ktEngineLibrary);
    if (made && made->Bind(instanceLoader)) instance = std::move(made);
    return instance.get();
}

void ktEngineLibrary::Release() {
    const ktLockGuard guard(instanceLock);
    instance.reset();
}

void ktEngineLibrary::SetLoader(Loader loader) {
    const ktLockGuard guard(instanceLock);
    instanceLoader = loader ? loader : LoadByName;
}

/// Looks up every name, also behind one that is missing. False when one is.
bool ktEngineLibrary::Bind(Loader loader) {
    library = loader();
    if (!library) return false;
    table.reset(new (std::nothrow) ktEngineTable());
    if (!table) return false;
    bool complete = true;
    auto *slot = reinterpret_cast<unsigned char *>(table.get());
    for (const char *name : functionNames) {
        void *function = library->Find(name);
        if (!function) complete = false;
        std::memcpy(slot, static_cast<const void *>(&function), sizeof(function));
        slot += sizeof(function);
    }
    return complete;
}
