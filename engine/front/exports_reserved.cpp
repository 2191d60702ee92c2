#include "front/exports.h"

// Functions that have to be there. This library does nothing in them, and says so.

#define SABLE_SKIP(name, parameters)
#define SABLE_RESERVED(name, parameters)                                                                     \
    int32_t name parameters { return SABLE_NOT_SUPPORTED; }

SABLE_ENGINE_TABLE(SABLE_SKIP, SABLE_RESERVED)
