#pragma once

#include "platform/dynamic_library.h"
#include "session/engine_library.h"
#include "session/sb_dbg_eng.h"
#include "support/test_engine.h"

#include <memory>
#include <string>
#include <vector>

/// The engine library for tests, bound as the process's one while this lives, and its script.
class ktTestEngineLibrary {
public:
    ktTestEngineLibrary() : control(Load()) {
        engine = control ? Find(*control) : nullptr;
        if (engine) engine->Reset();
        ktEngineLibrary::SetLoader(Load);
    }
    ~ktTestEngineLibrary() {
        ktEngineLibrary::Release();
        ktEngineLibrary::SetLoader(nullptr);
    }
    ktTestEngineLibrary(const ktTestEngineLibrary &) = delete;
    ktTestEngineLibrary &operator=(const ktTestEngineLibrary &) = delete;

    ktTestEngine *operator->() const { return engine; }
    ktTestEngine &operator*() const { return *engine; }
    /// The functions, or null when the library did not load.
    const ktEngineTable *Table() const {
        const ktEngineLibrary *library = ktEngineLibrary::Get();
        return library ? &library->Table() : nullptr;
    }

    /// A target that stands in memory that can be read, so that a connection succeeds.
    void StopTarget() const {
        engine->Map(0, 0x10000);
        engine->With([](ktTestEngine::Machine &m) { m.context.rip = m.context.rsp = 0x2000; });
    }

private:
    static std::unique_ptr<ktDynamicLibrary> Load() {
        return LoadDynamicLibrary(DynamicLibraryName("test_engine").c_str());
    }
    static ktTestEngine *Find(ktDynamicLibrary &library) {
        using Getter = ktTestEngine *(*)();
        const auto get = reinterpret_cast<Getter>(library.Find("TestEngine"));
        return get ? get() : nullptr;
    }

    std::unique_ptr<ktDynamicLibrary> control; // keeps the script alive while no engine uses the library
    ktTestEngine *engine = nullptr;
};

/// What connecting without an address asks of the library.
inline const std::vector<std::string> ktConnectCalls = {
    "TransportCreate A",
    "TransportGetInterfaceName T1 0 80",
    "TransportSetInterfaceName T1 \"demo\"",
    "TransportSetRawDataCallback T1",
    "EngCreateEngine",
    "EngAssignTransport E1 T1",
    "SbSetEventCallback E1",
    "EngStart E1",
    "EngSetRequestTimeout E1 BB8",
    "EngSetRequestRetryCount E1 1",
};
