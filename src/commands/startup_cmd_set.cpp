#include "commands/startup_cmd_set.h"

ktStartupCmdSet::ktStartupCmdSet(ktClock &clock) : connect(clock), commands{&quit, &help, &connect, &cls} {}

ktCmd *ktStartupCmdSet::GetCommand(uint64_t index) {
    return index < commands.size() ? commands[index] : nullptr;
}
