#pragma once

#include <memory>

/// A library loaded by name at run time; unloaded by the destructor.
class ktDynamicLibrary {
public:
    virtual ~ktDynamicLibrary() = default;
    /// Address of an exported symbol, or null.
    virtual void *Find(const char *symbol) = 0;
};

/// Loads by bare name (the program's own folder, then the system's search order). Null when not found.
std::unique_ptr<ktDynamicLibrary> LoadDynamicLibrary(const char *name);
