#pragma once

#include <memory>
#include <span>

class ktDynamicLibrary;
struct ktEngineTable;

/// The names that an engine library exports, in the order of ktEngineTable.
std::span<const char *const> ktEngineFunctionNames();

/// The engine library: its module and the table of its functions.
class ktEngineLibrary {
public:
    using Loader = std::unique_ptr<ktDynamicLibrary> (*)();

    /// The process's one library, bound on first use and kept until Release. Null when it is not there or
    /// lacks a function; the next call then tries again. Any thread.
    static ktEngineLibrary *Get();
    /// Unloads it, if it is there. No engine over it may be alive. Any thread.
    static void Release();
    /// What gives Get its module; null stands for the library that is called SableEng.
    static void SetLoader(Loader loader);

    ~ktEngineLibrary();
    ktEngineLibrary(const ktEngineLibrary &) = delete;
    ktEngineLibrary &operator=(const ktEngineLibrary &) = delete;
    const ktEngineTable &Table() const { return *table; }

private:
    ktEngineLibrary();
    bool Bind(Loader loader);

    std::unique_ptr<ktDynamicLibrary> library;
    std::unique_ptr<ktEngineTable> table;
};
