// Debugging information: units, declarations, entries, texts and range lists, with and without the pool.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "app/task_pool.h"
#include "load_fuzz.h"
#include "support/elf_builder.h"
#include "symbols/dwarf/dwarf_loader.h"
#include "symbols/elf/elf_file.h"
#include "symbols/func_arg.h"
#include "symbols/function.h"
#include "symbols/named_object.h"
#include "symbols/types.h"
#include "symbols/variable.h"

namespace {

constexpr std::array<const char *, 8> sectionNames = {".debug_info",     ".debug_abbrev", ".debug_str",
                                                      ".debug_line_str", ".debug_ranges", ".debug_rnglists",
                                                      ".debug_addr",     ".debug_line"};

/// Cuts the input into sections: for each a length of two bytes, then their bytes one after the other. A
/// length of ones leaves the section out.
ktBytes MakeFile(const uint8_t *data, size_t size) {
    ktElfBuilder elf = GoodElf();
    elf.AddSection(".rel", ktElfSectionRel, ktBytes(8)); // so that it can be moved
    const uint8_t *lengths = data;
    const size_t head = std::min(size, 2 * sectionNames.size());
    data += head;
    size -= head;
    for (size_t i = 0; 2 * i + 1 < head; ++i) {
        const auto wanted = static_cast<size_t>(lengths[2 * i] + 256 * lengths[2 * i + 1]);
        if (wanted == 0xFFFF) continue;
        const size_t length = std::min(wanted, size);
        elf.AddSection(sectionNames[i], 1, ktBytes(data, data + length));
        data += length;
        size -= length;
    }
    return elf.Build();
}

template <class T>
void WalkName(const T &object) {
    Require(NameOf(object) && std::char_traits<char>::length(NameOf(object)) < 1 << 20);
}

void WalkType(const ktType &type) {
    WalkName(type);
    type.GetSize();
    if (type.GetTypeKind() == ktType::typeComplex) {
        for (const ktTypeMember *member : static_cast<const ktComplexType &>(type).members) {
            WalkName(*member);
            Require(member->owner == &type);
            if (const ktType *found = TypeOf(member->type)) WalkName(*found);
        }
    } else if (type.GetTypeKind() == ktType::typeEnum) {
        for (const ktEnumMember *member : static_cast<const ktEnumType &>(type).members) {
            WalkName(*member);
            Require(member->Owner() == &type);
        }
    } else if (type.GetTypeKind() == ktType::typeFunction) {
        for (const ktFuncArg *arg : static_cast<const ktFuncType &>(type).args) WalkName(*arg);
    } else if (type.GetTypeKind() == ktType::typeArray) {
        for (const ktRangeType *range : static_cast<const ktArrayType &>(type).ranges) WalkName(*range);
    }
}

/// All that a unit leads to.
void WalkUnit(const ktCompUnit &unit) {
    WalkName(unit);
    Require(!unit.ranges.IsEmpty());
    for (const ktFunction *function : unit.Functions()) {
        WalkName(*function);
        Require(!function->ranges.IsEmpty());
        for (const ktFuncArg *arg : function->args) WalkName(*arg);
        for (const ktVariable *local : function->locals) WalkName(*local);
        if (const ktType *type = TypeOf(function->returnType)) WalkType(*type);
    }
    for (const ktType *type : unit.Types()) WalkType(*type);
    for (const ktVariable *variable : unit.Variables()) {
        WalkName(*variable);
        if (const ktType *type = TypeOf(variable->type)) WalkType(*type);
    }
    unit.lines.Rows();
}

struct Loaded {
    bool good = false;
    uint64_t lastId = 0;
    size_t units = 0;
};

Loaded LoadOnce(const ktBytes &file, uint8_t mode, ktTaskPool *pool) {
    ktSymbolFactory factory;
    factory.indexNames = (mode & 1) != 0;
    ktLoadRequest request;
    request.factory = &factory;
    request.module.Reset(factory.CreateModule());
    request.pool = pool;
    request.parallel = pool != nullptr;
    MemReader reader(file.data(), file.size());
    ktElfFile elf;
    elf.loadSections = true;
    Require(elf.Parse(reader));
    if (mode & 2) Require(elf.Rebase(0x7F0000000));
    Loaded loaded;
    loaded.good = LoadDwarf(request, elf);
    elf.Clear(); // nothing may refer to the file any more
    request.module->Freeze();
    for (const ktCompUnit *unit : request.module->CompUnits()) WalkUnit(*unit);
    loaded.lastId = factory.nextId;
    loaded.units = request.module->CompUnits().size();
    return loaded;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const ktBytes file = MakeFile(data + 1, size - 1);
    const Loaded alone = LoadOnce(file, data[0], nullptr);
    static ktTaskPool pool;
    static const bool hasPool = pool.Start(2);
    if (!hasPool || !alone.good) return 0; // with the pool, a bad unit does not end the walk
    const Loaded together = LoadOnce(file, data[0], &pool);
    Require(together.good && together.lastId == alone.lastId && together.units == alone.units);
    return 0;
}
