#include "app/app.h"

#include "app/app_gui.h"
#include "app/circular_lines.h"
#include "app/log.h"
#include "app/log_lines.h"
#include "app/task_pool.h"
#include "commands/cmd.h"
#include "commands/cmd_processor.h"
#include "commands/session_cmd_set.h"
#include "commands/startup_cmd_set.h"
#include "disasm/xed_disasm.h"
#include "session/engine_library.h"
#include "session/sb_dbg_eng.h"
#include "session/session.h"

#include <algorithm>

namespace {

std::unique_ptr<ktDisasm> CreateDisasm() { return std::make_unique<ktXedDisasm>(); }

std::unique_ptr<ktCmdSet> CreateSessionCmdSet() { return std::make_unique<ktSessionCmdSet>(); }

constexpr ktSessionFactories sessionFactories = {CreateDisasm, CreateSessionCmdSet, ktSbDbgEng::Create};

bool InsertEngineName(ktCmdProcessor &processor, const char *name) {
    return bool(processor.engineNames.Insert(name, reinterpret_cast<uint64_t>(name)));
}

} // namespace

ktApp::ktApp(ktHost &facts, GuiFactory guiFactory) : host(facts), createGui(guiFactory) {}

ktApp::~ktApp() { Shutdown(); }

bool ktApp::Init(void *newInstance, void *newPrevInstance, const char *commandLine, uint32_t newShowCommand) {
    instance = newInstance;
    prevInstance = newPrevInstance;
    showCommand = newShowCommand;
    lastError = 0;
    args.clear();
    std::string narrow;
    if (!CommandLineToNarrow(commandLine, narrow)) {
        lastError = LastSystemError();
        return false;
    }
    // Only the space separates: a quote is an ordinary byte, and so is every other blank.
    size_t start = 0;
    while (start < narrow.size()) {
        const size_t end = std::min(narrow.find(' ', start), narrow.size());
        if (end > start) args.push_back(narrow.substr(start, end - start));
        start = end + 1;
    }
    return true;
}

bool ktApp::Start() {
    const bool built = Build();
    if (!built) lastError = LastSystemError();
    if (session) session->cmdProcessor = processor.get();
    return built;
}

bool ktApp::Build() {
    if (!CreateLineStores()) return false;
    const bool poolStarted = CreateTaskPool();
    SetLogSink(logLines.get()); // even without a pool, so that what follows has a home for its messages
    if (!poolStarted) return false;
    CreateSession();
    return CreateCommandSystem() && RegisterEngines() && CreateGui() && LinkGui();
}

bool ktApp::CreateLineStores() {
    logLines = std::make_unique<ktCircularLines>();
    remoteLines = std::make_unique<ktLogLines>();
    outputLines = std::make_unique<ktLogLines>();
    return logLines->Reserve() && remoteLines->Reserve() && outputLines->Reserve();
}

bool ktApp::CreateTaskPool() {
    taskPool = std::make_unique<ktTaskPool>();
    const uint32_t processors = host.ProcessorCount();
    return taskPool->Start(processors > 1 ? processors - 1 : processors); // one stays free for the user
}

void ktApp::CreateSession() {
    session = std::make_unique<ktSession>(host, sessionFactories);
    session->outputLines = outputLines.get();
    session->taskPool = taskPool.get();
    session->logLines = remoteLines.get();
}

bool ktApp::CreateCommandSystem() {
    processor = std::make_unique<ktCmdProcessor>();
    startupSet = std::make_unique<ktStartupCmdSet>();
    if (!processor->StartWorker() || !processor->RegisterSet(startupSet.get())) return false;
    const ktCmdContext context = CommandContext();
    for (uint64_t i = 0; ktCmd *command = startupSet->GetCommand(i); ++i) command->SetCmdContext(context);
    return true;
}

/// What the commands of the startup set get. `gui` is null until the windows stand.
ktCmdContext ktApp::CommandContext() {
    ktCmdContext context;
    context.session = session.get();
    context.output = outputLines.get();
    context.processor = processor.get();
    context.gui = gui.get();
    return context;
}

bool ktApp::RegisterEngines() {
    engineLibrary = ktEngineLibrary::Get();
    bool inserted = true;
    if (engineLibrary) {
        ktLog("Sable engine loaded");
        inserted = InsertEngineName(*processor, "sable");
    }
    inserted = inserted && InsertEngineName(*processor, "static");
    // The same words whether the keywords went in or not: readers of the log look for this line.
    ktLog("Static engine loaded");
    return inserted;
}

bool ktApp::CreateGui() {
    if (!createGui) return true;
    gui = createGui();
    return gui && gui->Start();
}

/// The quit command learns of the window that it closes whether a window is missing or not.
bool ktApp::LinkGui() {
    if (!gui) return true;
    ktGuiWiring wiring;
    wiring.processor = processor.get();
    wiring.outputLines = outputLines.get();
    wiring.logLines = logLines.get();
    wiring.remoteLines = remoteLines.get();
    wiring.session = session.get();
    const bool linked = gui->Link(wiring);
    session->gui = gui.get();
    if (ktCmd *quit = processor->FindCommand("q")) quit->SetCmdContext(CommandContext());
    return linked;
}

void ktApp::Shutdown() {
    if (session) {
        // Before anything else goes, so that no view receives data any more. This stops the commands as well,
        // and first shuts out events, each of which would type one line more.
        session->Disconnect();
        session->cmdProcessor = nullptr;
        session->gui = nullptr;
    }
    if (gui) gui->Stop();
    gui.reset();
    session.reset();
    startupSet.reset();
    processor.reset();
    if (taskPool) taskPool->Stop();
    taskPool.reset();
    outputLines.reset();
    if (engineLibrary) ktEngineLibrary::Release();
    engineLibrary = nullptr;
    ClearLogSink(); // only now: an engine library may log while it goes
    logLines.reset();
    remoteLines.reset();
    args.clear();
}
