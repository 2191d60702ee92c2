#include "platform/dynamic_library.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <filesystem>
#include <string>

namespace {

/// The file that holds the C library's mathematics.
std::filesystem::path MathLibrary() {
    void *handle = dlopen("libm.so.6", RTLD_NOW);
    Dl_info facts = {};
    if (!handle || !dladdr(dlsym(handle, "cbrt"), &facts)) return {};
    return facts.dli_fname;
}

} // namespace

TEST(DynamicLibrary, LoadsFromTheSystemByBareName) {
    const auto library = LoadDynamicLibrary("libm.so.6");
    ASSERT_NE(library, nullptr);
    using CubeRoot = double (*)(double);
    const auto cubeRoot = reinterpret_cast<CubeRoot>(library->Find("cbrt"));
    ASSERT_NE(cubeRoot, nullptr);
    EXPECT_DOUBLE_EQ(cubeRoot(27.0), 3.0);
}

TEST(DynamicLibrary, LoadsFromTheProgramsOwnFolder) {
    const std::string name = "libsable_loader_test.so";
    const auto copy = std::filesystem::read_symlink("/proc/self/exe").parent_path() / name;
    ASSERT_FALSE(MathLibrary().empty());
    std::filesystem::copy_file(MathLibrary(), copy, std::filesystem::copy_options::overwrite_existing);
    {
        const auto library = LoadDynamicLibrary(name.c_str());
        ASSERT_NE(library, nullptr);
        EXPECT_NE(library->Find("cbrt"), nullptr);
    }
    std::filesystem::remove(copy);
    EXPECT_EQ(LoadDynamicLibrary(name.c_str()), nullptr);
}

TEST(DynamicLibrary, AMissingSymbolIsNull) {
    const auto library = LoadDynamicLibrary("libm.so.6");
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(library->Find("no_such_symbol_anywhere"), nullptr);
    EXPECT_EQ(library->Find(nullptr), nullptr);
}

TEST(DynamicLibrary, ASymbolOfALibraryThatThisOneNeedsIsNull) {
    const auto library = LoadDynamicLibrary("libm.so.6");
    ASSERT_NE(library, nullptr);
    void *handle = dlopen("libm.so.6", RTLD_NOW);
    ASSERT_NE(handle, nullptr);
    for (const char *symbol : {"malloc", "qsort", "environ"}) {
        EXPECT_NE(dlsym(handle, symbol), nullptr) << symbol << ": the system finds it";
        EXPECT_EQ(library->Find(symbol), nullptr) << symbol;
    }
    dlclose(handle);
}

TEST(DynamicLibrary, ASymbolThatIsChosenAtRunTimeIsFound) {
    const auto library = LoadDynamicLibrary("libm.so.6"); // has one form of these for each kind of processor
    ASSERT_NE(library, nullptr);
    for (const char *symbol : {"sin", "exp", "floor", "fma"})
        EXPECT_NE(library->Find(symbol), nullptr) << symbol;
}

TEST(DynamicLibrary, OnlyABareNameOfALibraryLoads) {
    EXPECT_EQ(LoadDynamicLibrary("libsable_does_not_exist.so"), nullptr);
    EXPECT_EQ(LoadDynamicLibrary(""), nullptr);
    EXPECT_EQ(LoadDynamicLibrary(nullptr), nullptr);
    ASSERT_FALSE(MathLibrary().empty());
    EXPECT_EQ(LoadDynamicLibrary(MathLibrary().c_str()), nullptr);
}

TEST(DynamicLibrary, FileNamesAreMadeAsTheSystemDoes) {
    EXPECT_EQ(DynamicLibraryName("SableEng"), "libSableEng.so");
}
