#include "commands/cmd.h"

uint32_t ktCmd::GetArgType(uint32_t) const { return 0; }
