// Prints the symbol tree that a file's load leaves, one item a line, its fields separated by tabs, so that
// the end-to-end tests can compare with other tools what no command shows: every line row, every range of a
// function, names that a listing would cut.
//
// Usage: dump_symbols FILE
//   unit NAME RANGE...        function NAME ENTRY INLINED RANGE...    (a range is START+SIZE)
//   struct NAME SIZE          member NAME OFFSET
//   enum NAME SIZE            enumerator NAME VALUE
//   row ADDRESS LINE FILE
// What follows a unit belongs to it, what follows a struct or an enum as well. Numbers are decimal.

#include <cinttypes>
#include <cstdint>
#include <cstdio>

#include "symbols/comp_unit.h"
#include "symbols/function.h"
#include "symbols/load_request.h"
#include "symbols/module.h"
#include "symbols/module_loader.h"
#include "symbols/symbol_factory.h"
#include "symbols/types.h"

namespace {

const char *TextOf(const ktOwnedText &text) { return text.Get() ? text.Get() : ""; }

void PrintRanges(const ktRangeList &ranges) {
    for (const ktAddrRange &range : ranges.Ranges())
        std::printf("\t%" PRIu64 "+%" PRIu64, range.start, range.size);
    std::printf("\n");
}

void PrintType(const ktType &type) {
    if (type.GetTypeKind() == ktType::typeComplex) {
        const auto &complex = static_cast<const ktComplexType &>(type);
        std::printf("struct\t%s\t%" PRIu64 "\n", complex.GetName(), complex.size);
        for (const ktTypeMember *member : complex.members) {
            std::printf("member\t%s\t%" PRIu64 "\n", TextOf(member->name), member->offset);
        }
    } else if (type.GetTypeKind() == ktType::typeEnum) {
        const auto &enumeration = static_cast<const ktEnumType &>(type);
        std::printf("enum\t%s\t%" PRIu64 "\n", enumeration.GetName(), enumeration.size);
        for (const ktEnumMember *member : enumeration.members) {
            std::printf("enumerator\t%s\t%" PRId64 "\n", TextOf(member->name), member->value);
        }
    }
}

void PrintUnit(const ktCompUnit &unit) {
    std::printf("unit\t%s", TextOf(unit.name));
    PrintRanges(unit.ranges);
    for (const ktFunction *function : unit.Functions()) {
        std::printf("function\t%s\t%" PRIu64 "\t%d", TextOf(function->name), function->entry,
                    function->IsInlined() ? 1 : 0);
        PrintRanges(function->ranges);
    }
    for (const ktType *type : unit.Types()) PrintType(*type);
    const ktLineTable &table = unit.lines.Table();
    for (const ktLineRecord &row : unit.lines.Rows()) {
        std::printf("row\t%" PRIu64 "\t%" PRIu64 "\t%s\n", row.address, row.line,
                    row.file < table.files.size() ? TextOf(table.files[row.file]) : "");
    }
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fputs("usage: dump_symbols FILE\n", stderr);
        return 2;
    }
    ktSymbolFactory factory;
    ktLoadRequest request;
    request.factory = &factory;
    if (!LoadFromFile(request, argv[1])) {
        std::fprintf(stderr, "dump_symbols: %s was not loaded\n", argv[1]);
        return 1;
    }
    for (const ktCompUnit *unit : request.module->CompUnits()) PrintUnit(*unit);
    return 0;
}
