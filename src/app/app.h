#pragma once

#include "platform/host.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class ktAppGui;
class ktCircularLines;
class ktCmdProcessor;
class ktEngineLibrary;
class ktLogLines;
class ktSession;
class ktStartupCmdSet;
class ktTaskPool;
struct ktCmdContext;

/// The root object: builds everything in a fixed order, wires it, and tears it down in a fixed order.
/// Start and Shutdown run on the entry thread. There is no restart.
class ktApp {
public:
    using GuiFactory = std::unique_ptr<ktAppGui> (*)();

    /// `facts` are asked for memory and processors at start. `guiFactory` makes the windows; without it there
    /// are none, and everything else is the same.
    explicit ktApp(ktHost &facts = SystemHost(), GuiFactory guiFactory = nullptr);
    ~ktApp();
    ktApp(const ktApp &) = delete;
    ktApp &operator=(const ktApp &) = delete;

    /// Splits the command line at spaces, without any quoting. False for null.
    bool Init(void *newInstance, void *newPrevInstance, const char *commandLine, uint32_t newShowCommand);
    /// Builds and wires everything; on failure `lastError` is set and Shutdown copes with what stands.
    bool Start();
    /// Undoes Start, waiting without limit for a running command. Safe to call again.
    void Shutdown();

    void *instance = nullptr;
    void *prevInstance = nullptr;
    uint32_t showCommand = 0;
    uint32_t lastError = 0;                   ///< the process's exit code
    std::vector<std::string> args;            ///< kept, and read by nobody
    ktEngineLibrary *engineLibrary = nullptr; ///< the process's; null when it could not be loaded
    std::unique_ptr<ktSession> session;
    std::unique_ptr<ktStartupCmdSet> startupSet;
    std::unique_ptr<ktCmdProcessor> processor;
    std::unique_ptr<ktLogLines> outputLines;   ///< command output
    std::unique_ptr<ktCircularLines> logLines; ///< the system's own log
    std::unique_ptr<ktLogLines> remoteLines;   ///< text that arrives from the target
    std::unique_ptr<ktAppGui> gui;             ///< null in a program without windows
    std::unique_ptr<ktTaskPool> taskPool;

private:
    bool Build();
    bool CreateLineStores();
    bool CreateTaskPool();
    void CreateSession();
    bool CreateCommandSystem();
    bool RegisterEngines();
    bool CreateGui();
    bool LinkGui();
    ktCmdContext CommandContext();

    ktHost &host;
    GuiFactory createGui;
};
