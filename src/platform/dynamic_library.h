#pragma once

#include <memory>
#include <string>

/// A library loaded by name at run time; unloaded by the destructor.
class ktDynamicLibrary {
public:
    virtual ~ktDynamicLibrary() = default;
    /// Address of a symbol that the library itself exports, not one that it needs; else null.
    virtual void *Find(const char *symbol) = 0;
};

/// The bare file name that this system gives to the library `stem`.
std::string DynamicLibraryName(const char *stem);
/// Loads by bare name (the program's own folder, then the system's search order). Null when not found.
std::unique_ptr<ktDynamicLibrary> LoadDynamicLibrary(const char *name);
