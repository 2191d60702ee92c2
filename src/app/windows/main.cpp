#include "app/app.h"
#include "app/app_gui.h"
#include "views/gui.h"

#include <cstdio>
#include <string>

namespace {

std::unique_ptr<ktAppGui> CreateGui() { return std::make_unique<ktGui>(); }

/// The words behind the program's name as one line, which is how the application takes them.
std::string CommandLine(int argc, char **argv) {
    std::string line;
    for (int i = 1; i < argc; ++i) {
        if (i > 1) line += ' ';
        line += argv[i];
    }
    return line;
}

} // namespace

int main(int argc, char **argv) {
    ktApp app(SystemHost(), CreateGui);
    bool started = false;
    if (app.Init(nullptr, nullptr, CommandLine(argc, argv).c_str(), 0)) {
        started = app.Start();
        if (started) {
            app.gui->RunMessageLoop();
        } else {
            const std::string problem = app.gui ? app.gui->Problem() : std::string();
            std::fprintf(stderr, "sabledbg: %s\n", problem.empty() ? "the start failed" : problem.c_str());
        }
    }
    const uint32_t exitCode = app.lastError;
    app.Shutdown();
    app.Shutdown(); // whatever the first one met, nothing is left
    return started || exitCode != 0 ? static_cast<int>(exitCode) : 1; // a failed start is never a success
}
