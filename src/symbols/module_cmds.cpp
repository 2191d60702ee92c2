#include "symbols/module_cmds.h"

#include "commands/cmd_line.h"
#include "platform/pages.h"
#include "session/dbg_eng.h"
#include "session/session.h"
#include "symbols/elf/elf_loader.h"
#include "symbols/image_range.h"
#include "symbols/load_progress.h"
#include "symbols/load_request.h"
#include "symbols/module_loader.h"
#include "symbols/pe/pe_loader.h"
#include "symbols/space.h"
#include "symbols/space_list.h"

namespace {

/// An image is looked for at every page of this many bytes in front of the address.
constexpr uint64_t searchDistance = 0x1000000;

constexpr uint8_t imagePattern[2] = {'M', 'Z'};

constexpr uint64_t PageStart(uint64_t address) { return address & ~uint64_t(ktPageSize - 1); }

bool HasSpaces(const ktSession *session) { return session && session->spaces; }

/// What every load takes from the session.
ktLoadRequest MakeRequest(ktSession &session) {
    ktLoadRequest request;
    request.factory = &session.symbolFactory;
    request.symbolLocator = session.symbolStore;
    request.progress = &session.loadProgress;
    return request;
}

bool IsLoaded(const ktSpace &space, uint64_t address) {
    for (const ktModule *module : space.Modules()) {
        if (module->Holds(address)) return true;
    }
    return false;
}

/// Looks for the start of an image from the page of `address` downwards.
ktStatus FindImage(ktDbgEng &engine, uint64_t address, uint64_t root, uint64_t &found) {
    const uint64_t end = PageStart(address > searchDistance ? address - searchDistance : 0);
    ktAddress start;
    start.kind = ktAddress::kindLinear;
    start.value = PageStart(address);
    start.root = root;
    ktAddress hit = start;
    const ktStatus status =
        engine.SearchMemory(start, &end, imagePattern, sizeof(imagePattern), uint32_t(ktPageSize), &hit);
    found = hit.value;
    return status;
}

/// Loads the image that `reader` stands at.
bool LoadFromTarget(ktLoadRequest &request, DataReader &reader) {
    request.module.Reset(request.factory->CreateModule());
    if (!request.module) return false;
    const uint64_t position = reader.GetPosition();
    if (LoadElf(request, reader)) return true;
    request.module.Reset(request.factory->CreateModule()); // nothing of what failed may stay in it
    return request.module && reader.Seek(position) && LoadPe(request, reader, false);
}

} // namespace

ktLmfCmd::ktLmfCmd() : ktSessionPoolCmd("lmf") {}

uint32_t ktLmfCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!HasSpaces(session)) return ktCmdNoSpaces;
    ktSpace *space = session->spaces->Current();
    if (!space) return ktCmdReadFailed;
    ktLoadRequest request = MakeRequest(*session);
    request.pool = pool;
    request.parallel = pool != nullptr;
    request.requestedBase = argCount > 1 ? args[1].value : 0;
    if (session->engine && session->engine->GetEngineType() == ktEngineStatic)
        request.pages = &space->Pages();
    const char *path = argCount > 0 ? args[0].ValueText() : nullptr;
    const ktLoadProgressScope progress(session->loadProgress);
    if (!LoadFromFile(request, path) || !request.module) return ktCmdNotLoaded;
    if (space->AddModule(request.module.Get())) return ktCmdOk;
    if (request.pages) RemoveModulePages(*request.pages, *request.module);
    return ktCmdNotRegistered;
}

ktModDetectCmd::ktModDetectCmd() : ktSessionCmd("mod.detect") {}

uint32_t ktModDetectCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!session || !session->engine) return ktCmdNoEngine;
    ktDbgEng &engine = *session->engine;
    context = ktContext();
    if (engine.GetContext(&context) < 0) return ktCmdEngineFailed;
    const uint64_t address = argCount > 0 ? args[0].value : context.values[ktRegIp];
    uint64_t base = 0;
    if (FindImage(engine, address, context.values[ktRegCr3], base) < 0) return ktCmdEngineFailed;

    if (!session->spaces) return ktCmdNoSpaces;
    ktSpace *space = session->spaces->Current();
    if (!space || !space->Reader().Seek(base)) return ktCmdReadFailed;
    if (IsLoaded(*space, base)) return ktCmdAlreadyLoaded;
    ktLoadRequest request = MakeRequest(*session);
    request.requestedBase = base;
    const ktLoadProgressScope progress(session->loadProgress);
    if (!LoadFromTarget(request, space->Reader())) return ktCmdNotLoaded;
    return space->AddModule(request.module.Get()) ? ktCmdOk : ktCmdNotRegistered;
}

ktUmCmd::ktUmCmd() : ktSessionCmd("um") {}

uint32_t ktUmCmd::Execute(ktCmdArg *args, uint32_t argCount) {
    if (!HasSpaces(session)) return ktCmdNoSpaces;
    ktSpace *space = session->spaces->Current();
    const char *name = argCount > 0 ? args[0].ValueText() : nullptr;
    ktModule *module = space && name ? space->FindModule(name) : nullptr;
    if (!module) return ktCmdNotFound;
    const ktLockGuard guard(session->viewLock); // a frame may be showing one of its names
    space->RemoveModule(module);
    return ktCmdOk;
}

ktCmCmd::ktCmCmd() : ktSessionCmd("cm") {}

uint32_t ktCmCmd::Execute(ktCmdArg *, uint32_t) {
    if (!HasSpaces(session)) return ktCmdNoSpaces;
    ktSpace *space = session->spaces->Current();
    const uint64_t count = space ? space->ModuleCount() : 0;
    for (uint64_t i = 0; i < count; ++i) {
        const ktLockGuard guard(session->viewLock);
        space->RemoveModule(space->GetModule(0));
    }
    return ktCmdOk;
}
