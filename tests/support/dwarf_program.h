#pragma once

#include "support/dwarf_builder.h"

#include <string>

/// Adds a unit that has something of everything: types of all kinds, a circle among them, nested and inlined
/// functions, range lists, a line program, texts of sections, and what is told in the log.
inline void AddProgramUnit(ktDwarfBuilder &dwarf, uint64_t number) {
    const std::string suffix = std::to_string(number);
    const uint64_t low = 0x400000 + 0x10000 * number;
    const size_t offsetSize = dwarf.wide ? 8 : 4;
    const auto text = [&](const std::string &name) {
        return AttrNumber(0x03, 0x0E, dwarf.Text(name + suffix), offsetSize);
    };
    ktBytes &ranges = dwarf.sections[dwarf.version == 5 ? ".debug_rnglists" : ".debug_ranges"];
    ktDieBytes list;
    if (dwarf.version == 5) {
        list.U8(7).Number(low, dwarf.addressSize).Uleb(0x300).U8(5).Number(low, dwarf.addressSize);
        list.Raw({4, 0x10, 0x20, 0});
    } else {
        for (const uint64_t address : ktCodes{low + 0x1000, low + 0x1300, uint64_t(0), uint64_t(0)})
            list.Number(address, dwarf.addressSize);
    }
    const uint64_t rangesAt = ranges.size();
    ranges.insert(ranges.end(), list.bytes.begin(), list.bytes.end());
    ktBytes &lines = dwarf.sections[".debug_line"];
    ktLineProgramBuilder program;
    program.wide = dwarf.wide;
    program.code.SetAddress(low, dwarf.addressSize).Copy().EndSequence();
    const uint64_t linesAt = lines.size();
    const ktBytes built = program.Build();
    lines.insert(lines.end(), built.begin(), built.end());

    dwarf.BeginUnit();
    dwarf.Parent(0x11, {text("/src/unit"), AttrText(0x1B, "/src"), AttrAddr(0x11, low, dwarf.addressSize),
                        AttrNumber(0x12, 0x05, 0x200, 2), AttrOffset(0x10, linesAt, offsetSize)});
    const uint64_t integer = dwarf.Leaf(0x24, {text("int"), AttrData1(0x0B, 4), AttrData1(0x3E, 5)});
    const uint64_t node = dwarf.Here();
    dwarf.Parent(0x13, {text("node"), AttrData1(0x0B, 16), AttrData1(0x3A, 1)});
    dwarf.Leaf(0x0D, {AttrName("value"), AttrType(integer), AttrData1(0x38, 0)});
    dwarf.Leaf(0x0D, {AttrName("next"), AttrType(node), AttrData1(0x38, 8), AttrData1(0x3F, 1)});
    dwarf.End();
    const uint64_t pointer = dwarf.Leaf(0x0F, {AttrData1(0x0B, 8), AttrType(node)});
    dwarf.Leaf(0x16, {AttrName("own"), AttrType(dwarf.Here())});
    dwarf.Parent(0x01, {AttrType(pointer), AttrData1(0x0B, 64)});
    dwarf.Leaf(0x21, {AttrType(integer), AttrData1(0x2F, 7)});
    dwarf.End();
    dwarf.Parent(0x04, {text("colour"), AttrData1(0x0B, 4), AttrType(integer)});
    dwarf.Leaf(0x28, {AttrName("red"), AttrUleb(0x1C, 0x0F, 1)});
    dwarf.Leaf(0x28, {AttrName("green"), AttrSleb(0x1C, -2)});
    dwarf.End();
    dwarf.Parent(0x15, {AttrType(integer)});
    dwarf.Leaf(0x05, {AttrType(pointer)});
    dwarf.Leaf(0x34, {}); // of a kind that it cannot hold
    dwarf.End();
    const uint64_t origin = dwarf.Parent(0x2E, {text("inlined"), AttrType(integer)});
    dwarf.Leaf(0x05, {AttrName("a"), AttrType(pointer)});
    dwarf.End();
    ktAttr location = AttrNumber(0x40, 0x18, 1, 1);
    location.value.push_back(0x9C);
    dwarf.Parent(0x2E, {text("main"),
                        AttrAddr(0x11, low + 0x10, dwarf.addressSize),
                        AttrData1(0x12, 0x40),
                        AttrType(integer),
                        location,
                        {0x3F, 0x19, {}, 0}});
    dwarf.Leaf(0x05, {AttrName("argc"), AttrType(integer)});
    dwarf.Leaf(0x34, {AttrName("local"), AttrType(pointer), {0x58, 0x21, {}, -7}});
    dwarf.Leaf(0x1D, {AttrRef(0x31, origin), AttrOffset(0x55, rangesAt, offsetSize)});
    dwarf.Parent(0x0B, {});
    dwarf.Leaf(0x34, {AttrName("hidden"), AttrType(integer)});
    dwarf.End();
    dwarf.End();
    dwarf.Leaf(0x2E, {text("spread"), AttrOffset(0x55, rangesAt, offsetSize)});
    dwarf.Leaf(0x34, {text("global"), AttrType(pointer), {0x02, 0x1B, {}, 0}});
    dwarf.End();
    dwarf.EndUnit();
}
