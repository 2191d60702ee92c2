#include "support/dwarf_builder.h"

#include "support/elf_builder.h"

ktAttr AttrText(uint64_t attribute, const std::string &text) {
    return {attribute, 0x08, ktDieBytes().Text(text).bytes, 0};
}

ktAttr AttrNumber(uint64_t attribute, uint64_t form, uint64_t value, size_t size) {
    return {attribute, form, ktDieBytes().Number(value, size).bytes, 0};
}

ktAttr AttrUleb(uint64_t attribute, uint64_t form, uint64_t value) {
    return {attribute, form, ktDieBytes().Uleb(value).bytes, 0};
}

ktAttr AttrSleb(uint64_t attribute, int64_t value) {
    return {attribute, 0x0D, ktDieBytes().Sleb(value).bytes, 0};
}

void ktDwarfBuilder::BeginUnit() {
    EndUnit();
    isOpen = true;
    unitStart = info.bytes.size();
    const size_t offsetSize = wide ? 8 : 4;
    if (wide) info.U32(0xFFFFFFFF);
    info.Number(0, offsetSize).U16(version);
    if (version >= 5) {
        info.U8(unitType).U8(addressSize).Number(tableStart, offsetSize);
    } else {
        info.Number(tableStart, offsetSize).U8(addressSize);
    }
}

void ktDwarfBuilder::EndUnit() {
    if (!isOpen) return;
    isOpen = false;
    const size_t size = wide ? 8 : 4;
    PutInfo(LengthAt(), info.bytes.size() - LengthAt() - size, size);
}

void ktDwarfBuilder::BeginTable() {
    abbrev.U8(0);
    tableStart = abbrev.bytes.size();
    codes.clear();
    lastCode = 0;
}

uint64_t ktDwarfBuilder::Declare(uint64_t tag, ktChildren children, const Attrs &attrs) {
    ktDieBytes declaration;
    declaration.Uleb(tag).U8(children == ktChildren::yes ? 1 : 0);
    for (const ktAttr &attr : attrs) {
        declaration.Uleb(attr.attribute).Uleb(attr.form);
        if (attr.form == 0x21) declaration.Sleb(attr.declared);
    }
    declaration.U8(0).U8(0);
    const auto [place, isNew] = codes.emplace(declaration.bytes, lastCode + 1);
    if (isNew) {
        ++lastCode;
        abbrev.Uleb(lastCode);
        abbrev.bytes.insert(abbrev.bytes.end(), declaration.bytes.begin(), declaration.bytes.end());
    }
    return place->second;
}

uint64_t ktDwarfBuilder::Entry(uint64_t tag, ktChildren children, const Attrs &attrs) {
    const uint64_t offset = Here();
    info.Uleb(Declare(tag, children, attrs));
    for (const ktAttr &attr : attrs)
        info.bytes.insert(info.bytes.end(), attr.value.begin(), attr.value.end());
    return offset;
}

uint64_t ktDwarfBuilder::BeginUnitWithCode(const std::string &name, uint64_t number) {
    BeginUnit();
    return Parent(0x11, {AttrName(name), AttrAddr(0x11, 0x400100 + 0x1000 * number, addressSize),
                         AttrNumber(0x12, 0x06, 0x100, 4)});
}

uint64_t ktDwarfBuilder::Text(const std::string &text, const std::string &section) {
    ktBytes &bytes = sections[section];
    const uint64_t offset = bytes.size();
    bytes.insert(bytes.end(), text.c_str(), text.c_str() + text.size() + 1);
    return offset;
}

ktBytes ktDwarfBuilder::Build() {
    EndUnit();
    ktBytes table = abbrev.bytes;
    table.push_back(0);
    ktElfBuilder elf = GoodElf();
    if (isMovable) elf.AddSection(".rela.dyn", ktElfSectionRela, ktBytes(24), 0, 0, 0x400800);
    elf.AddSection(".debug_info", 1, info.bytes);
    elf.AddSection(".debug_abbrev", 1, table);
    for (const auto &[name, bytes] : sections) elf.AddSection(name, 1, bytes);
    return elf.Build();
}
