#include "symbols/function.h"

#include "symbols/func_arg.h"
#include "symbols/variable.h"

ktFunction::~ktFunction() {
    ReleaseAll(args);
    ReleaseAll(locals);
    returnType.Release();
}

ktInlinedFunction::~ktInlinedFunction() { origin.Release(); }
