#pragma once

#include <cstdint>
#include <exception>
#include <memory>

#include "abi/functions.h"

namespace sable {
class Engine;
}

extern "C" {
#define SABLE_EXPORT(name, parameters) [[gnu::visibility("default")]] int32_t name parameters;
SABLE_ENGINE_FUNCTIONS(SABLE_EXPORT)
#undef SABLE_EXPORT
}

namespace sable {

/// No exception leaves the library.
template <typename Work>
int32_t Guarded(Work work) {
    try {
        return work();
    } catch (const std::exception &) {
        return SABLE_FAILED; // out of memory or threads
    }
}

/// The engine of a handle, or null.
std::shared_ptr<Engine> FindEngine(void *handle);

/// `work(engine)` with the engine of a handle.
template <typename Work>
int32_t WithEngine(void *handle, Work work) {
    return Guarded([&] {
        const std::shared_ptr<Engine> engine = FindEngine(handle);
        return engine != nullptr ? work(*engine) : SABLE_BAD_ARGUMENT;
    });
}

} // namespace sable
