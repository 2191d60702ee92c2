#include "symbols/pe/pe_loader.h"

#include "platform/file.h"
#include "session/page_cache.h"
#include "symbols/image_range.h"
#include "symbols/load_request.h"
#include "symbols/module.h"
#include "symbols/pe/pe_file.h"
#include "symbols/pe/pe_relocate.h"

namespace {

bool CopyImage(const ktPeFile &pe, uint64_t base, ktPageCache &pages) {
    const ktExclusiveGuard guard(pages.lock);
    uint64_t written = 0;
    if (pages.ReservePages(base, pe.imageSize) &&
        pages.WritePages(base, pe.image.get(), pe.imageSize, &written, pages.CurrentStamp()) &&
        written == pe.imageSize)
        return true;
    RemoveImagePages(pages, base, pe.imageSize);
    return false;
}

} // namespace

bool LoadPe(ktLoadRequest &request, DataReader &reader, bool fromFile) {
    ktPeFile pe;
    pe.fromTarget = !fromFile;
    if (!pe.Parse(reader, request.pages != nullptr)) return false;
    if (fromFile && !Relocate(pe, request.requestedBase)) return false;

    ktModule &module = *request.module;
    module.base = pe.loadBias + pe.imageBase;
    module.entry = pe.ntHeaders.optional.addressOfEntryPoint + module.base;
    module.size = pe.imageSize;
    module.pointerSize = pe.is64 ? 8 : 4;
    if (!ImageFits(module.base, module.size)) return false;
    // Here the symbols of the image's program database join the module, once such files can be read. A module
    // without them is good enough.
    if (request.pages && !CopyImage(pe, module.base, *request.pages)) return false;
    if (!pe.hasCodeView || module.name.Assign(HostPathLastComponent(pe.pdbPath))) return true;
    if (request.pages) RemoveModulePages(*request.pages, module);
    return false;
}
