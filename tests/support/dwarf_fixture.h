#pragma once

#include "app/task_pool.h"
#include "support/dwarf_builder.h"
#include "support/load_fixture.h"
#include "symbols/dwarf/dwarf_loader.h"
#include "symbols/elf/elf_file.h"
#include "symbols/func_arg.h"
#include "symbols/named_object.h"
#include "symbols/types.h"
#include "symbols/variable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

/// Loads debugging information out of whole ELF files.
class ktDwarfFixture : public ktLoadFixture {
public:
    using Lines = std::vector<std::string>;

    /// What LoadDwarf itself says about a file that ktElfFile takes.
    bool LoadFile(const ktBytes &bytes) {
        MemReader reader(bytes.data(), bytes.size());
        ktElfFile elf;
        elf.loadSections = true;
        EXPECT_TRUE(elf.Parse(reader));
        EXPECT_TRUE(rebase == 0 || elf.Rebase(rebase));
        request.module.Reset(factory.CreateModule());
        return LoadDwarf(request, elf);
    }
    bool Load() { return LoadFile(dwarf.Build()); }

    void UsePool(uint32_t workers) {
        pool = std::make_unique<ktTaskPool>();
        ASSERT_TRUE(pool->Start(workers));
        request.pool = pool.get();
        request.parallel = true;
    }

    /// The one unit that is expected; null, with a failure, for any other number of them.
    ktCompUnit *Unit() {
        EXPECT_EQ(Module().CompUnits().size(), 1u);
        return Module().CompUnits().size() == 1 ? Module().CompUnits()[0] : nullptr;
    }
    template <class T>
    T *Type(const char *name) {
        ktCompUnit *unit = Unit();
        ktType *type = unit ? unit->FindType(name) : nullptr;
        EXPECT_TRUE(type) << name;
        return static_cast<T *>(type);
    }

    static std::string Hex(uint64_t number) {
        char text[32];
        std::snprintf(text, sizeof text, "%llX", static_cast<unsigned long long>(number));
        return text;
    }
    static std::string Describe(const ktRangeList &ranges) {
        std::string text;
        for (const ktAddrRange &range : ranges.Ranges())
            text += (text.empty() ? "" : ",") + Hex(range.start) + "+" + Hex(range.size);
        return text;
    }
    template <class List>
    static std::string Names(const List &objects) {
        std::string text;
        for (const auto *object : objects) text += (text.empty() ? "" : " ") + std::string(NameOf(*object));
        return text;
    }
    /// All of a unit that does not depend on when it was read.
    static std::string Describe(const ktCompUnit &unit) {
        std::string text = std::string(unit.name.Get()) + "[" + Describe(unit.ranges) + "]";
        for (const ktFunction *function : unit.Functions()) {
            text += " " + std::string(function->name.Get()) + "@" + Hex(function->entry) + "[" +
                    Describe(function->ranges) + "](" + Names(function->args) + "){" +
                    Names(function->locals) + "}";
        }
        return text + " types: " + Names(unit.Types()) + "; variables: " + Names(unit.Variables());
    }
    Lines DescribeAll() {
        Lines all;
        for (const ktCompUnit *unit : Module().CompUnits()) all.push_back(Describe(*unit));
        return all;
    }
    std::string FunctionNames() {
        ktCompUnit *unit = Unit();
        return unit ? Names(unit->Functions()) : std::string();
    }
    std::string TypeNames() {
        ktCompUnit *unit = Unit();
        return unit ? Names(unit->Types()) : std::string();
    }

    ktDwarfBuilder dwarf;
    std::unique_ptr<ktTaskPool> pool;
    uint64_t rebase = 0; ///< where the file is moved to; 0: nowhere
};
