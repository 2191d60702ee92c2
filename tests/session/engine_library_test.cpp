#include "session/engine_library.h"

#include "abi/functions.h"
#include "platform/dynamic_library.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace {

// Written out once more, apart from the table: the order is what both sides agreed on.
const std::vector<std::string> names = {
    "TransportCreate",
    "TransportEnumerateInterfaces",
    "TransportGetInterfaceCount",
    "TransportGetInterfaceName",
    "TransportSetInterfaceName",
    "TransportSetInterfaceIndex",
    "TransportSetRawDataCallback",
    "TransportDestroy",
    "EngCreateEngine",
    "EngAssignTransport",
    "EngSetRequestTimeout",
    "EngSetRequestRetryCount",
    "EngStart",
    "EngStop",
    "EngDestroyEngine",
    "SbSetEventCallback",
    "SbPing",
    "SbGo",
    "SbBreakIn",
    "SbStep",
    "SbSwitchCpu",
    "SbReboot",
    "SbReadVirtualMemory",
    "SbWriteVirtualMemory",
    "SbReadLinearMemory",
    "SbWriteLinearMemory",
    "SbReadPhysicalMemory",
    "SbWritePhysicalMemory",
    "SbGetContext",
    "SbSetContext",
    "SbGetExtendedContext",
    "SbSetExtendedContext",
    "SbReadIo",
    "SbWriteIo",
    "SbGetStateInfo",
    "SbGetCpuInfo",
    "SbCpuId",
    "SbReadMsr",
    "SbWriteMsr",
    "SbSearchVirtualMemory",
    "SbSearchLinearMemory",
    "SbSearchPhysicalMemory",
    "SbWalkPageVirtual",
    "SbWalkPageLinear",
    "SbVirtualToPhysical",
    "SbLinearToPhysical",
    "SbSetBreakPoint",
    "SbRemoveBreakPoint",
    "SbClearBreakPoints",
    "SbAddBreakPointFilter",
    "SbRemoveBreakPointFilter",
    "SbClearBreakPointFilters",
    "SbGetBreakPointInfo",
    "SbGetBreakPointFilterInfo",
    "SbReadMmioVirtual",
    "SbWriteMmioVirtual",
    "SbReadMmioLinear",
    "SbWriteMmioLinear",
    "SbReadMmioPhysical",
    "SbWriteMmioPhysical",
    "SbComputeSha1Virtual",
    "SbComputeSha1Linear",
    "SbComputeSha1Physical",
    "SbRequestCreate",
    "SbRequestCreateBatch",
    "SbRequestSubmit",
    "SbRequestExecute",
    "SbRequestWait",
    "SbRequestGetStatus",
    "SbRequestReset",
    "SbRequestDestroy",
    "SbRequestPing",
    "SbRequestGo",
    "SbRequestBreakIn",
    "SbRequestStep",
    "SbRequestSwitchCpu",
    "SbRequestReboot",
    "SbRequestReadVirtualMemory",
    "SbRequestWriteVirtualMemory",
    "SbRequestReadLinearMemory",
    "SbRequestWriteLinearMemory",
    "SbRequestReadPhysicalMemory",
    "SbRequestWritePhysicalMemory",
    "SbRequestGetContext",
    "SbRequestSetContext",
    "SbRequestGetExtendedContext",
    "SbRequestSetExtendedContext",
    "SbRequestReadIo",
    "SbRequestWriteIo",
    "SbRequestGetStateInfo",
    "SbRequestGetCpuInfo",
    "SbRequestCpuId",
    "SbRequestReadMsr",
    "SbRequestWriteMsr",
    "SbRequestSearchVirtualMemory",
    "SbRequestSearchLinearMemory",
    "SbRequestSearchPhysicalMemory",
    "SbRequestWalkPageVirtual",
    "SbRequestWalkPageLinear",
    "SbRequestVirtualToPhysical",
    "SbRequestLinearToPhysical",
    "SbRequestSetBreakPoint",
    "SbRequestRemoveBreakPoint",
    "SbRequestClearBreakPoints",
    "SbRequestAddBreakPointFilter",
    "SbRequestRemoveBreakPointFilter",
    "SbRequestClearBreakPointFilters",
    "SbRequestGetBreakPointInfo",
    "SbRequestGetBreakPointFilterInfo",
    "SbRequestReadMmioVirtual",
    "SbRequestWriteMmioVirtual",
    "SbRequestReadMmioLinear",
    "SbRequestWriteMmioLinear",
    "SbRequestReadMmioPhysical",
    "SbRequestWriteMmioPhysical",
    "SbRequestComputeSha1Virtual",
    "SbRequestComputeSha1Linear",
    "SbRequestComputeSha1Physical",
    "SbRequestGetMaxReadVirtualMemoryBufferSize",
    "SbRequestGetMaxWriteVirtualMemoryBufferSize",
    "SbRequestGetMaxReadLinearMemoryBufferSize",
    "SbRequestGetMaxWriteLinearMemoryBufferSize",
    "SbRequestGetMaxReadPhysicalMemoryBufferSize",
    "SbRequestGetMaxWritePhysicalMemoryBufferSize",
    "SbRequestGetMaxReadIoBufferSize",
    "SbRequestGetMaxWriteIoBufferSize",
    "SbRequestGetMaxSearchPatternSize",
    "SbRequestGetMaxReadMmioVirtualBufferSize",
    "SbRequestGetMaxWriteMmioVirtualBufferSize",
    "SbRequestGetMaxReadMmioLinearBufferSize",
    "SbRequestGetMaxWriteMmioLinearBufferSize",
    "SbRequestGetMaxReadMmioPhysicalBufferSize",
    "SbRequestGetMaxWriteMmioPhysicalBufferSize",
};

/// A module that knows every name but one, by the address of its place in a list, and counts.
class FakeModule final : public ktDynamicLibrary {
public:
    FakeModule() { ++alive; }
    ~FakeModule() override { --alive; }
    void *Find(const char *symbol) override {
        asked.emplace_back(symbol);
        if (symbol == missing) return nullptr;
        return &places[asked.size() - 1];
    }

    static std::unique_ptr<ktDynamicLibrary> Load() {
        ++loads;
        asked.clear();
        return std::make_unique<FakeModule>();
    }
    static std::unique_ptr<ktDynamicLibrary> LoadNothing() {
        ++loads;
        return nullptr;
    }

    static inline std::string missing;
    static inline std::vector<std::string> asked;
    static inline int alive = 0;
    static inline int loads = 0;
    static inline char places[ktEngineFunctionCount] = {};
};

class EngineLibrary : public testing::Test {
protected:
    EngineLibrary() {
        FakeModule::missing.clear();
        FakeModule::asked.clear();
        FakeModule::loads = 0;
        ktEngineLibrary::SetLoader(FakeModule::Load);
    }
    ~EngineLibrary() override {
        ktEngineLibrary::Release();
        ktEngineLibrary::SetLoader(nullptr);
    }
};

/// Whether a file of this name is mapped into the process.
bool IsLoaded(const std::string &file) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        if (line.size() >= file.size() && line.compare(line.size() - file.size(), file.size(), file) == 0)
            return true;
    return false;
}

std::unique_ptr<ktDynamicLibrary> LoadWithoutLast() {
    return LoadDynamicLibrary(DynamicLibraryName("test_engine_without_last").c_str());
}

} // namespace

TEST_F(EngineLibrary, TheNamesStandInTheOrderOfTheTable) {
    ASSERT_EQ(names.size(), 133u);
    const std::span<const char *const> known = ktEngineFunctionNames();
    EXPECT_EQ(std::vector<std::string>(known.begin(), known.end()), names);
}

TEST_F(EngineLibrary, EveryNameIsLookedUpInOrderAndFillsItsPlace) {
    ktEngineLibrary *library = ktEngineLibrary::Get();
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(FakeModule::asked, names);
    for (size_t i = 0; i < names.size(); ++i) {
        const void *function = nullptr;
        std::memcpy(&function, reinterpret_cast<const char *>(&library->Table()) + i * sizeof(function),
                    sizeof(function));
        EXPECT_EQ(function, &FakeModule::places[i]) << names[i];
    }
}

TEST_F(EngineLibrary, AMissingNameFailsAfterTheOthersAreLookedUp) {
    for (const std::string &name : names) {
        FakeModule::missing = name;
        EXPECT_EQ(ktEngineLibrary::Get(), nullptr) << name;
        EXPECT_EQ(FakeModule::asked, names) << name;
        EXPECT_EQ(FakeModule::alive, 0) << name << ": the module is released";
    }
}

TEST_F(EngineLibrary, IsBoundOnce) {
    ktEngineLibrary *library = ktEngineLibrary::Get();
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(ktEngineLibrary::Get(), library);
    EXPECT_EQ(FakeModule::loads, 1);
    EXPECT_EQ(FakeModule::alive, 1);
}

TEST_F(EngineLibrary, ALaterCallTriesAgain) {
    ktEngineLibrary::SetLoader(FakeModule::LoadNothing);
    EXPECT_EQ(ktEngineLibrary::Get(), nullptr);
    EXPECT_EQ(ktEngineLibrary::Get(), nullptr);
    EXPECT_EQ(FakeModule::loads, 2);
    ktEngineLibrary::SetLoader(FakeModule::Load);
    EXPECT_NE(ktEngineLibrary::Get(), nullptr);
    EXPECT_EQ(FakeModule::loads, 3);
}

TEST_F(EngineLibrary, ReleaseUnloadsAndTheNextCallBindsAnew) {
    ASSERT_NE(ktEngineLibrary::Get(), nullptr);
    ktEngineLibrary::Release();
    EXPECT_EQ(FakeModule::alive, 0);
    ktEngineLibrary::Release();
    ASSERT_NE(ktEngineLibrary::Get(), nullptr);
    EXPECT_EQ(FakeModule::loads, 2);
}

TEST_F(EngineLibrary, ALibraryThatLacksOnlyTheLastExportFailsAndIsUnloaded) {
    const std::string file = DynamicLibraryName("test_engine_without_last");
    {
        const std::unique_ptr<ktDynamicLibrary> library = LoadWithoutLast();
        ASSERT_NE(library, nullptr);
        EXPECT_TRUE(IsLoaded(file));
        for (const std::string &name : names)
            EXPECT_EQ(library->Find(name.c_str()) == nullptr, name == names.back()) << name;
    }
    ktEngineLibrary::SetLoader(LoadWithoutLast);
    EXPECT_EQ(ktEngineLibrary::Get(), nullptr);
    EXPECT_FALSE(IsLoaded(file));
}

TEST_F(EngineLibrary, ALibraryWithAllNamesIsBound) {
    ktEngineLibrary::SetLoader([] { return LoadDynamicLibrary(DynamicLibraryName("test_engine").c_str()); });
    ktEngineLibrary *library = ktEngineLibrary::Get();
    ASSERT_NE(library, nullptr);
    for (int32_t (*never)() : {library->Table().TransportEnumerateInterfaces,
                               library->Table().SbRequestGetMaxWriteMmioPhysicalBufferSize})
        EXPECT_EQ(never(), SABLE_NOT_SUPPORTED);
}
