#pragma once

#include "symbols/module.h"
#include "symbols/object.h"

#include <cstdint>
#include <string>

class ktPageCache;
class ktSymbolFactory;
class ktTaskPool;
struct ktLoadProgress;

/// Finds the symbol file that belongs to an image.
class ktSymbolLocator {
public:
    virtual ~ktSymbolLocator() = default;
    /// True, with a local path in `path`, when the file with that GUID and age could be had.
    virtual bool LocatePdb(const uint8_t (&guid)[16], uint32_t age, const char *pdbPath,
                           std::string &path) = 0;
};

/// Arguments of one load.
struct ktLoadRequest {
    ktRef<ktModule> module;     ///< being filled; the request's own until it is added
    bool parallel = false;      ///< `pool` is given
    uint64_t requestedBase = 0; ///< 0 means the image's own address
    ktTaskPool *pool = nullptr; ///< may be null
    ktSymbolFactory *factory = nullptr;
    ktPageCache *pages = nullptr;             ///< set only when the image's bytes are to be kept
    ktSymbolLocator *symbolLocator = nullptr; ///< may be null
    ktLoadProgress *progress = nullptr;       ///< may be null
};
