// An engine library in which every function is there and does nothing. Linked with without_last.map, the last
// one is not exported.
#include "abi/functions.h"

extern "C" {

#pragma GCC diagnostic ignored "-Wunused-parameter"
#define SABLE_FUNCTION(name, parameters)                                                                     \
    int32_t name parameters { return SABLE_NOT_SUPPORTED; }
SABLE_ENGINE_FUNCTIONS(SABLE_FUNCTION)
#undef SABLE_FUNCTION
}
