#include "commands/connect_cmd.h"

#include "commands/cmd_line.h"
#include "commands/transport.h"
#include "session/session.h"

namespace {

constexpr uint32_t retryMilliseconds = 1;

} // namespace

ktConnectCmd::ktConnectCmd(ktClock &newClock) : ktSessionCmd("connect"), clock(newClock) {}

uint32_t ktConnectCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!session) return ktCmdFailed;
    const uint32_t engine = argCount > 0 ? ktParseEngine(args[0].text) : 0;
    const uint32_t transport = argCount > 1 ? ktParseTransport(args[1].text) : 0;
    const char *address = argCount > 2 ? args[2].text : nullptr;
    flags.Begin();
    while (!session->Connect(engine, transport, address)) {
        clock.Sleep(retryMilliseconds);
        if (flags.TakeRequest()) return ktCmdCancelled;
    }
    flags.End();
    return ktCmdOk;
}

bool ktConnectCmd::Cancel() {
    flags.Request();
    return false;
}
