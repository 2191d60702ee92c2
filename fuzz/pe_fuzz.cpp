// PE files and images in target memory: the headers, the image, the CodeView record and the relocations.

#include "load_fuzz.h"
#include "symbols/pe/pe_loader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    return LoadInput(data, size, [](ktLoadRequest &request, DataReader &reader, uint8_t mode) {
        return LoadPe(request, reader, !(mode & loadFromTarget));
    });
}
