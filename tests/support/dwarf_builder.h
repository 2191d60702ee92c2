#pragma once

#include "support/byte_patch.h"
#include "support/line_program_builder.h"

#include <cstdint>
#include <initializer_list>
#include <map>
#include <string>
#include <vector>

/// Bytes of debugging information, appended one field after the other.
using ktDieBytes = ktLineBytes;

/// Tags, attributes or forms.
using ktCodes = std::initializer_list<uint64_t>;

/// One attribute of an entry: how its declaration names it, and the bytes that stand in the entry.
struct ktAttr {
    uint64_t attribute = 0;
    uint64_t form = 0;
    ktBytes value;
    int64_t declared = 0; ///< what implicit_const has in the declaration
};

// Attributes with a value in the usual forms.
ktAttr AttrText(uint64_t attribute, const std::string &text);
inline ktAttr AttrName(const std::string &text) { return AttrText(0x03, text); }
ktAttr AttrNumber(uint64_t attribute, uint64_t form, uint64_t value, size_t size);
inline ktAttr AttrData1(uint64_t attribute, uint64_t value) { return AttrNumber(attribute, 0x0B, value, 1); }
inline ktAttr AttrData8(uint64_t attribute, uint64_t value) { return AttrNumber(attribute, 0x07, value, 8); }
inline ktAttr AttrAddr(uint64_t attribute, uint64_t value, size_t size = 8) {
    return AttrNumber(attribute, 0x01, value, size);
}
/// A reference within the unit.
inline ktAttr AttrRef(uint64_t attribute, uint64_t offset) { return AttrNumber(attribute, 0x13, offset, 4); }
inline ktAttr AttrType(uint64_t offset) { return AttrRef(0x49, offset); }
inline ktAttr AttrOffset(uint64_t attribute, uint64_t value, size_t size = 4) {
    return AttrNumber(attribute, 0x17, value, size);
}
ktAttr AttrUleb(uint64_t attribute, uint64_t form, uint64_t value);
ktAttr AttrSleb(uint64_t attribute, int64_t value);

enum class ktChildren : bool { no, yes };

/// Builds .debug_info and .debug_abbrev entry by entry, each with the declaration that it needs, and puts
/// them, with the sections that were given besides, into an ELF file. Tests bend the bytes where they like.
class ktDwarfBuilder {
public:
    using Attrs = std::vector<ktAttr>;

    // Of the units that begin from now on.
    uint16_t version = 4;
    bool wide = false; ///< the 64-bit form of the format
    uint8_t addressSize = 8;
    uint8_t unitType = 1;

    ktDieBytes info;
    ktDieBytes abbrev; ///< Build ends the table
    std::map<std::string, ktBytes> sections;
    bool isMovable = false; ///< the file has a section with relocations

    /// Ends the unit before. The header names the present table of declarations.
    void BeginUnit();
    void EndUnit();
    /// Ends the table of declarations; the next entry begins another, which BeginUnit must come before.
    void BeginTable();
    /// An entry; returns its offset in the unit, as references are given.
    uint64_t Entry(uint64_t tag, ktChildren children, const Attrs &attrs);
    uint64_t Leaf(uint64_t tag, const Attrs &attrs) { return Entry(tag, ktChildren::no, attrs); }
    uint64_t Parent(uint64_t tag, const Attrs &attrs) { return Entry(tag, ktChildren::yes, attrs); }
    /// The end mark of a list of children.
    void End() { info.U8(0); }
    /// A unit with its entry, which has children and code: 0x100 bytes at 0x400100 + 0x1000 * `number`.
    uint64_t BeginUnitWithCode(const std::string &name = "unit.c", uint64_t number = 0);
    /// A code for a declaration, which is added to the table where it is not there.
    uint64_t Declare(uint64_t tag, ktChildren children, const Attrs &attrs);
    /// Adds a text to a section of texts; returns its offset.
    uint64_t Text(const std::string &text, const std::string &section = ".debug_str");

    uint64_t UnitStart() const { return unitStart; }
    /// Offset in the unit of what comes next.
    uint64_t Here() const { return info.bytes.size() - unitStart; }
    /// The place of the unit's length in .debug_info.
    size_t LengthAt() const { return unitStart + (wide ? 4 : 0); }
    void PutInfo(size_t at, uint64_t value, size_t size) { PutBytes(info.bytes, at, value, size); }

    /// Ends unit and table. The file has the segments and symbols of GoodElf besides.
    ktBytes Build();

private:
    bool isOpen = false;
    uint64_t unitStart = 0;
    uint64_t tableStart = 0;
    uint64_t lastCode = 0;
    std::map<ktBytes, uint64_t> codes; // of the present table, by all of the declaration but its code
};
