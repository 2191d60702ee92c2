#pragma once

#include "commands/name_trie.h"
#include "platform/sync.h"
#include "session/page_cache.h"
#include "session/space_reader.h"
#include "symbols/module_list.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

class ktModule;

/// One address space: its cached pages, its reader, and the modules loaded into it. Readers walk
/// `Modules()` and all below without a lock; writers hold `modulesLock`, then the lock of `pages`.
class ktSpace {
public:
    /// `targetReader` reads the target's memory and may be null (no target).
    ktSpace(uint64_t key, std::unique_ptr<DataReader> targetReader);
    /// Releases the modules in array order.
    ~ktSpace();
    ktSpace(const ktSpace &) = delete;
    ktSpace &operator=(const ktSpace &) = delete;

    /// Page-table root as the context gave it; 0 with the static engine.
    uint64_t Key() const { return key; }
    ktPageCache &Pages() { return pages; }
    /// The space's own reader; command thread only.
    ktSpaceReader &Reader() { return reader; }
    /// The target's reader, null with the static engine.
    DataReader *TargetReader() { return targetReader.get(); }

    /// Takes a reference, ends the module's filling, makes its name unique among the modules, and publishes.
    /// False for null, and when a reference or the name cannot be had; then the space has not changed.
    bool AddModule(ktModule *module);
    /// Takes the module and its pages out and drops the reference. Null and unknown modules do nothing.
    void RemoveModule(ktModule *module);
    /// The module at that place in the order of loading, or null past the end.
    ktModule *GetModule(uint64_t index) const;
    uint64_t ModuleCount() const { return modules.Get().size(); }
    /// The modules at this moment, in the order of loading.
    ktModuleList::View Modules() const { return modules.Get(); }
    /// The module with exactly that name, or null. Command thread.
    ktModule *FindModule(const std::string &moduleName) const;
    const ktNameTrie &ModuleNames() const { return moduleNames; }
    /// Changes whenever a module is taken out, and no two spaces ever have the same: whoever keeps a
    /// ktLocation between calls compares it before using the pointers. Any thread.
    uint64_t RemovalStamp() const { return removalStamp.load(std::memory_order_acquire); }

private:
    bool MakeNameUnique(ktModule &module);
    bool Publish(ktModule *module);
    static uint64_t NewStamp() {
        static std::atomic<uint64_t> last{0};
        return ++last;
    }

    uint64_t key;
    std::string name;
    ktPageCache pages;
    std::unique_ptr<DataReader> targetReader;
    ktSpaceReader reader;
    ktCriticalSection modulesLock;
    ktModuleList modules;
    ktNameTrie moduleNames; ///< value: ktModule *; names that are not 7-bit text are left out
    std::atomic<uint64_t> removalStamp{NewStamp()}; ///< RemoveModule stores a NewStamp() before it releases
};
